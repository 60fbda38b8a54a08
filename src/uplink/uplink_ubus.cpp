#include <cstdio>
#include <cstring>

#include "core/bounded.h"
#include "core/reply_buffer.h"
#include "uplink/link_aggregation.h"
#include "uplink/uplink.h"
#include "uplink/uplink_mode.h"
#include "uplink/wan_backup.h"

namespace {

constexpr uint32_t kMostSlaves = 8;

const char* text_of(blob_attr* argument) {
    return argument ? blobmsg_get_string(argument) : nullptr;
}

/// False if it does not fit.
bool append_word(Text& text, const char* word) {
    const size_t length = std::strlen(text);
    const int added =
        std::snprintf(text + length, sizeof(text) - length, "%s%s", length ? " " : "", word);
    return static_cast<size_t>(added) < sizeof(text) - length;
}

/// Joins the texts of the array; what is no text does not count. Names that do not fit cannot be
/// those of interfaces: then none counts.
void take_slaves(blob_attr* array, LaRequest& request) {
    blob_attr* element;
    size_t rest;
    blobmsg_for_each_attr(element, array, rest) {
        if (blobmsg_type(element) != BLOBMSG_TYPE_STRING || !blobmsg_check_attr(element, false))
            continue;
        if (!append_word(request.slaves, blobmsg_get_string(element))) {
            request.slave_count = 0;
            return;
        }
        if (++request.slave_count == kMostSlaves) return;
    }
}

enum SetArgument { kSlaves, kBondingPolicy, kFirstTuning };

constexpr Argument kSetArguments[] = {
    raw_argument("slaves", BLOBMSG_TYPE_ARRAY),
    raw_argument("bonding_policy", BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[0].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[1].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[2].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[3].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[4].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[5].option, BLOBMSG_TYPE_STRING),
    raw_argument(kLaTuning[6].option, BLOBMSG_TYPE_STRING),
};
static_assert(std::size(kSetArguments) == kFirstTuning + std::size(kLaTuning));

constexpr Argument kModeArguments[] = {
    raw_argument("mode", BLOBMSG_TYPE_STRING),
    raw_argument("port", BLOBMSG_TYPE_STRING),
};

constexpr Argument kBackupArguments[] = {
    raw_argument("enable", BLOBMSG_TYPE_STRING),
    raw_argument("fixed_port", BLOBMSG_TYPE_STRING),
    raw_argument("primary_port", BLOBMSG_TYPE_STRING),
    raw_argument("backup_port", BLOBMSG_TYPE_STRING),
    raw_argument("active_port", BLOBMSG_TYPE_STRING),
};

Outcome set_bond(GivenArguments given, ReplyBuffer&) {
    LaRequest request{};
    take_slaves(given[kSlaves], request);
    cut_text(request.bonding_policy, text_of(given[kBondingPolicy]));
    for (size_t i = 0; i < std::size(kLaTuning); ++i)
        request.tuning[i] = text_of(given[kFirstTuning + i]);
    return link_aggregation_set(request);
}

Outcome delete_bond(GivenArguments, ReplyBuffer&) {
    return link_aggregation_del();
}

Outcome delete_stored_bond(GivenArguments, ReplyBuffer&) {
    return link_aggregation_del_no_commit();
}

Outcome set_mode(GivenArguments given, ReplyBuffer&) {
    return uplink_mode_set(text_of(given[0]), text_of(given[1]));
}

Outcome set_backup(GivenArguments given, ReplyBuffer&) {
    return wan_backup_set({.enable = text_of(given[0]),
                           .fixed_port = text_of(given[1]),
                           .primary_port = text_of(given[2]),
                           .backup_port = text_of(given[3]),
                           .active_port = text_of(given[4])});
}

constexpr Method kMethods[] = {
    raw_method("link_aggregation_set", set_bond, kSetArguments, std::size(kLaTuning)),
    raw_method("link_aggregation_del", delete_bond),
    raw_method("link_aggregation_del_no_commit", delete_stored_bond),
    raw_method("link_aggregation_get", link_aggregation_get),
    raw_method("uplink_mode_set", set_mode, kModeArguments, std::size(kModeArguments)),
    raw_method("wan_backup_set", set_backup, kBackupArguments, std::size(kBackupArguments)),
};

}  // namespace

ubus_object* uplink_bus_object() {
    return BusObject<kMethods>::named("app_uplink");
}
