#include "uplink/wan_backup.h"

#include <unistd.h>

#include <cstring>
#include <string_view>

#include "base/child.h"
#include "uplink/uplink_testing.h"
#include "uplink/uplink_uci.h"
#include "vsuci.h"

using namespace appcfg;

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

/// Returns what makes no sense, null if all does.
const char* find_nonsense(const WanBackup& b) {
    if (!b.enable || !b.fixed_port || !b.primary_port || !b.backup_port || !b.active_port)
        return "Missing WAN backup parameter";
    if (!is_flag(b.enable) || !is_port(b.fixed_port) || !is_port(b.primary_port) ||
        !is_port(b.backup_port) || !is_port(b.active_port))
        return "Invalid WAN backup parameter";
    if (same(b.enable, "0")) return nullptr;
    const bool active_is_one =
        same(b.active_port, b.primary_port) || same(b.active_port, b.backup_port);
    if (same(b.primary_port, b.backup_port) || !active_is_one)
        return "Invalid WAN backup port pair";
    return nullptr;
}

bool reads(const char* package, const char* section, const char* option, const char* wanted) {
    char value[8];
    return vsuci_get(package, section, option, value, sizeof(value)) == 0 && same(value, wanted);
}

bool stage(const WanBackup& b) {
    const char* program = uplink_surroundings.wan_backup_manager;
    if (access(program, X_OK) != 0) return false;
    const char* const argv[] = {"wan_backup_manager", "stage",       b.enable,      b.fixed_port,
                                b.primary_port,       b.backup_port, b.active_port, nullptr};
    return base::run(argv, program) == 0;
}

}  // namespace

Outcome wan_backup_set(const WanBackup& backup) {
    if (const char* reason = find_nonsense(backup)) return refused(reason);
    if (!reads("custom", "custom_page", "wan_backup_enable", "1"))
        return failed("WAN backup capability is disabled");
    if (!reads("device_mode_manager", "device_mode_manager", "mode", "0"))
        return failed("WAN backup is configurable only in gateway mode");
    return stage(backup) ? Outcome{} : failed("Failed to persist WAN backup configuration");
}
