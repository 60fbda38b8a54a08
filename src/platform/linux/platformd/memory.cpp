#include "platform/linux/platformd/memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/tokens.h"
#include "base/unique_fd.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/platformd/own_files.h"
#include "platform/linux/record_text.h"

namespace platform::platformd {

namespace {

constexpr char kFile[] = "state";

void complain() {
    fprintf(stderr, "platformd: %s: %s\n", own_path(kFile).c_str(), strerror(errno));
}

std::string_view name_in(std::string_view line) {
    return line.substr(0, line.find(' '));
}

bool repeat(std::string_view line) {
    const auto name = name_in(line);
    const auto* callee = find_callee(name);
    std::vector<uint8_t> record;
    if (!callee || !callee->is_repeated()) return false;
    if (!parse_hex(line.substr(std::min(name.size() + 1, line.size())), record)) return false;
    if (record.size() != (callee->layout() ? callee->layout()->size : 0)) return false;
    return callee->handle(record.data()) == 0;
}

}  // namespace

void CallList::add(const char* name, std::span<const uint8_t> record) {
    text_ += name;
    text_ += ' ';
    append_hex(text_, record);
    text_ += '\n';
}

// A line that has no end was being written when its writer was killed: nobody was told that the
// call has been made.
void memory_restore(std::string_view only) {
    auto text = read_own_file(kFile);
    text.resize(text.rfind('\n') + 1);
    size_t strange = 0;
    base::Tokens lines(text, "\n");
    for (std::string_view line; lines.next(line);)
        if ((only.empty() || name_in(line) == only) && !repeat(line)) ++strange;
    if (strange > 0)
        fprintf(stderr, "platformd: %s: %zu lines left out\n", own_path(kFile).c_str(), strange);
}

void memory_append(const char* name, std::span<const uint8_t> record) {
    CallList call;
    call.add(name, record);
    const base::UniqueFd fd(
        open(own_path(kFile).c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC));
    const auto& line = call.text();
    if (!fd || write(fd.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        complain();
}

// What is initialised first may take the states of other services with it.
void memory_rewrite() {
    CallList calls;
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.repeat && owner->initialised) calls.add(owner->service.init, {});
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.repeat) owner->service.repeat(calls);
    if (!write_own_file(kFile, calls.text())) complain();
}

void memory_forget() {
    remove_own_file(kFile);
}

}  // namespace platform::platformd
