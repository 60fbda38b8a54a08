#include "platform/linux/enforce/kernel/route.h"

#include <netlink/errno.h>
#include <netlink/netlink.h>

namespace platform::platformd::enforce::route {

namespace {

nl_sock* open_socket(int& error) {
    auto* made = nl_socket_alloc();
    if (!made) {
        error = -NLE_NOMEM;
        return nullptr;
    }
    error = nl_connect(made, NETLINK_ROUTE);
    if (error == 0) return made;
    nl_socket_free(made);
    return nullptr;
}

}  // namespace

nl_sock* socket(int* error) {
    static nl_sock* kept;
    int failed = 0;
    if (!kept) kept = open_socket(failed);
    if (error) *error = failed;
    return kept;
}

uint32_t port() {
    auto* ours = socket();
    return ours ? nl_socket_get_local_port(ours) : 0;
}

int request(nl_msg* message) {
    const int sent = nl_send_auto(socket(), message);
    return sent < 0 ? sent : nl_wait_for_ack(socket());
}

}  // namespace platform::platformd::enforce::route
