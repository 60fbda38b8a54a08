#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include "uplink/uplink_test.h"

using namespace appcfg;

namespace {

constexpr char kNetwork[] =
    "config device br_lan\n\toption name br-lan\n\tlist ports eth0\n\tlist ports eth2\n"
    "\tlist ports eth3\n\tlist ports bond-la\nconfig interface wan1\n\toption device wan1\n";

constexpr char kAutoWan[] =
    "config auto_wan auto_wan\n\toption cfg_mode 2\n\toption current_uplinkid 2\n"
    "\toption detected_linkid 2\n\toption detect_en 0\n";

auto count_threads() {
    using Tasks = std::filesystem::directory_iterator;
    return std::distance(Tasks("/proc/self/task"), Tasks());
}

/// Those that are there without any worker: a sanitizer brings one of its own with the first.
auto threads_without_workers() {
    std::thread([] {}).join();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return count_threads();
}

}  // namespace

UplinkTest::UplinkTest() : ModuleTest([] { return 0; }), threads_(threads_without_workers()) {
    write_package("network", kNetwork);
    write_package("auto_wan", kAutoWan);
    write_package("firewall", "config zone\n\toption name wan\n");
    recording_commands::reset();
    use_bus(&bus);
    surroundings.bond_slaves = "/nowhere";
    constexpr std::chrono::milliseconds kSecond(10);
    if (surroundings.second != kSecond) surroundings.second = kSecond;
    uloop_init();
}

UplinkTest::~UplinkTest() {
    finish_jobs();
    recording_commands::reset();
    EXPECT_EQ(connections_freed(), connections_made());
    use_bus(nullptr);
}

void UplinkTest::finish_jobs() const {
    while (count_threads() > threads_)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void UplinkTest::have_bond() {
    ASSERT_EQ(set(), success());
    ASSERT_TRUE(recording_commands::wait_for(kLastReload));
    recording_commands::take();
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
