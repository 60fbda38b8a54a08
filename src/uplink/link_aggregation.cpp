#include "uplink/link_aggregation.h"

#include <cstring>

#include "uplink/auto_wan.h"
#include "uplink/la_workers.h"
#include "uplink/stored_bond.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_uci.h"
#include "uplink/wan_zone.h"

namespace appcfg::uplink {
namespace {

constexpr uint32_t kSlaves = 2;

/// False for texts that are too long together: those cannot be the names of interfaces.
bool take_slaves(const TextList& texts, Names& slaves) {
    if (texts.count != kSlaves) return false;
    return slaves.add(texts.texts[0]) && slaves.add(texts.texts[1]);
}

Outcome check(const LaRequest& request, Names& slaves) {
    if (!take_slaves(request.slaves, slaves))
        return refused("slaves must contain exactly 2 interfaces");
    if (!*request.bonding_policy) return refused("bonding_policy is required");
    for (const auto& [option, failure, member] : kLaTuning) {
        const char* value = request.*member;
        if (value && std::strlen(value) > kLongestOption) return failed(failure);
    }
    return {};
}

/// Whether the change is stored does not matter: the bond has gone, and the detection service is
/// started in any case.
void rearm_wan_detection_after_bond(uci_context* context) {
    UciFile auto_wan(context, "auto_wan");
    if (!auto_wan.load_for_change()) return;
    static_cast<void>(rearm_wan_detection(find_section(auto_wan.package(), "auto_wan")));
    static_cast<void>(auto_wan.commit());
}

}  // namespace

Outcome link_aggregation_set(LaRequest& request) {
    Names slaves;
    if (const Outcome checked = check(request, slaves); checked.reason) return checked;
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    const WanDetectionDecision decision;
    PortName previous_port;
    if (!pin_wan_detection(context.get(), previous_port)) return failed(kNoAutoWan);
    rc_auto_wan_action("disable");
    rc_auto_wan_action("stop");
    const Outcome stored = store_bond(context.get(), request, slaves, previous_port);
    if (stored.reason) return stored;
    add_la_to_wan_firewall_zone();
    start_la_apply_worker();
    return {};
}

Outcome link_aggregation_del() {
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    const WanDetectionDecision decision;
    rc_auto_wan_action("stop");
    switch (remove_stored_bond(context.get())) {
        case BondRemoval::NotLoaded:
        case BondRemoval::NotStored:
            return failed(kNoNetwork);
        case BondRemoval::NoBond:
            return {};
        case BondRemoval::Removed:
            break;
    }
    rearm_wan_detection_after_bond(context.get());
    start_la_remove_worker();
    return {};
}

Outcome link_aggregation_del_no_commit() {
    const UciContext context = uci_new_context();
    if (!context) return failed(kNoContext);
    const BondRemoval removal = remove_stored_bond(context.get());
    const bool stored = removal == BondRemoval::NoBond || removal == BondRemoval::Removed;
    return stored ? Outcome{} : failed(kNoNetwork);
}

}  // namespace appcfg::uplink
