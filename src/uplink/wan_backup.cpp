#include "uplink/wan_backup.h"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "base/child.h"
#include "uplink/uplink_answers.h"
#include "uplink/uplink_testing.h"
#include "vsuci.h"

namespace appcfg::uplink {
namespace {

bool is_flag(std::string_view text) {
    return text == "0" || text == "1";
}

bool is_port(std::string_view text) {
    return text.size() == 1 && text[0] >= '1' && text[0] <= '4';
}

bool same(const char* a, const char* b) {
    return std::strcmp(a, b) == 0;
}

Outcome check(const WanBackup& b) {
    if (!b.enable || !b.fixed_port || !b.primary_port || !b.backup_port || !b.active_port)
        return refused("Missing WAN backup parameter");
    if (!is_flag(b.enable) || !is_port(b.fixed_port) || !is_port(b.primary_port) ||
        !is_port(b.backup_port) || !is_port(b.active_port))
        return refused("Invalid WAN backup parameter");
    if (same(b.enable, "0")) return {};
    const bool active_is_one =
        same(b.active_port, b.primary_port) || same(b.active_port, b.backup_port);
    if (same(b.primary_port, b.backup_port) || !active_is_one)
        return refused("Invalid WAN backup port pair");
    return {};
}

bool reads(const char* package, const char* section, const char* option, const char* wanted) {
    char value[8];
    return vsuci_get(package, section, option, value, sizeof(value)) == 0 && same(value, wanted);
}

bool stage(const WanBackup& b) {
    const char* program = surroundings.wan_backup_manager;
    if (access(program, X_OK) != 0) return false;
    const char* const argv[] = {"wan_backup_manager", "stage",       b.enable,      b.fixed_port,
                                b.primary_port,       b.backup_port, b.active_port, nullptr};
    return base::run(argv, program) == 0;
}

}  // namespace

Outcome wan_backup_set(WanBackup& backup) {
    if (const Outcome checked = check(backup); checked.reason) return checked;
    if (!reads("custom", "custom_page", "wan_backup_enable", "1"))
        return failed("WAN backup capability is disabled");
    if (!reads("device_mode_manager", "device_mode_manager", "mode", "0"))
        return failed("WAN backup is configurable only in gateway mode");
    return stage(backup) ? Outcome{} : failed("Failed to persist WAN backup configuration");
}

}  // namespace appcfg::uplink
