#include "platform/linux/enforce/watch.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "base/unique_fd.h"
#include "platform/linux/enforce/marks.h"

namespace platform::platformd::enforce {

namespace {

constexpr int kReceiveBuffer = 1 << 20;
constexpr size_t kMaxMessage = 1 << 15;
/// Whatever a message is about, the first attribute of its kind names the table.
constexpr uint16_t kTableName = NFTA_TABLE_NAME;
static_assert(NFTA_CHAIN_TABLE == kTableName && NFTA_RULE_TABLE == kTableName &&
              NFTA_SET_TABLE == kTableName && NFTA_SET_ELEM_LIST_TABLE == kTableName);
constexpr size_t kCommandName = 16;

base::UniqueFd g_socket;
uloop_fd g_watch;
void (*g_changed)();
/// Of the transaction that is being told: messages of its changes come first, then one that says
/// whose it was.
bool g_ours_was_touched;

/// The text of one attribute; empty if there is none.
std::string_view text_attribute(const nlmsghdr& message, uint16_t wanted) {
    const auto* at = reinterpret_cast<const char*>(&message) + NLMSG_SPACE(sizeof(nfgenmsg));
    const auto* end = reinterpret_cast<const char*>(&message) + message.nlmsg_len;
    while (end - at >= NLA_HDRLEN) {
        nlattr attribute;
        memcpy(&attribute, at, sizeof(attribute));
        if (attribute.nla_len < NLA_HDRLEN || attribute.nla_len > end - at) break;
        if ((attribute.nla_type & NLA_TYPE_MASK) == wanted) {
            const size_t size = attribute.nla_len - NLA_HDRLEN;
            return {at + NLA_HDRLEN, strnlen(at + NLA_HDRLEN, size)};
        }
        if (NLA_ALIGN(attribute.nla_len) >= end - at) break;
        at += NLA_ALIGN(attribute.nla_len);
    }
    return {};
}

bool is_own_name(std::string_view command) {
    char own[kCommandName + 1] = {};
    prctl(PR_GET_NAME, own);
    return command == own;
}

void take(const nlmsghdr& message) {
    if (NFNL_SUBSYS_ID(message.nlmsg_type) != NFNL_SUBSYS_NFTABLES) return;
    if (NFNL_MSG_TYPE(message.nlmsg_type) != NFT_MSG_NEWGEN) {
        if (text_attribute(message, kTableName) == kTable) g_ours_was_touched = true;
        return;
    }
    const bool others = !is_own_name(text_attribute(message, NFTA_GEN_PROC_NAME));
    if (g_ours_was_touched && others) g_changed();
    g_ours_was_touched = false;
}

// What did not fit the socket's buffer may have been about us.
void on_readable(uloop_fd*, unsigned) {
    alignas(nlmsghdr) static char buffer[kMaxMessage];
    for (;;) {
        const auto size = recv(g_socket.get(), buffer, sizeof(buffer), MSG_DONTWAIT);
        if (size < 0 && errno == ENOBUFS) g_changed();
        if (size < 0 && errno != ENOBUFS) return;
        auto* message = reinterpret_cast<nlmsghdr*>(buffer);
        for (auto left = static_cast<int>(size); left > 0 && NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left))
            take(*message);
    }
}

}  // namespace

bool watch_start(void (*changed)()) {
    g_socket.reset(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_NETFILTER));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    const int group = NFNLGRP_NFTABLES;
    if (!g_socket ||
        bind(g_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        setsockopt(g_socket.get(), SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &group, sizeof(group)) != 0)
        return false;
    setsockopt(g_socket.get(), SOL_SOCKET, SO_RCVBUFFORCE, &kReceiveBuffer, sizeof(kReceiveBuffer));
    g_changed = changed;
    g_watch.cb = on_readable;
    g_watch.fd = g_socket.get();
    return uloop_fd_add(&g_watch, ULOOP_READ) == 0;
}

void watch_stop() {
    if (!g_socket) return;
    uloop_fd_delete(&g_watch);
    g_socket.reset();
}

}  // namespace platform::platformd::enforce
