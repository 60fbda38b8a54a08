#include "platform/linux/enforce/learnt.h"

#include <net/if.h>
#include <netlink/route/neighbour.h>

#include <cstring>

#include "platform/linux/enforce/kernel/route.h"
#include "platform/linux/enforce/marks.h"

namespace platform::platformd::enforce {

namespace {

bool is_of(rtnl_neigh* entry, const uint8_t (&mac)[6]) {
    constexpr int kLearnt = NUD_REACHABLE | NUD_STALE;
    const auto* address = rtnl_neigh_get_lladdr(entry);
    return rtnl_neigh_get_family(entry) == AF_BRIDGE && address &&
           nl_addr_get_len(address) == sizeof(mac) &&
           memcmp(nl_addr_get_binary_addr(address), mac, sizeof(mac)) == 0 &&
           (rtnl_neigh_get_state(entry) & kLearnt) != 0 &&
           rtnl_neigh_get_master(entry) == static_cast<int>(if_nametoindex(kLanBridge));
}

}  // namespace

void forget_host(const uint8_t (&mac)[6]) {
    nl_cache* filled = nullptr;
    auto* socket = route::socket();
    if (!socket || rtnl_neigh_alloc_cache_flags(socket, &filled, NL_CACHE_AF_ITER) < 0) return;
    const route::Held<nl_cache> cache(filled);
    for (auto* one = nl_cache_get_first(filled); one; one = nl_cache_get_next(one))
        if (auto* entry = reinterpret_cast<rtnl_neigh*>(one); is_of(entry, mac))
            rtnl_neigh_delete(socket, entry, 0);
}

}  // namespace platform::platformd::enforce
