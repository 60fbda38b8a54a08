#include "uplink/uplink_commands.h"

#include <cstring>

#include "uplink/uplink_uci.h"
#include "zu_os.h"

using namespace appcfg;

namespace {

constexpr size_t kLongestName = 15;  // what the kernel takes

bool may_stand_in_line(const char* name) {
    return is_lan_port(name) && is_interface_name(name);
}

}  // namespace

bool is_interface_name(const char* name) {
    static constexpr char kAllowed[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
    const size_t length = std::strspn(name, kAllowed);
    return length > 0 && length <= kLongestName && !name[length];
}

void release_from_bridge(const char* names) {
    for (Words words(names); const char* port = words.next();)
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

void join_bridge(const char* names) {
    for (Words words(names); const char* port = words.next();)
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

void bring_up(const char* interface) {
    if (is_interface_name(interface)) zu_os_vcmd("ifup %s 2>/dev/null", interface);
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
