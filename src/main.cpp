#include <cstdio>
#include <cstring>

#include "base/standard_descriptors.h"
#include "core/daemon.h"
#include "netapp/loopback.h"
#include "qos/qos.h"
#include "security/dns_filter/dns_filter.h"
#include "security/ip_filter/ip_filter.h"
#include "security/mac_filter/mac_filter.h"
#include "security/url_filter/url_filter.h"
#include "startup.h"
#include "uplink/uplink.h"

using namespace appcfg;

namespace {

constexpr int kUsageError = 2;

/// Answers whoever asks what this program is. The daemon takes no arguments, and one that is
/// started beside a running one would replay the whole configuration.
int describe(const char* question) {
    if (std::strcmp(question, "--version") == 0) {
        std::puts("appcfgd " APPCFGD_VERSION);
        return 0;
    }
    const bool asked = std::strcmp(question, "--help") == 0;
    std::fputs(
        "Usage: appcfgd [--help | --version]\n"
        "Without arguments: replays the stored configuration into the platform, then serves the\n"
        "app_* objects on the bus until SIGTERM.\n",
        asked ? stdout : stderr);
    return asked ? 0 : kUsageError;
}

}  // namespace

int main(int argc, char** argv) {
    base::occupy_standard_descriptors();
    if (argc > 1) return describe(argv[1]);
    const PublishedObject kObjects[] = {
        {qos::bus_object()},         {dns_filter_bus_object()}, {ip_filter_bus_object()},
        {url_filter_bus_object()},   {loopback_bus_object()},   {mac_filter_bus_object()},
        {uplink_bus_object(), true},
    };
    return run_daemon(startup_steps(), kObjects);
}
