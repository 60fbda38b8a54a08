#include "platform/linux/services/url_queue.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <sys/wait.h>

#include "base/child.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/nft.h"
#include "platform/linux/platformd/own_files.h"
#include "platform/linux/services/url_filter_rules.h"

namespace platform::platformd::url_filter {

namespace {

constexpr const char* kTools[] = {"iptables", "ip6tables"};
constexpr int kCheckEveryMs = 5000;
/// Says to the next platformd that the rule may stand.
constexpr char kMarkFile[] = "url_queue";
/// What the tools end with when a rule is not there.
constexpr int kAbsent = 1;

bool g_wanted;
/// It cannot stand yet.
bool g_is_new;
uloop_timeout g_timer;
std::string g_trouble;

std::string mark_text() {
    char text[32];
    snprintf(text, sizeof(text), "%#x/%#x", enforce::kUrlMask, enforce::kUrlMask);
    return text;
}

/// The tool's exit status for -C, -A or -D.
int run(const char* tool, const char* action) {
    static const auto mark = mark_text(), queue = std::to_string(kQueue);
    const char* const argv[] = {
        tool,      "-t",          "mangle",      action,           "FORWARD",
        "-m",      "mark",        "--mark",      mark.c_str(),     "-j",
        "NFQUEUE", "--queue-num", queue.c_str(), "--queue-bypass", nullptr};
    const int status = base::run(argv);
    return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The tools are not asked to wait for each other: what is busy is tried again later.
bool put(const char* tool) {
    const int status = g_is_new ? kAbsent : run(tool, "-C");
    return status == 0 || (status == kAbsent && run(tool, "-A") == 0);
}

bool take_out(const char* tool) {
    const int status = run(tool, "-D");
    return status == 0 || status == kAbsent;
}

// Busy tools, and others who remove our rule, have it tried again.
void apply(uloop_timeout*) {
    g_trouble.clear();
    for (const char* tool : kTools)
        if (!(g_wanted ? put(tool) : take_out(tool)))
            g_trouble = std::string("not queued by ") + tool;
    g_is_new = false;
    if (g_wanted || !g_trouble.empty())
        uloop_timeout_set(&g_timer, kCheckEveryMs);
    else
        remove_own_file(kMarkFile);
}

}  // namespace

bool nft_may_queue() {
    static const bool may = [] {
        const std::string chain = std::string("inet ") + enforce::kTable + ' ' + kContent.name;
        std::string error;
        return enforce::nft_check(std::string("add table inet ") + enforce::kTable +
                                      "\nadd chain " + chain + "\nadd rule " + chain +
                                      " queue flags bypass to " + std::to_string(kQueue) + '\n',
                                  error);
    }();
    return may;
}

void keep_queue_rule(bool wanted) {
    wanted = wanted && !nft_may_queue();
    if (wanted && g_wanted) return;
    g_is_new = read_own_file(kMarkFile).empty();
    if (!wanted && g_is_new) return;
    g_wanted = wanted;
    write_own_file(kMarkFile, "1\n");
    uloop_timeout_cancel(&g_timer);
    g_timer.cb = apply;
    apply(&g_timer);
}

std::string queue_rule_trouble() {
    return g_trouble;
}

}  // namespace platform::platformd::url_filter
