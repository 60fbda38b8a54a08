#include <cstdio>
#include <cstring>

#include "core/bounded.h"
#include "core/bus_object.h"
#include "uplink/link_aggregation.h"
#include "uplink/uplink.h"
#include "uplink/uplink_mode.h"
#include "uplink/wan_backup.h"

namespace appcfg {

struct BondArguments {
    TextList slaves;
    const char* bonding_policy;
    const char* tuning[std::size(kLaTuning)];
};

struct ModeArguments {
    const char* mode;
    const char* port;
};

namespace {

/// False if it does not fit.
bool append_word(Text& text, const char* word) {
    const size_t length = std::strlen(text);
    const int added =
        std::snprintf(text + length, sizeof(text) - length, "%s%s", length ? " " : "", word);
    return static_cast<size_t>(added) < sizeof(text) - length;
}

consteval Argument tuning(size_t i) {
    return make_argument<const char*>(kLaTuning[i].option,
                                      offsetof(BondArguments, tuning) + i * sizeof(const char*));
}

constexpr Argument kSetArguments[] = {
    ARGUMENT(BondArguments, slaves),
    ARGUMENT(BondArguments, bonding_policy),
    tuning(0),
    tuning(1),
    tuning(2),
    tuning(3),
    tuning(4),
    tuning(5),
    tuning(6),
};

constexpr Argument kModeArguments[] = {
    ARGUMENT(ModeArguments, mode),
    ARGUMENT(ModeArguments, port),
};

constexpr Argument kBackupArguments[] = {
    ARGUMENT(WanBackup, enable),       ARGUMENT(WanBackup, fixed_port),
    ARGUMENT(WanBackup, primary_port), ARGUMENT(WanBackup, backup_port),
    ARGUMENT(WanBackup, active_port),
};

}  // namespace

Outcome set_bond(BondArguments& given) {
    LaRequest request{};
    for (uint32_t i = 0; i < given.slaves.count; ++i)
        if (append_word(request.slaves, given.slaves.texts[i])) ++request.slave_count;
    cut_text(request.bonding_policy, given.bonding_policy);
    for (size_t i = 0; i < std::size(kLaTuning); ++i)
        request.tuning[i] = given.tuning[i];
    return link_aggregation_set(request);
}

Outcome set_mode(ModeArguments& given) {
    return uplink_mode_set(given.mode, given.port);
}

Outcome set_backup(WanBackup& given) {
    return wan_backup_set(given);
}

namespace {

constexpr Method kMethods[] = {
    method<set_bond>("link_aggregation_set", kSetArguments).with_optional(std::size(kLaTuning)),
    method<link_aggregation_del>("link_aggregation_del"),
    method<link_aggregation_del_no_commit>("link_aggregation_del_no_commit"),
    method<link_aggregation_get>("link_aggregation_get"),
    method<set_mode>("uplink_mode_set", kModeArguments).with_optional(std::size(kModeArguments)),
    method<set_backup>("wan_backup_set", kBackupArguments)
        .with_optional(std::size(kBackupArguments)),
};

BUS_OBJECT(object, "app_uplink", kMethods);

}  // namespace

}  // namespace appcfg

ubus_object* uplink_bus_object() {
    return &appcfg::object;
}
