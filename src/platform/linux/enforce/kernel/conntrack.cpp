#include "platform/linux/enforce/conntrack.h"

#include <linux/netfilter/nf_conntrack_common.h>
#include <netlink/errno.h>
#include <netlink/msg.h>
#include <netlink/netfilter/ct.h>
#include <netlink/netfilter/nfnl.h>
#include <netlink/netlink.h>
#include <netlink/socket.h>

#include <cstring>
#include <vector>

namespace platform::platformd::enforce {

static_assert(kOffloaded == (IPS_OFFLOAD | IPS_HW_OFFLOAD));

namespace {

struct Search {
    uint32_t status;
    bool (*chosen)(const Connection&);
    std::vector<nfnl_ct*> found;
};

End end_of(const nl_addr* address, uint16_t port) {
    End end{{}, port};
    if (address && nl_addr_get_len(address) <= sizeof(end.address))
        memcpy(end.address, nl_addr_get_binary_addr(address), nl_addr_get_len(address));
    return end;
}

// Who answers stands in what it answers with.
Connection connection_of(const nfnl_ct* entry) {
    return {nfnl_ct_get_family(entry), nfnl_ct_get_proto(entry),
            end_of(nfnl_ct_get_src(entry, 0), nfnl_ct_get_src_port(entry, 0)),
            end_of(nfnl_ct_get_src(entry, 1), nfnl_ct_get_src_port(entry, 1))};
}

int on_entry(nl_msg* message, void* argument) {
    auto& search = *static_cast<Search*>(argument);
    nfnl_ct* entry = nullptr;
    if (nfnlmsg_ct_parse(nlmsg_hdr(message), &entry) != 0) return NL_SKIP;
    if ((nfnl_ct_get_status(entry) & search.status) != 0 && search.chosen(connection_of(entry)))
        search.found.push_back(entry);
    else
        nfnl_ct_put(entry);
    return NL_OK;
}

int find(nl_sock* socket, Search& search) {
    int result = nfnl_connect(socket);
    if (result >= 0)
        result = nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, on_entry, &search);
    if (result >= 0) result = nfnl_ct_dump_request(socket);
    if (result >= 0) result = nl_recvmsgs_default(socket);
    return result;
}

// One that has ended meanwhile is no loss.
int forget(nl_sock* socket, const nfnl_ct* entry) {
    const int result = nfnl_ct_del(socket, entry, 0);
    return result == -NLE_OBJ_NOTFOUND ? 0 : result;
}

}  // namespace

bool forget_connections(uint32_t status, bool (*chosen)(const Connection&), std::string& error) {
    auto* socket = nl_socket_alloc();
    if (!socket) {
        error = nl_geterror(NLE_NOMEM);
        return false;
    }
    Search search{status, chosen, {}};
    int result = find(socket, search);
    for (auto* entry : search.found) {
        const int one = forget(socket, entry);
        if (one < 0) result = one;
        nfnl_ct_put(entry);
    }
    nl_socket_free(socket);
    if (result < 0) error = nl_geterror(result);
    return result >= 0;
}

}  // namespace platform::platformd::enforce
