#include <time.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "platform/include/zu_ipc.h"
#include "platform/linux/control.h"
#include "platform/linux/platformctl/commands.h"

namespace platform::platformctl {

namespace {

constexpr timespec kTracePause = {.tv_sec = 0, .tv_nsec = 100'000'000};
constexpr int kMaxStateAttempts = 100;

ControlText g_text;

int32_t ask_text(const char* call, uint64_t position, const char* service) {
    g_text = {};
    g_text.position = position;
    snprintf(g_text.text, sizeof(g_text.text), "%s", service);
    const auto result = zu_ipc_call(call, &g_text, sizeof(g_text));
    return result == 0 && g_text.length > sizeof(g_text.text) ? -1 : result;
}

std::string_view answered_text() {
    return {g_text.text, g_text.length};
}

int follow_trace(bool once) {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    for (uint64_t position = 1;; position = g_text.position) {
        if (ask_text(kTraceCall, position, "") != 0) return complain("platformd does not answer");
        const auto lines = answered_text();
        fwrite(lines.data(), 1, lines.size(), stdout);
        if (g_text.more) continue;
        if (once) return EXIT_SUCCESS;
        nanosleep(&kTracePause, nullptr);
    }
}

}  // namespace

int32_t read_text(const char* call, const char* service, std::string& text) {
    for (int attempt = 0; attempt < kMaxStateAttempts; ++attempt) {
        auto result = ask_text(call, 0, service);
        const auto mark = g_text.mark;
        text = answered_text();
        while (result == 0 && g_text.more && g_text.mark == mark) {
            result = ask_text(call, text.size(), service);
            text += answered_text();
        }
        if (result != 0 || g_text.mark == mark) return result;
    }
    return -1;
}

int show_state(Words words) {
    if (words.size() > 1) return kUsageStatus;
    const char* service = words.empty() ? "" : words[0];
    std::string state;
    const auto result = read_text(kStateCall, service, state);
    if (result == kControlUnknown) return complain("there is no service %s", service);
    if (result != 0) return complain("platformd does not answer");
    fputs(state.c_str(), stdout);
    return EXIT_SUCCESS;
}

int show_trace(Words words) {
    if (words.empty()) return follow_trace(false);
    if (words.size() > 1) return kUsageStatus;
    if (strcmp(words[0], "--once") == 0) return follow_trace(true);
    if (strcmp(words[0], "--clear") != 0) return kUsageStatus;
    if (zu_ipc_call(kTraceClearCall, nullptr, 0) == 0) return EXIT_SUCCESS;
    return complain("platformd does not answer");
}

}  // namespace platform::platformctl
