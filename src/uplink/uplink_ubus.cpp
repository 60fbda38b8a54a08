#include "uplink/la_report.h"
#include "uplink/la_request.h"
#include "uplink/link_aggregation.h"
#include "uplink/uplink.h"
#include "uplink/uplink_mode.h"
#include "uplink/wan_backup.h"

namespace appcfg::uplink {
namespace {

consteval Argument text(const char* name) {
    return raw_argument(name, BLOBMSG_TYPE_STRING);
}

const char* text_of(blob_attr* argument) {
    return argument ? blobmsg_get_string(argument) : nullptr;
}

constexpr Argument kSetArguments[] = {
    raw_argument("slaves", BLOBMSG_TYPE_ARRAY),
    text("bonding_policy"),
    text(kLaTuning[0].option),
    text(kLaTuning[1].option),
    text(kLaTuning[2].option),
    text(kLaTuning[3].option),
    text(kLaTuning[4].option),
    text(kLaTuning[5].option),
    text(kLaTuning[6].option),
};

constexpr Argument kModeArguments[] = {text("mode"), text("port")};

constexpr Argument kBackupArguments[] = {
    text("enable"),      text("fixed_port"),  text("primary_port"),
    text("backup_port"), text("active_port"),
};

Outcome set_bond(GivenArguments given, ReplyBuffer&) {
    LaRequest request = read_la_request(given);
    return link_aggregation_set(request);
}

Outcome delete_bond(GivenArguments, ReplyBuffer&) {
    return link_aggregation_del();
}

Outcome delete_stored_bond(GivenArguments, ReplyBuffer&) {
    return link_aggregation_del_no_commit();
}

Outcome report_bond(GivenArguments, ReplyBuffer& reply) {
    return link_aggregation_get(reply);
}

Outcome set_mode(GivenArguments given, ReplyBuffer&) {
    ModeRequest request = {text_of(given[0]), text_of(given[1])};
    return uplink_mode_set(request);
}

Outcome set_backup(GivenArguments given, ReplyBuffer&) {
    WanBackup backup = {text_of(given[0]), text_of(given[1]), text_of(given[2]), text_of(given[3]),
                        text_of(given[4])};
    return wan_backup_set(backup);
}

}  // namespace

// The methods are a key of the bus object's type, so that they need a name that is theirs alone in
// the whole program.
inline constexpr Method kMethods[] = {
    raw_method("link_aggregation_set", set_bond, kSetArguments, std::size(kLaTuning)),
    raw_method("link_aggregation_del", delete_bond),
    raw_method("link_aggregation_del_no_commit", delete_stored_bond),
    raw_method("link_aggregation_get", report_bond),
    raw_method("uplink_mode_set", set_mode, kModeArguments, std::size(kModeArguments)),
    raw_method("wan_backup_set", set_backup, kBackupArguments, std::size(kBackupArguments)),
};

}  // namespace appcfg::uplink

ubus_object* appcfg::uplink_bus_object() {
    return BusObject<uplink::kMethods>::named("app_uplink");
}
