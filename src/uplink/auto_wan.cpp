#include "uplink/auto_wan.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

#include "uplink/stored_bond.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_commands.h"
#include "uplink/uplink_uci.h"
#include "zu_os.h"

namespace appcfg::uplink {
namespace {

constexpr int kPatienceMs = 3000;

struct Disconnect {
    void operator()(ubus_context* bus) const { ubus_free(bus); }
};

constinit std::mutex deciding;
uint32_t decisions;  // guarded by `deciding`

/// The port that was the WAN uplink so far, empty if there was none.
void name_wan_port(uci_section* auto_wan, PortName& port) {
    port[0] = '\0';
    const char* mode = option_string(auto_wan, "cfg_mode");
    const char* chosen = option_string(auto_wan, "cfg_linkid");
    if (!mode || std::strcmp(mode, "1") != 0 || !chosen)
        chosen = option_string(auto_wan, "current_uplinkid");
    const int32_t number = zu_os_strtol(chosen, nullptr, 10);
    if (number > 0) name_port(number, port);
}

}  // namespace

bool pin_wan_detection(uci_context* context, PortName& previous_port) {
    UciFile auto_wan(context, "auto_wan");
    if (!auto_wan.load_for_change()) return false;
    uci_section* section = find_section(auto_wan.package(), "auto_wan");
    name_wan_port(section, previous_port);
    set_option(section, "cfg_mode", "1");
    set_option(section, "cfg_linkid", "1");
    return auto_wan.commit();
}

Outcome rearm_wan_detection(uci_section* auto_wan) {
    if (!set_option(auto_wan, "current_uplinkid", "-1"))
        return failed("Failed to set current_uplinkid");
    if (!set_option(auto_wan, "detected_linkid", "-1"))
        return failed("Failed to set detected_linkid");
    if (!set_option(auto_wan, "detect_en", "1")) return failed("Failed to set detect_en");
    return {};
}

WanDetectionDecision::WanDetectionDecision() {
    deciding.lock();
    ++decisions;
}

WanDetectionDecision::~WanDetectionDecision() {
    deciding.unlock();
}

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

// The bus library builds its messages in memory that all connections of a process share, so another
// process makes these calls: whoever hangs there holds up this thread only.
void settle_wan_detection() {
    std::unique_lock look(deciding);
    uint32_t seen;
    do {
        seen = decisions;
        const bool bonded = la_interface_exists();
        look.unlock();
        call_rc_for_auto_wan(bonded ? "disable" : "enable");
        call_rc_for_auto_wan(bonded ? "stop" : "start");
        look.lock();
    } while (decisions != seen);
}

}  // namespace appcfg::uplink
