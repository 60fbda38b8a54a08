#include "platform/linux/inspect/rights.h"

#include <linux/capability.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace platform::inspect {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;  // their own threads and files are nobody's harm
#else
constexpr bool kSanitized = false;
#endif

/// What the loop, the C library's memory and its last words need. Those that this processor does
/// not have are passed over.
constexpr int kAllowed[] = {
    SCMP_SYS(accept),
    SCMP_SYS(accept4),
    SCMP_SYS(brk),
    SCMP_SYS(clock_gettime),
    SCMP_SYS(clock_gettime64),
    SCMP_SYS(close),
    SCMP_SYS(exit),
    SCMP_SYS(exit_group),
    SCMP_SYS(futex),
    SCMP_SYS(getpid),
    SCMP_SYS(getrandom),
    SCMP_SYS(gettid),
    SCMP_SYS(madvise),
    SCMP_SYS(mremap),
    SCMP_SYS(munmap),
    SCMP_SYS(poll),
    SCMP_SYS(ppoll),
    SCMP_SYS(ppoll_time64),
    SCMP_SYS(recv),
    SCMP_SYS(recvfrom),
    SCMP_SYS(recvmsg),
    SCMP_SYS(restart_syscall),
    SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),
    SCMP_SYS(send),
    SCMP_SYS(sendmsg),
    SCMP_SYS(sendto),
    SCMP_SYS(sigreturn),
    SCMP_SYS(tgkill),
    SCMP_SYS(write),
};
/// The same, but never for memory from which code could run.
constexpr int kMemory[] = {SCMP_SYS(mmap), SCMP_SYS(mmap2), SCMP_SYS(mprotect)};
constexpr unsigned kProtectionArgument = 2;

bool keep_one_capability() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    sets[0].effective = sets[0].permitted = 1U << CAP_NET_ADMIN;
    return syscall(SYS_capset, &header, sets) == 0;
}

bool allow_few_calls() {
    auto* filter = seccomp_init(SCMP_ACT_KILL_PROCESS);
    if (!filter) return false;
    bool good = true;
    for (const int call : kAllowed)
        good = seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0 && good;
    const scmp_arg_cmp not_executable = {kProtectionArgument, SCMP_CMP_MASKED_EQ, PROT_EXEC, 0};
    for (const int call : kMemory)
        good =
            seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, 1, &not_executable) == 0 && good;
    const int loaded = good ? seccomp_load(filter) : -EINVAL;
    seccomp_release(filter);
    errno = -loaded;
    return loaded == 0;
}

}  // namespace

// The last step goes without saying on kernels that cannot filter calls: the others hold there.
bool limit_rights(std::string& error) {
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || !keep_one_capability()) {
        error = std::string("rights cannot be given up: ") + strerror(errno);
        return false;
    }
    if (!kSanitized && !allow_few_calls())
        fprintf(stderr, "appcfg-inspect: any system call is allowed: %s\n", strerror(errno));
    return true;
}

}  // namespace platform::inspect
