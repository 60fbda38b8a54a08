#include "platform/linux/enforce/kernel/queues.h"

#include <linux/if.h>
#include <linux/if_ether.h>
#include <linux/pkt_cls.h>
#include <linux/tc_act/tc_mirred.h>
#include <netlink/errno.h>
#include <netlink/route/act/mirred.h>
#include <netlink/route/cls/u32.h>
#include <netlink/route/qdisc/fifo.h>
#include <netlink/route/qdisc/fq_codel.h>
#include <netlink/route/qdisc/htb.h>

#include <algorithm>

#include "platform/linux/enforce/kernel/route.h"

namespace platform::platformd::enforce::queues {

using route::Held;

namespace {

constexpr uint32_t kBytesPerKbit = 125;
constexpr uint32_t kMinorMask = 0xffff;
/// Our filters' place among others, by which they are known. Each side has its own, for the kernel
/// lists what has the same place on both sides as if it were on both.
constexpr uint16_t preference(Side side) {
    return side == Side::Ingress ? 49 : 50;
}

constexpr Side kSides[] = {Side::Ingress, Side::Egress};

/// The kernel's own, 32, is less than two big packets' worth of frames.
constexpr unsigned kIfbQueue = 1000;

constexpr uint32_t kFrame = 1514;

/// What may go at once: enough for some frames, and for what is due while nobody looks.
uint32_t burst(uint64_t bytes_per_second) {
    constexpr uint64_t kLeast = 6000, kMost = 1 << 20, kLooksPerSecond = 250;
    return static_cast<uint32_t>(std::clamp(bytes_per_second / kLooksPerSecond, kLeast, kMost));
}

/// What waits at most, in bytes: an eighth of a second, or answers to what comes the other way
/// would wait for seconds behind it.
uint32_t room(uint64_t bytes_per_second) {
    constexpr uint64_t kLeast = 16 * kFrame, kMost = 4 << 20, kOfSecond = 8;
    return static_cast<uint32_t>(std::clamp(bytes_per_second / kOfSecond, kLeast, kMost));
}

uint64_t bytes(uint32_t kbit) {
    return uint64_t{kbit} * kBytesPerKbit;
}

uint32_t kbit(uint64_t bytes_per_second) {
    return static_cast<uint32_t>(bytes_per_second / kBytesPerKbit);
}

void address(rtnl_tc* tc, int device, uint32_t parent, uint32_t handle, const char* kind) {
    rtnl_tc_set_ifindex(tc, device);
    rtnl_tc_set_parent(tc, parent);
    rtnl_tc_set_handle(tc, handle);
    rtnl_tc_set_kind(tc, kind);
}

template <class Object>
Object* first(const Held<nl_cache>& cache) {
    return reinterpret_cast<Object*>(nl_cache_get_first(cache.get()));
}

template <class Object>
Object* next(Object* one) {
    return reinterpret_cast<Object*>(nl_cache_get_next(reinterpret_cast<nl_object*>(one)));
}

Device device_of(rtnl_link* link) {
    Device device{.index = rtnl_link_get_ifindex(link),
                  .name = rtnl_link_get_name(link),
                  .master = rtnl_link_get_master(link),
                  .is_up = (rtnl_link_get_flags(link) & IFF_UP) != 0,
                  .is_ifb = false,
                  .cuts = false};
    const char* type = rtnl_link_get_type(link);
    device.is_ifb = type && std::string_view(type) == "ifb";
    uint32_t frames = 0;
    device.cuts = rtnl_link_get_gso_max_segs(link, &frames) == 0 && frames == 1;
    return device;
}

int read_devices(std::vector<Device>& devices) {
    nl_cache* filled = nullptr;
    const int result = rtnl_link_alloc_cache(route::socket(), AF_UNSPEC, &filled);
    if (result < 0) return result;
    const Held<nl_cache> cache(filled);
    for (auto* link = first<rtnl_link>(cache); link; link = next(link))
        devices.push_back(device_of(link));
    return 0;
}

int read_qdiscs(std::vector<Qdisc>& qdiscs) {
    nl_cache* filled = nullptr;
    const int result = rtnl_qdisc_alloc_cache(route::socket(), &filled);
    if (result < 0) return result;
    const Held<nl_cache> cache(filled);
    for (auto* qdisc = first<rtnl_qdisc>(cache); qdisc; qdisc = next(qdisc)) {
        auto* tc = TC_CAST(qdisc);
        const std::string kind = rtnl_tc_get_kind(tc);
        qdiscs.push_back({rtnl_tc_get_ifindex(tc), rtnl_tc_get_handle(tc), rtnl_tc_get_parent(tc),
                          kind, kind == "htb" ? rtnl_htb_get_defcls(qdisc) : 0});
    }
    return 0;
}

int read_filters(int device, Side side, Held<nl_cache>& filters) {
    nl_cache* filled = nullptr;
    const int result =
        rtnl_cls_alloc_cache(route::socket(), device, static_cast<uint32_t>(side), &filled);
    filters.reset(filled);
    return result;
}

/// A filter is shown as several objects; one of them has the action.
int read_redirect(int device, Side side, std::vector<Redirect>& redirects) {
    Held<nl_cache> filters;
    if (const int result = read_filters(device, side, filters); result < 0) return result;
    bool found = false;
    Redirect redirect{device, side, 0};
    for (auto* filter = first<rtnl_cls>(filters); filter; filter = next(filter)) {
        if (rtnl_cls_get_prio(filter) != preference(side)) continue;
        if (std::string_view(rtnl_tc_get_kind(TC_CAST(filter))) != "u32") continue;
        found = true;
        if (auto* action = rtnl_u32_get_action(filter))
            redirect.target = static_cast<int>(rtnl_mirred_get_ifindex(action));
    }
    if (found) redirects.push_back(redirect);
    return 0;
}

HeldClass held_class(rtnl_class* one) {
    auto* tc = TC_CAST(one);
    const auto parent = rtnl_tc_get_parent(tc);
    uint64_t rate = 0, ceil = 0;
    rtnl_htb_get_rate64(one, &rate);
    rtnl_htb_get_ceil64(one, &ceil);
    return {{.minor = static_cast<uint16_t>(rtnl_tc_get_handle(tc) & kMinorMask),
             .parent = static_cast<uint16_t>(parent == TC_H_ROOT ? 0 : parent & kMinorMask),
             .rate = kbit(rate),
             .ceil = kbit(ceil),
             .priority = rtnl_htb_get_prio(one),
             .quantum = rtnl_htb_get_quantum(one)},
            rtnl_tc_get_stat(tc, RTNL_TC_PACKETS),
            rtnl_tc_get_stat(tc, RTNL_TC_DROPS)};
}

bool takes_filters(const Qdisc& qdisc) {
    return qdisc.kind == "clsact" || qdisc.kind == "ingress";
}

int change_link(int device, rtnl_link* change) {
    const Held<rtnl_link> existing(rtnl_link_alloc());
    rtnl_link_set_ifindex(existing.get(), device);
    return rtnl_link_change(route::socket(), existing.get(), change, 0);
}

bool has_filters(int device, Side side) {
    Held<nl_cache> filters;
    return read_filters(device, side, filters) < 0 || !nl_cache_is_empty(filters.get());
}

Held<rtnl_qdisc> filter_holder(int device) {
    Held<rtnl_qdisc> holder(rtnl_qdisc_alloc());
    address(TC_CAST(holder.get()), device, TC_H_CLSACT, TC_H_MAKE(TC_H_CLSACT, 0), "clsact");
    return holder;
}

Held<rtnl_cls> filter_at(const Redirect& redirect) {
    Held<rtnl_cls> filter(rtnl_cls_alloc());
    address(TC_CAST(filter.get()), redirect.device, static_cast<uint32_t>(redirect.side), 0, "u32");
    rtnl_cls_set_prio(filter.get(), preference(redirect.side));
    rtnl_cls_set_protocol(filter.get(), ETH_P_ALL);
    return filter;
}

Held<rtnl_act> handing_over_to(int target) {
    Held<rtnl_act> action(rtnl_act_alloc());
    rtnl_tc_set_kind(TC_CAST(action.get()), "mirred");
    rtnl_mirred_set_action(action.get(), TCA_EGRESS_REDIR);
    rtnl_mirred_set_policy(action.get(), TC_ACT_STOLEN);
    rtnl_mirred_set_ifindex(action.get(), static_cast<uint32_t>(target));
    return action;
}

Held<rtnl_qdisc> leaf_of(int device, Place place, uint16_t minor, const char* kind) {
    Held<rtnl_qdisc> leaf(rtnl_qdisc_alloc());
    address(TC_CAST(leaf.get()), device, handle(place, minor), 0, kind);
    return leaf;
}

}  // namespace

int read(Picture& picture) {
    int result = 0;
    picture = {};
    if (!route::socket(&result)) return result;
    if ((result = read_devices(picture.devices)) < 0) return result;
    if ((result = read_qdiscs(picture.qdiscs)) < 0) return result;
    for (const auto& qdisc : picture.qdiscs) {
        if (!takes_filters(qdisc)) continue;
        for (const auto side : kSides) {
            if (qdisc.kind == "ingress" && side == Side::Egress) continue;
            if ((result = read_redirect(qdisc.device, side, picture.redirects)) < 0) return result;
        }
    }
    return 0;
}

int read_classes(int device, Place place, std::vector<HeldClass>& classes) {
    nl_cache* filled = nullptr;
    const int result = rtnl_class_alloc_cache(route::socket(), device, &filled);
    if (result < 0) return result;
    const Held<nl_cache> cache(filled);
    for (auto* one = first<rtnl_class>(cache); one; one = next(one)) {
        auto* tc = TC_CAST(one);
        if ((rtnl_tc_get_handle(tc) & ~kMinorMask) != handle(place)) continue;
        classes.push_back(held_class(one));
    }
    return 0;
}

int add_ifb(const char* name) {
    const Held<rtnl_link> link(rtnl_link_alloc());
    rtnl_link_set_name(link.get(), name);
    rtnl_link_set_type(link.get(), "ifb");
    rtnl_link_set_txqlen(link.get(), kIfbQueue);
    return rtnl_link_add(route::socket(), link.get(), NLM_F_CREATE | NLM_F_EXCL);
}

int set_up(int device) {
    const Held<rtnl_link> change(rtnl_link_alloc());
    rtnl_link_set_flags(change.get(), IFF_UP);
    return change_link(device, change.get());
}

int delete_device(int device) {
    const Held<rtnl_link> link(rtnl_link_alloc());
    rtnl_link_set_ifindex(link.get(), device);
    return rtnl_link_delete(route::socket(), link.get());
}

int set_cutting(int device) {
    const Held<nl_msg> message(nlmsg_alloc_simple(RTM_SETLINK, 0));
    ifinfomsg header{};
    header.ifi_index = device;
    nlmsg_append(message.get(), &header, sizeof(header), NLMSG_ALIGNTO);
    nla_put_u32(message.get(), IFLA_GSO_MAX_SEGS, 1);
    return route::request(message.get());
}

int add_root(int device, Place place, uint16_t default_minor) {
    const Held<rtnl_qdisc> root(rtnl_qdisc_alloc());
    address(TC_CAST(root.get()), device, TC_H_ROOT, handle(place), "htb");
    rtnl_htb_set_defcls(root.get(), default_minor);
    return rtnl_qdisc_add(route::socket(), root.get(), NLM_F_CREATE | NLM_F_EXCL);
}

int delete_root(int device, Place place) {
    const Held<rtnl_qdisc> root(rtnl_qdisc_alloc());
    address(TC_CAST(root.get()), device, TC_H_ROOT, handle(place), "htb");
    return rtnl_qdisc_delete(route::socket(), root.get());
}

int set_class(int device, Place place, const QueueClass& wanted) {
    const Held<rtnl_class> made(rtnl_class_alloc());
    address(TC_CAST(made.get()), device, handle(place, wanted.parent), handle(place, wanted.minor),
            "htb");
    const auto rate = bytes(wanted.rate), ceil = bytes(wanted.ceil);
    rtnl_htb_set_rate64(made.get(), rate);
    rtnl_htb_set_ceil64(made.get(), ceil);
    rtnl_htb_set_rbuffer(made.get(), burst(rate));
    rtnl_htb_set_cbuffer(made.get(), burst(ceil));
    rtnl_htb_set_quantum(made.get(), wanted.quantum);
    rtnl_htb_set_prio(made.get(), wanted.priority);
    return rtnl_class_add(route::socket(), made.get(), NLM_F_CREATE);
}

int delete_class(int device, Place place, uint16_t minor) {
    const Held<rtnl_class> gone(rtnl_class_alloc());
    address(TC_CAST(gone.get()), device, handle(place), handle(place, minor), "htb");
    return rtnl_class_delete(route::socket(), gone.get());
}

int set_leaf(int device, Place place, const QueueClass& wanted) {
    constexpr int kAlsoAgain = NLM_F_CREATE | NLM_F_REPLACE;
    static bool fair = true;
    const auto most = room(bytes(wanted.ceil));
    if (fair) {
        const auto leaf = leaf_of(device, place, wanted.minor, "fq_codel");
        rtnl_qdisc_fq_codel_set_limit(leaf.get(), static_cast<int>(most / kFrame));
        const int result = rtnl_qdisc_add(route::socket(), leaf.get(), kAlsoAgain);
        if (result != -NLE_OBJ_NOTFOUND && result != -NLE_OPNOTSUPP) return result;
        fair = false;
    }
    const auto leaf = leaf_of(device, place, wanted.minor, "bfifo");
    rtnl_qdisc_fifo_set_limit(leaf.get(), static_cast<int>(most));
    return rtnl_qdisc_add(route::socket(), leaf.get(), kAlsoAgain);
}

int add_redirect(const Redirect& redirect) {
    const auto holder = filter_holder(redirect.device);
    const int held = rtnl_qdisc_add(route::socket(), holder.get(), NLM_F_CREATE | NLM_F_EXCL);
    if (held < 0 && held != -NLE_EXIST) return held;
    const auto filter = filter_at(redirect);
    rtnl_u32_add_key(filter.get(), 0, 0, 0, 0);
    rtnl_u32_set_cls_terminal(filter.get());
    rtnl_u32_add_action(filter.get(), handing_over_to(redirect.target).get());
    return rtnl_cls_add(route::socket(), filter.get(), NLM_F_CREATE | NLM_F_EXCL);
}

int delete_redirect(const Redirect& redirect) {
    const int result = rtnl_cls_delete(route::socket(), filter_at(redirect).get(), 0);
    if (result < 0) return result;
    for (const auto side : kSides)
        if (has_filters(redirect.device, side)) return 0;
    rtnl_qdisc_delete(route::socket(), filter_holder(redirect.device).get());
    return 0;
}

}  // namespace platform::platformd::enforce::queues
