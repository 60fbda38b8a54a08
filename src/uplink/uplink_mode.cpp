#include "uplink/uplink_mode.h"

#include <cstring>

#include "core/bounded.h"
#include "uplink/auto_wan.h"
#include "uplink/la_workers.h"
#include "uplink/lan_bridge.h"
#include "uplink/stored_bond.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_commands.h"
#include "uplink/uplink_uci.h"
#include "vsuci.h"
#include "zu_os.h"

namespace appcfg::uplink {
namespace {

constexpr int32_t kPorts = 4;

struct Mode {
    char text[8];
    char port[8];  ///< as given, "3x" is port 3
    bool fixed;
    int32_t number;  ///< of the port, 0 if the mode is not fixed
};

Outcome read_mode(const ModeRequest& request, Mode& mode) {
    mode = {};
    if (!request.mode) return refused("Parameter mode is NULL. Please try again.");
    cut_text(mode.text, request.mode);
    if (request.port) cut_text(mode.port, request.port);
    mode.fixed = std::strcmp(mode.text, "1") == 0;
    if (!mode.fixed && std::strcmp(mode.text, "2") != 0)
        return refused("mode must be '1' (fixed port) or '2' (auto uplink)");
    if (!mode.fixed) return {};
    if (!*mode.port) return refused("port is required for LAN uplink mode");
    const int32_t number = zu_os_strtol(mode.port, nullptr, 10);
    if (number < 1 || number > kPorts) return refused("port must be in range 1-4");
    mode.number = number;
    return {};
}

Outcome store_mode(uci_context* context, const Mode& mode, bool bond_removed) {
    UciFile auto_wan(context, "auto_wan");
    if (!auto_wan.load_for_change()) return failed(kNoAutoWan);
    uci_section* section = find_section(auto_wan.package(), "auto_wan");
    if (!set_option(section, "cfg_mode", mode.text)) return failed("Failed to set cfg_mode");
    if (bond_removed && !mode.fixed)
        if (const Outcome armed = rearm_wan_detection(section); armed.reason) return armed;
    return auto_wan.commit() ? Outcome{} : failed(kNoAutoWan);
}

/// Where a bond has been, its ports are in the LAN bridge again; the new uplink leaves it.
bool free_wan_port(uci_context* context, const Mode& mode, bool bond_removed) {
    UciFile network(context, "network");
    if (!network.load_for_change()) return false;
    uci_section* bridge = bond_removed ? find_lan_bridge(network.package()) : nullptr;
    if (!bridge) return true;
    remove_bond_port(bridge);
    if (mode.fixed) {
        PortName name;
        name_port(mode.number, name);
        Names port;
        port.add(name);
        remove_bridge_ports(bridge, port);
    }
    return network.commit();
}

void apply_mode(bool bond_removed) {
    if (bond_removed) {
        start_la_remove_worker();
    } else if (la_interface_exists()) {
        rc_auto_wan_action("disable");
        rc_auto_wan_action("stop");
    } else {
        reload_auto_wan();
    }
}

}  // namespace

Outcome uplink_mode_set(ModeRequest& request) {
    Mode mode;
    if (const Outcome checked = read_mode(request, mode); checked.reason) return checked;
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    const WanDetectionDecision decision;
    const BondRemoval removal = remove_stored_bond(context.get());
    if (removal == BondRemoval::NotStored) return failed(kNoNetwork);
    const bool bond_removed = removal == BondRemoval::Removed;
    if (const Outcome stored = store_mode(context.get(), mode, bond_removed); stored.reason)
        return stored;
    if (mode.fixed && vsuci_set("auto_wan", "auto_wan", "cfg_linkid", mode.port) != 0)
        return failed("Failed to set cfg_linkid");
    if (!free_wan_port(context.get(), mode, bond_removed)) return failed(kNoNetwork);
    apply_mode(bond_removed);
    return {};
}

}  // namespace appcfg::uplink
