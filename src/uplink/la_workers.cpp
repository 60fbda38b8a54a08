#include "uplink/la_workers.h"

#include <pthread.h>

#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>

#include "uplink/auto_wan.h"
#include "uplink/lan_bridge.h"
#include "uplink/stored_bond.h"
#include "uplink/uplink_commands.h"
#include "uplink/uplink_testing.h"
#include "uplink/uplink_uci.h"

namespace appcfg::uplink {
namespace {

void pause_for(int seconds) {
    std::this_thread::sleep_for(seconds * surroundings.second);
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
    if (!context) return;
    UciFile network(context.get(), "network");
    if (!network.load()) return;
    uci_element* element;
    uci_foreach_element(&network.package()->sections, element) {
        if (is_wan_interface(uci_to_section(element))) bring_up(element->name);
    }
}

void release_slaves() {
    Names slaves;
    read_stored_slaves(slaves);
    release_from_bridge(slaves);
}

// The reload may have put the slaves back into the bridge, so they are taken out of it twice. The
// bond may go meanwhile, or get other slaves: then those that were asked for stay in the bridge.
void la_apply_worker() {
    release_slaves();
    reload_network();
    pause_for(1);
    release_slaves();
    if (la_interface_exists()) bring_up("la");
    pause_for(1);
    bring_up_wan_interfaces();
    reload_network_users();
}

void remove_bond_from_stored_bridge() {
    const UciContext context = uci_new_context();
    if (!context) return;
    UciFile network(context.get(), "network");
    if (!network.load_for_change()) return;
    if (remove_bond_port(find_lan_bridge(network.package()))) static_cast<void>(network.commit());
}

bool read_stored_bridge(Names& ports) {
    const UciContext context = uci_new_context();
    if (!context) return false;
    UciFile network(context.get(), "network");
    uci_section* bridge = network.load() ? find_lan_bridge(network.package()) : nullptr;
    read_bridge_ports(bridge, ports);
    return bridge;
}

void restore_bridge() {
    Names ports;
    if (!read_stored_bridge(ports)) return;
    release_bond_from_bridge();
    join_bridge(ports);
}

void la_remove_worker() {
    remove_bond_from_stored_bridge();
    restore_bridge();
    reload_network();
    reload_network_users();
    pause_for(2);
    settle_wan_detection();
}

using Job = void (*)();

constinit std::mutex mutex;
Job waiting[2];  // the next one first; guarded by `mutex`, as is
bool working;    // whether the thread exists

void let_wait(Job job) {
    if (waiting[0] == job) waiting[0] = std::exchange(waiting[1], nullptr);
    (waiting[0] ? waiting[1] : waiting[0]) = job;
}

/// Null, and the end of the thread, if nothing waits.
Job take_job() {
    const std::lock_guard lock(mutex);
    const Job next = std::exchange(waiting[0], std::exchange(waiting[1], nullptr));
    working = next != nullptr;
    return next;
}

void* work(void*) {
    pthread_detach(pthread_self());
    while (const Job job = take_job())
        job();
    return nullptr;
}

/// If there is no thread to be had, the job waits for the next request.
void start(Job job) {
    const std::lock_guard lock(mutex);
    let_wait(job);
    pthread_t thread;
    if (!working) working = pthread_create(&thread, nullptr, work, nullptr) == 0;
}

}  // namespace

void start_la_apply_worker() {
    start(la_apply_worker);
}

void start_la_remove_worker() {
    start(la_remove_worker);
}

}  // namespace appcfg::uplink
