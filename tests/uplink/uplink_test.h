#pragma once

#include <cstddef>
#include <string>

#include "platform/uci/uci_testing.h"
#include "support/module_test.h"
#include "support/recording_bus.h"
#include "support/recording_commands.h"
#include "uplink/uplink.h"
#include "uplink/uplink_testing.h"

extern "C" {
#include <libubox/uloop.h>
#include <libubus.h>
}

using appcfg::uplink::surroundings;

/// A call that a request makes.
inline std::string rc_call(const std::string& action) {
    return R"(rc init {"name":"auto_wan","action":")" + action + "\"}";
}

/// The same, made behind the replies.
inline std::string rc_line(const std::string& action) {
    return R"(ubus -t 3 call rc init '{"name":"auto_wan","action":")" + action +
           "\"}' >/dev/null 2>&1";
}

inline constexpr char kLastReload[] = "/etc/init.d/omcproxy reload";

/// A gateway with four LAN ports whose WAN is found on port 2, eth1. What it lets others do is
/// noted; a job's second is a few milliseconds.
struct UplinkTest : ModuleTest {
    UplinkTest();
    ~UplinkTest() override;

    static BusReply call(const std::string& method, const std::string& json = "{}") {
        return call_method(appcfg::uplink_bus_object(), method, json);
    }
    static BusReply set(const std::string& slaves = R"("eth2","eth3")",
                        const std::string& more = "") {
        return call("link_aggregation_set",
                    "{\"slaves\":[" + slaves + R"(],"bonding_policy":"802.3ad")" + more + "}");
    }
    /// Sets the bond and waits until it is applied; the lines until then are forgotten.
    static void have_bond();

    /// Returns when the thread that applies changes has ended: no job runs or waits.
    void finish_jobs() const;

    /// Where the packages are, for other files of a test, too.
    static std::string folder() { return uci_directories.config; }
    /// The values of a list option in the order of the file.
    Names values(const std::string& package, const std::string& option) const;

    ubus_context bus{};

  private:
    std::ptrdiff_t threads_;
};
