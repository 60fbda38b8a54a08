#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "uplink/uplink_test.h"

namespace {

constexpr char kNetwork[] =
    "\nconfig device 'br_lan'\n"
    "\toption name 'br-lan'\n"
    "\tlist ports 'eth0'\n"
    "\tlist ports 'eth2'\n"
    "\tlist ports 'eth3'\n"
    "\tlist ports 'bond-la'\n"
    "\nconfig interface 'lan'\n"
    "\toption device 'br-lan'\n"
    "\nconfig route\n"
    "\toption target '10.0.0.0/8'\n"
    "\tlist via 'a b'\n"
    "\tlist via 'it'\\''s'\n"
    "\nconfig device\n"
    "\toption name 'wan1'\n"
    "\toption ifname 'eth1'\n"
    "\nconfig device\n"
    "\toption name 'plain'\n"
    "\toption ifname 'eth9'\n"
    "\nconfig device\n"
    "\tlist IpProtocolType 'ipv4'\n"
    "\nconfig device\n"
    "\toption lkname 'link'\n"
    "\nconfig interface 'wan1'\n"
    "\toption device 'wan1'\n"
    "\toption proto 'dhcp'\n"
    "\nconfig interface 'wan2'\n"
    "\toption device 'wan2'\n"
    "\toption proto 'none'\n"
    "\nconfig interface 'wan_section_name_too_long'\n"
    "\toption device 'wan1'\n";

constexpr char kAutoWan[] =
    "\nconfig auto_wan 'auto_wan'\n"
    "\toption cfg_mode '2'\n"
    "\toption current_uplinkid '2'\n"
    "\toption detected_linkid '2'\n"
    "\toption detect_en '0'\n"
    "\nconfig other\n"
    "\toption kept 'yes'\n";

constexpr char kFirewall[] =
    "\nconfig zone\n"
    "\toption name 'wan'\n";

auto count_threads() {
    using Tasks = std::filesystem::directory_iterator;
    return std::distance(Tasks("/proc/self/task"), Tasks());
}

/// Those that are there without any worker: a sanitizer brings one of its own with the first.
auto threads_without_workers() {
    static const auto count = [] {
        std::thread([] {}).join();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return count_threads();
    }();
    return count;
}

int32_t no_tables() {
    return 0;
}

}  // namespace

UplinkTest::UplinkTest() : ModuleTest(no_tables) {
    write_package("network", kNetwork);
    write_package("auto_wan", kAutoWan);
    write_package("firewall", kFirewall);
    recording_commands::reset();
    use_bus(&bus);
    uplink_surroundings.bond_slaves = "/nowhere";
    constexpr std::chrono::milliseconds kSecond(10);
    if (uplink_surroundings.second != kSecond) uplink_surroundings.second = kSecond;
    threads_without_workers();
    uloop_init();
}

// Workers do not outlive their test, nor does what they have left to the event loop.
UplinkTest::~UplinkTest() {
    while (count_threads() > threads_without_workers())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    uloop_run_timeout(0);
    recording_commands::reset();
    EXPECT_EQ(connections_freed(), connections_made());
    use_bus(nullptr);
}

void UplinkTest::have_bond(const std::string& slaves) {
    ASSERT_EQ(set(slaves), success());
    ASSERT_TRUE(recording_commands::wait_for(kLastReload));
    recording_commands::take();
}

bool UplinkTest::removal_is_applied() {
    return recording_commands::wait_for(rc_call("start"));
}

ModuleTest::Names UplinkTest::values(const std::string& package, const std::string& option) const {
    Names found;
    std::istringstream lines(read_package(package));
    const std::string prefix = "\tlist " + option + " '";
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(prefix))
            found.push_back(line.substr(prefix.size(), line.size() - prefix.size() - 1));
    return found;
}
