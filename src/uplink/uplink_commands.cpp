#include "uplink/uplink_commands.h"

#include "base/names.h"
#include "uplink/lan_bridge.h"
#include "zu_os.h"

namespace appcfg::uplink {
namespace {

bool may_stand_in_line(const char* name) {
    return is_lan_port(name) && base::is_interface_name(name);
}

}  // namespace

bool is_section_name(std::string_view name) {
    constexpr size_t kLongest = 110;
    return base::is_name(name, kLongest) && name.find_first_of(".-") == name.npos;
}

void release_from_bridge(const Names& names) {
    for (const char* port : names)
        if (may_stand_in_line(port))
            zu_os_vcmd(
                "master=$(readlink -f /sys/class/net/%s/master 2>/dev/null); "
                "if [ \"${master##*/}\" = \"br-lan\" ]; then "
                "brctl delif br-lan %s 2>/dev/null; "
                "ip link set dev %s nomaster 2>/dev/null; "
                "ip link set dev %s up 2>/dev/null; "
                "else brctl delif br-lan %s 2>/dev/null; fi",
                port, port, port, port, port);
}

void join_bridge(const Names& names) {
    for (const char* port : names)
        if (may_stand_in_line(port))
            zu_os_vcmd(
                "master=$(readlink -f /sys/class/net/%s/master 2>/dev/null); "
                "[ \"${master##*/}\" = \"br-lan\" ] || { "
                "ip link set dev %s nomaster 2>/dev/null; "
                "ip link set dev %s up 2>/dev/null; "
                "brctl addif br-lan %s 2>/dev/null; }",
                port, port, port, port);
}

void release_bond_from_bridge() {
    zu_os_execcmd("brctl delif br-lan bond-la 2>/dev/null");
}

void bring_up(const char* section) {
    if (is_section_name(section)) zu_os_vcmd("ifup %s 2>/dev/null", section);
}

void reload_network() {
    zu_os_execcmd("/etc/init.d/network reload");
}

void reload_auto_wan() {
    zu_os_execcmd("/etc/init.d/auto_wan reload");
}

void reload_network_users() {
    zu_os_execcmd("/etc/init.d/firewall reload");
    zu_os_execcmd("/etc/init.d/miniupnpd reload");
    zu_os_execcmd("/etc/init.d/omcproxy reload");
}

void call_rc_for_auto_wan(const char* action) {
    zu_os_vcmd("ubus -t 3 call rc init '{\"name\":\"auto_wan\",\"action\":\"%s\"}' >/dev/null 2>&1",
               action);
}

}  // namespace appcfg::uplink
