#include "platform/linux/enforce/learnt.h"

#include <net/if.h>
#include <netlink/route/neighbour.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>

#include "platform/linux/enforce/conntrack.h"
#include "platform/linux/enforce/kernel/route.h"
#include "platform/linux/enforce/marks.h"

namespace platform::platformd::enforce {

namespace {

/// IP addresses of hosts whose connections are to be forgotten, in network order.
std::set<std::string> g_addresses;

std::string bytes_of(const nl_addr* address) {
    if (!address) return {};
    return {static_cast<const char*>(nl_addr_get_binary_addr(address)), nl_addr_get_len(address)};
}

bool has_learnt_address(const End& end, int family) {
    const size_t size = family == AF_INET ? 4 : sizeof(end.address);
    return g_addresses.contains(std::string(reinterpret_cast<const char*>(end.address), size));
}

bool is_of_host(const Connection& connection) {
    return has_learnt_address(connection.from, connection.family) ||
           has_learnt_address(connection.to, connection.family);
}

bool is_of(rtnl_neigh* entry, const std::vector<base::MacAddress>& hosts) {
    const auto mac = bytes_of(rtnl_neigh_get_lladdr(entry));
    return std::ranges::any_of(hosts, [&mac](const base::MacAddress& host) {
        return mac.size() == host.size() && memcmp(mac.data(), host.data(), host.size()) == 0;
    });
}

/// An entry of the bridge goes; a neighbour's tells one of the host's addresses.
void forget(nl_sock* socket, rtnl_neigh* entry, int bridge) {
    constexpr int kLearnt = NUD_REACHABLE | NUD_STALE;
    if (rtnl_neigh_get_family(entry) != AF_BRIDGE) {
        if (rtnl_neigh_get_ifindex(entry) == bridge)
            g_addresses.insert(bytes_of(rtnl_neigh_get_dst(entry)));
    } else if (rtnl_neigh_get_master(entry) == bridge &&
               (rtnl_neigh_get_state(entry) & kLearnt) != 0) {
        rtnl_neigh_delete(socket, entry, 0);
    }
}

}  // namespace

void forget_hosts(const std::vector<base::MacAddress>& hosts) {
    nl_cache* filled = nullptr;
    auto* socket = route::socket();
    if (!socket || rtnl_neigh_alloc_cache_flags(socket, &filled, NL_CACHE_AF_ITER) < 0) return;
    const route::Held<nl_cache> cache(filled);
    const auto bridge = static_cast<int>(if_nametoindex(kLanBridge));
    for (auto* one = nl_cache_get_first(filled); one; one = nl_cache_get_next(one))
        if (auto* entry = reinterpret_cast<rtnl_neigh*>(one); is_of(entry, hosts))
            forget(socket, entry, bridge);
    std::string error;
    if (!g_addresses.empty() && !forget_connections(kOffloaded, is_of_host, error))
        fprintf(stderr, "platformd: what is offloaded goes on: %s\n", error.c_str());
    g_addresses.clear();
}

}  // namespace platform::platformd::enforce
