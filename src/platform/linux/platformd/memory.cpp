#include "platform/linux/platformd/memory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/replace_file.h"
#include "base/tokens.h"
#include "base/unique_fd.h"
#include "platform/linux/platformd/callees.h"
#include "platform/linux/record_text.h"
#include "platform/linux/run_directory.h"

namespace platform::platformd {

namespace {

constexpr mode_t kOwnerOnly = 0700;

std::string folder() {
    return std::string(run_directory()) + "/appcfg";
}

std::string file() {
    return folder() + "/state";
}

void complain() {
    fprintf(stderr, "platformd: %s: %s\n", file().c_str(), strerror(errno));
}

bool is_ours(int fd, mode_t type) {
    struct stat status;
    return fstat(fd, &status) == 0 && (status.st_mode & S_IFMT) == type &&
           status.st_uid == geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// The file's folder, made if need be; where others could put files there is none.
bool has_folder() {
    if (mkdir(folder().c_str(), kOwnerOnly) != 0 && errno != EEXIST) return false;
    const base::UniqueFd fd(
        open(folder().c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (fd && is_ours(fd.get(), S_IFDIR)) return true;
    errno = EPERM;
    return false;
}

std::string read_file() {
    const base::UniqueFd fd(open(file().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::string text;
    if (!fd || !is_ours(fd.get(), S_IFREG)) return text;
    char piece[4096];
    for (ssize_t size; (size = read(fd.get(), piece, sizeof(piece))) > 0;)
        text.append(piece, static_cast<size_t>(size));
    return text;
}

bool repeat(std::string_view line) {
    const auto blank = std::min(line.find(' '), line.size());
    const auto* callee = find_callee(line.substr(0, blank));
    std::vector<uint8_t> record;
    if (!callee || !callee->is_repeated()) return false;
    if (!parse_hex(line.substr(std::min(blank + 1, line.size())), record)) return false;
    if (record.size() != (callee->layout() ? callee->layout()->size : 0)) return false;
    return callee->handle(record.data()) == 0;
}

bool replace_file(const std::string& text) {
    if (!has_folder()) return false;
    base::FileReplacement replacement(file().c_str(), base::Durable::No);
    return replacement.create() && replacement.append(text) && replacement.finish() &&
           replacement.put_in_place();
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
void memory_restore() {
    auto text = read_file();
    text.resize(text.rfind('\n') + 1);
    size_t strange = 0;
    base::Tokens lines(text, "\n");
    for (std::string_view line; lines.next(line);)
        if (!repeat(line)) ++strange;
    if (strange > 0)
        fprintf(stderr, "platformd: %s: %zu lines left out\n", file().c_str(), strange);
}

void memory_append(const char* name, std::span<const uint8_t> record) {
    CallList call;
    call.add(name, record);
    const base::UniqueFd fd(open(file().c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC));
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
    if (!replace_file(calls.text())) complain();
}

void memory_forget() {
    unlink(file().c_str());
}

}  // namespace platform::platformd
