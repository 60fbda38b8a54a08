#include "qos/lanhost/interfaces.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "board/devicetree.h"
#include "core/bounded.h"
#include "core/result.h"
#include "qos/qos.h"
#include "records/netif.h"
#include "vsuci.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

/// In whose name failures are told, whatever the gate of the log says.
constexpr char kOperation[] = "app_qos_init_cfe_netintf";

enum class Board { Router, Pon, Other };

Board board_of(std::string_view model) {
    constexpr std::string_view kRouters[] = {"qm7301_4g", "qm7301_4g_h2", "qm7301_4g_h3",
                                             "qm7302ac"};
    if (std::ranges::find(kRouters, model) != std::end(kRouters)) return Board::Router;
    return model == "t4610ach" ? Board::Pon : Board::Other;
}

void report_unreadable(const char* text, int error) {
    errno = error;
    std::perror(text);
}

/// Which board this is; one that does not say so is like one that nothing is known of.
Board this_board() {
    board::Property alias = board::read_property("board_name_alias");
    if (alias.open_error != 0) {
        report_unreadable("Failed to open board_name_alias", alias.open_error);
    } else if (alias.read_error != 0) {
        report_unreadable("Error reading from file", alias.read_error);
    } else if (alias.size == 0) {
        std::fputs("File is empty\n", stderr);
    } else {
        if (alias.text[alias.size - 1] == '\n') alias.text[alias.size - 1] = '\0';
        return board_of(alias.text);
    }
    return Board::Other;
}

/// A number of the factory's; three digits of it count.
int board_fact(const char* option) {
    char text[4] = {};
    vsuci_get_zu_cfm("boardinfo", "boardinfo", option, text, sizeof(text));
    return std::atoi(text);
}

ifinfo interface_of(const char* name, uint32_t role = 0, uint8_t type = 0, uint32_t alport = 0) {
    ifinfo interface;
    zero(interface);
    copy_text(interface.if_name, name);
    interface.if_role = role;
    interface.if_type = type;
    interface.alport = alport;
    return interface;
}

ifinfo ethernet_interface(int number) {
    char name[sizeof(ifinfo::if_name)];
    std::snprintf(name, sizeof(name), "eth%d", number);
    const auto port = static_cast<uint16_t>(number);
    ifinfo interface = interface_of(name, kInterfaceLan, kInterfaceEthernet, ethernet_port(port));
    interface.if_port = port;
    return interface;
}

/// The platform takes or forgets an interface; it may change the record.
bool declare(ifinfo interface) {
    if (call(kInterfaceAdd, interface) == 0) return true;
    std::printf("[%s,%d]if_name:%s add failed\n", kOperation, __LINE__, interface.if_name);
    return false;
}

bool forget(const char* name) {
    ifinfo interface = interface_of(name);
    return call(kInterfaceDel, interface) == 0;
}

/// How a delete that fails is told.
enum class Told { Plainly, WithPlace };

bool replace(const ifinfo& interface, Told told = Told::Plainly) {
    if (!forget(interface.if_name)) {
        if (told == Told::WithPlace) std::printf("[%s,%d]", kOperation, __LINE__);
        std::printf("if_name:%s del failed\n", interface.if_name);
    }
    return declare(interface);
}

/// Makes a name known before it is deleted. Where it is known this fails, and means nothing.
void mention(const char* name) {
    ifinfo interface = interface_of(name);
    static_cast<void>(call(kInterfaceAdd, interface));
}

/// Takes a name out, whatever it stood for.
void clear_name(const char* argument, const char* name) {
    mention(name);
    if (!forget(name)) std::printf("%s:%s del failed\n", argument, name);
}

/// Takes the provider's port from the interface that has it. One that the platform has by itself
/// stays as it is, without that port.
bool free_wan_port() {
    ifinfo found = interface_of("", 0, kInterfaceEthernet, kWanPort);
    if (call(kInterfaceFindByPort, found) != 0) {
        std::puts("WAN_PORT_WAN1 not found");
        return true;
    }
    found.if_name[sizeof(found.if_name) - 1] = '\0';
    ifinfo kept = found;
    static_cast<void>(call(kInterfaceDel, found));
    if (kept.if_flag != 0) return true;
    kept.if_role = kInterfaceLan;
    kept.if_type = kInterfaceEthernet;
    kept.alport = 0;
    return declare(kept);
}

bool declare_lan_ports(const char* wan_root) {
    const int ports = board_fact("ethnum");
    for (int n = 0; n < ports; ++n) {
        const ifinfo port = ethernet_interface(n);
        if (std::strcmp(port.if_name, wan_root) != 0 && !replace(port)) return false;
    }
    return true;
}

bool declare_radio(const char* fact, const char* name, uint8_t type, uint32_t alport) {
    return board_fact(fact) <= 0 || replace(interface_of(name, kInterfaceLan, type, alport));
}

bool is_name(const char* text) {
    return text && *text != '\0' &&
           strnlen(text, sizeof(ifinfo::if_name)) < sizeof(ifinfo::if_name);
}

bool declare_router(const char* wan_root, const char* wan_name) {
    if (!is_name(wan_root) || !is_name(wan_name) || !free_wan_port()) return false;
    clear_name("wan_root", wan_root);
    clear_name("wan_name", wan_name);
    return declare_lan_ports(wan_root) &&
           declare_radio("wlan24", "default_radio0", kInterfaceRadio24, kRadio24Port) &&
           declare_radio("wlan58", "default_radio1", kInterfaceRadio58, kRadio58Port) &&
           replace(interface_of(wan_root, kInterfaceWanRoot, kInterfaceEthernet, kWanPort),
                   Told::WithPlace);
}

bool declare_pon() {
    const int ports = board_fact("ethnum");
    for (int n = 0; n < ports; ++n) {
        const ifinfo port = ethernet_interface(n);
        mention(port.if_name);
        if (!replace(port)) return false;
    }
    mention("pon");
    return replace(interface_of("pon", kInterfacePon, kInterfaceFibre, kWanPort), Told::WithPlace);
}

bool declare_interfaces(const char* wan_root, const char* wan_name) {
    switch (this_board()) {
        case Board::Router:
            return declare_router(wan_root, wan_name);
        case Board::Pon:
            return declare_pon();
        default:
            return true;
    }
}

}  // namespace

int32_t app_qos_init_cfe_netintf(const char* wan_root, const char* wan_name) {
    if (!declare_interfaces(wan_root, wan_name)) return IGD_CM_OPERATE_FAIL;
    igdCmQosModuleInit();
    return 0;
}

namespace appcfg::qos {

Outcome init_interfaces(InterfaceNames& names) {
    return Outcome::of(app_qos_init_cfe_netintf(names.wan_root, names.wan_name),
                       "init cfe interface error ");
}

}  // namespace appcfg::qos
