#include "platform/linux/enforce/watch.h"

#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <sys/prctl.h>

#include <cstring>
#include <string_view>

#include "platform/linux/enforce/kernel_news.h"
#include "platform/linux/enforce/marks.h"

namespace platform::platformd::enforce {

namespace {

constexpr int kGroups[] = {NFNLGRP_NFTABLES};
/// Whatever a message is about, the first attribute of its kind names the table.
constexpr uint16_t kTableName = NFTA_TABLE_NAME;
static_assert(NFTA_CHAIN_TABLE == kTableName && NFTA_RULE_TABLE == kTableName &&
              NFTA_SET_TABLE == kTableName && NFTA_SET_ELEM_LIST_TABLE == kTableName);
constexpr size_t kCommandName = 16;

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

void missed() {
    g_changed();
}

KernelNews g_news(take, missed);

}  // namespace

bool watch_start(void (*changed)()) {
    g_changed = changed;
    return g_news.start(NETLINK_NETFILTER, kGroups);
}

void watch_stop() {
    g_news.stop();
}

}  // namespace platform::platformd::enforce
