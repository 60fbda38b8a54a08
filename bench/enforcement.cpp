#include "enforcement.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <linux/netfilter/nf_tables.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "platform/linux/enforce/nft.h"
#include "platform/linux/services/ip_filter_rules.h"
#include "stopwatch.h"

namespace {

using namespace platform::platformd;

constexpr int kBatch = 64;
constexpr double kForwardingUs = 300'000;
constexpr uint16_t kDiscardPort = 9;

[[noreturn]] void give_up(const char* what, const char* why) {
    std::fprintf(stderr, "%s: %s\n", what, why);
    std::exit(1);
}

/// What the kernel tells, and the message by which something is done.
struct News {
    int protocol;
    int group;
    uint16_t done;
};
constexpr News kTransactions{NETLINK_NETFILTER, NFNLGRP_NFTABLES,
                             NFNL_SUBSYS_NFTABLES << 8 | NFT_MSG_NEWGEN};
constexpr News kClassChanges{NETLINK_ROUTE, RTNLGRP_TC, RTM_NEWTCLASS};

/// A socket that is told from now on.
int listener(const News& news) {
    const int made = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, news.protocol);
    const int room = 1 << 22;
    const timeval patience{.tv_sec = 10, .tv_usec = 0};
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    if (bind(made, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        setsockopt(made, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &news.group, sizeof(news.group)) != 0)
        give_up("the kernel does not tell", std::strerror(errno));
    setsockopt(made, SOL_SOCKET, SO_RCVBUFFORCE, &room, sizeof(room));
    setsockopt(made, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    return made;
}

/// Waits for the next messages; true when it is done with them.
bool is_done(int fd, const News& news) {
    alignas(nlmsghdr) static char buffer[1 << 15];
    const auto size = recv(fd, buffer, sizeof(buffer), 0);
    if (size < 0) give_up("nothing is done", std::strerror(errno));
    const auto* message = reinterpret_cast<const nlmsghdr*>(buffer);
    for (auto left = static_cast<int>(size); left > 0 && NLMSG_OK(message, left);
         message = NLMSG_NEXT(message, left))
        if (message->nlmsg_type == news.done) return true;
    return false;
}

ip_filter::IpFilter g_filter;

/// The same rules as those of the figures.
void fill(int rules) {
    g_filter = {.up = {1, platform::kIpFilterBlackList, {}}, .down = {}};
    for (int number = 1; number <= rules; ++number) {
        st_filter_list rule{};
        rule.em_type = 1;
        rule.em_dir = platform::kIpFilterUp;
        rule.ui_dst_sport = 80;
        rule.ui_dst_eport = 443;
        rule.ui_src_sport = 1;
        rule.ui_src_eport = UINT16_MAX;
        std::strcpy(rule.ac_dst_sip, "203.0.113.1");
        std::strcpy(rule.ac_dst_eip, "203.0.113.254");
        std::snprintf(rule.ac_src_sip, sizeof(rule.ac_src_sip), "192.168.1.%d", number);
        std::strcpy(rule.ac_src_eip, "192.168.1.254");
        g_filter.up.rules.push_back(rule);
    }
}

void render(enforce::RuleText& text) {
    ip_filter::render(g_filter, text);
}

constexpr enforce::OwnedChain kChains[] = {ip_filter::kBase, ip_filter::kUp, ip_filter::kDown};
constexpr enforce::Rules kRules{.chains = kChains, .render = render};

/// In a table beside platformd's own, which it would mend.
std::string in_table_of_bench(std::string text) {
    constexpr char kOwn[] = " appcfg", kBench[] = " bench";
    for (size_t at = 0; (at = text.find(kOwn, at)) != text.npos;)
        text.replace(at, sizeof(kOwn) - 1, kBench);
    return text;
}

void run(const std::string& text) {
    std::string error;
    if (!enforce::nft_run(text, error)) give_up("nftables", error.c_str());
}

/// A socket of a host of the box's network.
int socket_at(const char* host) {
    const int here = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    const int there = open((std::string("/run/netns/") + host).c_str(), O_RDONLY | O_CLOEXEC);
    if (setns(there, CLONE_NEWNET) != 0) give_up(host, std::strerror(errno));
    const int made = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (setns(here, CLONE_NEWNET) != 0) give_up("setns", std::strerror(errno));
    close(here);
    close(there);
    return made;
}

long sent_to_provider() {
    long packets = -1;
    std::ifstream("/sys/class/net/wan0/statistics/tx_packets") >> packets;
    return packets;
}

}  // namespace

bool is_enforced() {
    std::string error;
    return enforce::nft_check(enforce::tables_as_they_are(), error);
}

double until_in_force(BusClient& bus, const BusCall& call, InForce what) {
    const auto& news = what == InForce::Rules ? kTransactions : kClassChanges;
    const int fd = listener(news);
    const Stopwatch watch;
    bus.call(call);
    while (!is_done(fd, news))
        continue;
    const double spent = watch.microseconds();
    close(fd);
    return spent;
}

double rules_transaction(int rules) {
    fill(rules);
    const auto text =
        in_table_of_bench(enforce::tables_as_they_are() + enforce::replacement(kRules));
    run(text);
    const Stopwatch watch;
    run(text);
    const double spent = watch.microseconds();
    run(in_table_of_bench(enforce::tables_gone()));
    return spent;
}

double forwarding_rate() {
    static const int sender = socket_at("h0"), receiver = socket_at("isp");
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(kDiscardPort);
    to.sin_addr.s_addr = inet_addr("203.0.113.2");
    bind(receiver, reinterpret_cast<sockaddr*>(&to), sizeof(to));
    if (connect(sender, reinterpret_cast<sockaddr*>(&to), sizeof(to)) != 0)
        give_up("isp", std::strerror(errno));
    char data[18] = {};
    iovec piece{data, sizeof(data)};
    mmsghdr messages[kBatch] = {};
    for (auto& message : messages) {
        message.msg_hdr.msg_iov = &piece;
        message.msg_hdr.msg_iovlen = 1;
    }
    const long before = sent_to_provider();
    const Stopwatch watch;
    while (watch.microseconds() < kForwardingUs)
        sendmmsg(sender, messages, kBatch, 0);
    return static_cast<double>(sent_to_provider() - before) * 1e6 / watch.microseconds();
}
