#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>
#include <thread>
#include <utility>

#include "core/bounded.h"
#include "uplink/link_aggregation.h"
#include "uplink/uplink_commands.h"
#include "uplink/uplink_testing.h"

using namespace appcfg;

UplinkSurroundings uplink_surroundings;

namespace {

struct SlaveText {
    Text text = {};
};

void pause_for(int seconds) {
    std::this_thread::sleep_for(seconds * uplink_surroundings.second);
}

bool start_worker(void* (*worker)(void*), void* argument) {
    pthread_t thread;
    return pthread_create(&thread, nullptr, worker, argument) == 0;
}

/// True for an interface on a WAN device that wants to be brought up.
bool is_wan_interface(uci_section* section) {
    if (!is_of_type(section, "interface")) return false;
    const char* device = option_string(section, "device");
    if (!device || std::strncmp(device, "wan", 3) != 0) return false;
    const char* protocol = option_string(section, "proto");
    return !protocol || std::strcmp(protocol, "none") != 0;
}

void bring_up_wan_interfaces() {
    const UciContext context = uci_new_context();
    UciFile network(context.get(), "network");
    if (!network.load()) return;
    uci_element* element;
    uci_foreach_element(&network.package()->sections, element) {
        if (is_wan_interface(uci_to_section(element))) bring_up(element->name);
    }
}

// The reload may have put the slaves back into the bridge, so they are taken out of it twice.
void* la_apply_worker(void* argument) {
    pthread_detach(pthread_self());
    const std::unique_ptr<SlaveText> slaves(static_cast<SlaveText*>(argument));
    if (slaves) release_from_bridge(slaves->text);
    reload_network();
    pause_for(1);
    if (slaves) release_from_bridge(slaves->text);
    bring_up("la");
    pause_for(1);
    bring_up_wan_interfaces();
    reload_network_users();
    return nullptr;
}

void remove_bond_from_stored_bridge() {
    const UciContext context = uci_new_context();
    UciFile network(context.get(), "network");
    if (!network.load_for_change()) return;
    uci_section* bridge = find_lan_bridge(network.package());
    if (!has_list_value(bridge, "ports", kBond)) return;
    remove_list_value(bridge, "ports", kBond);
    static_cast<void>(network.commit());
}

bool read_bridge_ports(Text& ports) {
    const UciContext context = uci_new_context();
    UciFile network(context.get(), "network");
    uci_section* bridge = network.load() ? find_lan_bridge(network.package()) : nullptr;
    if (bridge) option_text(bridge, "ports", ports);
    return bridge;
}

void restore_bridge() {
    Text ports;
    if (!read_bridge_ports(ports)) return;
    release_bond_from_bridge();
    join_bridge(ports);
}

// The bus library builds its messages in memory that all connections share, and the event loop
// belongs to one thread. So a removal worker does not call the detection service itself: its last
// act is to wake the event loop, which does. A request then comes before or after, never between
// the look at the configuration and the calls.

void settle_wan_detection(uloop_fd* wake_up, unsigned int) {
    eventfd_t count;
    if (eventfd_read(wake_up->fd, &count) != 0) return;
    const bool bonded = la_interface_exists();
    rc_auto_wan_action(bonded ? "disable" : "enable");
    rc_auto_wan_action(bonded ? "stop" : "start");
}

uloop_fd wake_up = {settle_wan_detection, -1, false, false, false, 0};

bool have_wake_up() {
    if (wake_up.fd >= 0) return true;
    wake_up.fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake_up.fd >= 0 && uloop_fd_add(&wake_up, ULOOP_READ) == 0) return true;
    close(std::exchange(wake_up.fd, -1));
    return false;
}

void* la_remove_worker(void*) {
    pthread_detach(pthread_self());
    remove_bond_from_stored_bridge();
    restore_bridge();
    reload_network();
    reload_network_users();
    pause_for(2);
    eventfd_write(wake_up.fd, 1);
    return nullptr;
}

}  // namespace

void start_la_apply_worker(const char* slaves) {
    std::unique_ptr<SlaveText> copy(new (std::nothrow) SlaveText);
    if (copy) cut_text(copy->text, slaves);
    if (start_worker(la_apply_worker, copy.get())) copy.release();
}

void start_la_remove_worker() {
    if (have_wake_up()) start_worker(la_remove_worker, nullptr);
}
