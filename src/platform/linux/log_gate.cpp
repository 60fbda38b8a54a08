#include "platform/linux/log_gate.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>

#include "platform/include/zu_log.h"
#include "platform/linux/run_directory.h"

namespace platform {

namespace {

constexpr size_t kFileSize = kLogLevels * sizeof(LogLevel);

// What is asked when there is no file: nothing is listed.
constinit LogLevel g_nothing[kLogLevels]{};
constinit std::atomic<LogLevel*> g_levels{nullptr};

// A file that someone else can cut short would end every process that looks into it.
bool is_trustworthy(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

int open_levels() {
    char path[128];
    snprintf(path, sizeof(path), "%s/zu_log", run_directory());
    const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
    if (fd < 0) return -1;
    struct stat status;
    if (fstat(fd, &status) == 0 && is_trustworthy(status)) {
        const bool is_short = status.st_size < static_cast<off_t>(kFileSize);
        if (!is_short || ftruncate(fd, kFileSize) == 0) return fd;
    }
    close(fd);
    return -1;
}

LogLevel* map_levels(int fd, int protection) {
    void* memory = mmap(nullptr, kFileSize, protection, MAP_SHARED, fd, 0);
    return memory == MAP_FAILED ? nullptr : static_cast<LogLevel*>(memory);
}

void unmap_levels(LogLevel* levels) {
    if (levels && levels != g_nothing) munmap(levels, kFileSize);
}

LogLevel* open_gate() {
    const int fd = open_levels();
    LogLevel* levels = fd < 0 ? nullptr : map_levels(fd, PROT_READ);
    if (fd >= 0) close(fd);
    if (!levels) levels = g_nothing;
    LogLevel* first = nullptr;
    if (g_levels.compare_exchange_strong(first, levels)) return levels;
    unmap_levels(levels);
    return first;
}

uint32_t load(const uint32_t& word) {
    return __atomic_load_n(&word, __ATOMIC_ACQUIRE);
}

/// The module's pair, the first unused one, or null when there is neither.
LogLevel* find_pair(LogLevel* levels, uint32_t module) {
    for (size_t i = 0; i < kLogLevels; ++i) {
        const auto listed = load(levels[i].module);
        if (listed == module || listed == 0) return &levels[i];
    }
    return nullptr;
}

// The level goes first: a reader that finds the module finds its level too.
bool store_level(LogLevel* levels, uint32_t module, uint32_t level) {
    auto* pair = find_pair(levels, module);
    if (!pair) return false;
    __atomic_store_n(&pair->level, level, __ATOMIC_RELEASE);
    __atomic_store_n(&pair->module, module, __ATOMIC_RELEASE);
    return true;
}

}  // namespace

uint32_t log_level(uint32_t module) {
    auto* levels = g_levels.load(std::memory_order_acquire);
    if (!levels) levels = open_gate();
    const auto* pair = find_pair(levels, module);
    const bool listed = pair && load(pair->module) != 0;
    return listed ? load(pair->level) : kDefaultLogLevel;
}

bool set_log_level(uint32_t module, uint32_t level) {
    if (module == 0) return false;
    const int fd = open_levels();
    if (fd < 0) return false;
    flock(fd, LOCK_EX);
    LogLevel* levels = map_levels(fd, PROT_READ | PROT_WRITE);
    const bool stored = levels && store_level(levels, module, level);
    unmap_levels(levels);
    close(fd);
    return stored;
}

void reopen_log_gate() {
    unmap_levels(g_levels.exchange(nullptr));
}

}  // namespace platform

extern "C" int32_t zu_log_print_on(uint32_t module, uint32_t level) {
    return platform::log_level(module) >= level;
}
