#include "platform/linux/services/url_inspector.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "base/unique_fd.h"
#include "platform/linux/enforce/children.h"
#include "platform/linux/inspect/list_message.h"
#include "platform/linux/platformd/own_files.h"
#include "platform/linux/services/url_filter_rules.h"

namespace platform::platformd::url_filter {

namespace {

using Clock = std::chrono::steady_clock;

constexpr char kProgram[] = "appcfg-inspect";
constexpr char kChildName[] = "url_inspect";
constexpr char kSocketName[] = "url_inspect.socket";
constexpr int kAskEveryMs = 1000;
/// Between attempts to reach one that starts, twice as long each time up to the above.
constexpr int kFirstAttemptMs = 20;
/// Two questions, less what a timer may be early.
constexpr std::chrono::milliseconds kPatience(1900);

std::string g_list;  // empty: none is wanted
uint64_t g_held;     // what it says it holds
base::UniqueFd g_socket;
uloop_fd g_watch;
uloop_timeout g_timer;
int g_attempt_ms = kFirstAttemptMs;
bool g_awaits_answer;
Clock::time_point g_silent_since;

uint64_t wanted_id() {
    return inspect::list_id({reinterpret_cast<const uint8_t*>(g_list.data()), g_list.size()});
}

void await_answer() {
    if (!g_awaits_answer) g_silent_since = Clock::now();
    g_awaits_answer = true;
}

void disconnect() {
    if (!g_socket) return;
    uloop_fd_delete(&g_watch);
    g_socket.reset();
    g_held = 0;
}

void take_answer() {
    inspect::Answer answer;
    const auto size = recv(g_socket.get(), &answer, sizeof(answer), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (size != sizeof(answer) || answer.magic != inspect::kAnswerMagic) return disconnect();
    g_held = answer.list;
    g_awaits_answer = false;
}

void on_readable(uloop_fd*, unsigned) {
    take_answer();
}

bool is_ours(int fd) {
    ucred peer{};
    socklen_t size = sizeof(peer);
    return getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
}

bool connect_to_inspector() {
    const auto path = own_path(kSocketName);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path)) return false;
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    base::UniqueFd made(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int room = inspect::kMaxListMessage;
    setsockopt(made.get(), SOL_SOCKET, SO_SNDBUF, &room, sizeof(room));
    if (!made || connect(made.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        !is_ours(made.get()))
        return false;
    g_watch.fd = made.get();
    g_watch.cb = on_readable;
    if (uloop_fd_add(&g_watch, ULOOP_READ) != 0) return false;
    g_socket = std::move(made);
    return true;
}

void say(const void* message, size_t size) {
    await_answer();
    const auto sent = send(g_socket.get(), message, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent < 0 && errno != EAGAIN) disconnect();
}

void tell() {
    say(g_list.data(), g_list.size());
}

void ask() {
    const inspect::ListHeader question{inspect::kAskMagic, 0, 0, 0};
    say(&question, sizeof(question));
}

// We may have been held up ourselves: then the answer waits.
void kill_if_silent() {
    if (g_socket) take_answer();
    if (!g_awaits_answer || Clock::now() - g_silent_since < kPatience) return;
    enforce::signal_child(kChildName, SIGKILL);
    disconnect();
    g_awaits_answer = false;
}

// One that starts is given its time.
void reach() {
    if (connect_to_inspector())
        tell();
    else if (enforce::child_serves(kChildName))
        await_answer();
    else
        g_awaits_answer = false;
}

void on_timer(uloop_timeout*) {
    kill_if_silent();
    if (!g_socket)
        reach();
    else if (g_held != wanted_id())
        tell();
    else
        ask();
    g_attempt_ms = std::min(g_socket ? kAskEveryMs : g_attempt_ms * 2, kAskEveryMs);
    uloop_timeout_set(&g_timer, g_attempt_ms);
}

/// Where platformd's own program is.
std::string program() {
    char self[4096];
    const auto size = readlink("/proc/self/exe", self, sizeof(self));
    const std::string path(self, size > 0 ? static_cast<size_t>(size) : 0);
    return path.substr(0, path.rfind('/') + 1) + kProgram;
}

}  // namespace

void keep_inspector(const std::string& list_message) {
    const bool is_new = list_message != g_list;
    g_list = list_message;
    if (g_list.empty()) {
        uloop_timeout_cancel(&g_timer);
        disconnect();
        g_awaits_answer = false;
        enforce::keep_children(kChildName, {});
        return remove_own_file(kSocketName);
    }
    enforce::keep_children(
        kChildName, {{kChildName, {program(), std::to_string(kQueue), own_path(kSocketName)}}});
    g_timer.cb = on_timer;
    if (g_socket && is_new) tell();
    if (g_socket) return;
    g_attempt_ms = kFirstAttemptMs;
    uloop_timeout_set(&g_timer, 0);
}

std::string inspector_trouble() {
    if (g_list.empty() || g_held == wanted_id() || g_awaits_answer) return {};
    if (g_socket) return "appcfg-inspect does not take the list";
    const auto trouble = enforce::child_trouble(kChildName);
    return trouble.empty() ? "" : "appcfg-inspect: " + trouble;
}

}  // namespace platform::platformd::url_filter
