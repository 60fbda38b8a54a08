#include <memory>

#include "uplink/link_aggregation.h"

using namespace appcfg;

namespace {

constexpr int kPatienceMs = 3000;

struct Disconnect {
    void operator()(ubus_context* bus) const { ubus_free(bus); }
};

}  // namespace

// Over a connection of its own: while the daemon's own one serves a request, calls that arrive on
// it would have to wait inside that request.
void rc_auto_wan_action(const char* action) {
    const std::unique_ptr<ubus_context, Disconnect> bus(ubus_connect(nullptr));
    uint32_t rc;
    if (!bus || ubus_lookup_id(bus.get(), "rc", &rc) != UBUS_STATUS_OK) return;
    blob_buf message{};
    blob_buf_init(&message, 0);
    blobmsg_add_string(&message, "name", "auto_wan");
    blobmsg_add_string(&message, "action", action);
    ubus_invoke(bus.get(), rc, "init", message.head, nullptr, nullptr, kPatienceMs);
    blob_buf_free(&message);
}
