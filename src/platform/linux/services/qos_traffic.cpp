#include "platform/linux/services/qos_traffic.h"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace platform::platformd::qos {

namespace {

struct App {
    const char* name;
    uint32_t protocols;
    const char* ports;
};

constexpr App kApps[] = {
    {"DNS", kTcp | kUdp, "53, 853"},
    {"FTP", kTcp, "20, 21"},
    {"HTTP", kTcp, "80, 8080"},
    {"HTTPS", kTcp | kUdp, "443"},
    {"MAIL", kTcp, "25, 110, 143, 465, 587, 993, 995"},
    {"NTP", kUdp, "123"},
    {"RTSP", kTcp | kUdp, "554"},
    {"SIP", kTcp | kUdp, "5060, 5061"},
    {"SSH", kTcp, "22"},
    {"TELNET", kTcp, "23"},
};

/// The gateway itself talks to the management server.
Matches management(const Qos& qos) {
    const auto port = qos.tr069.ui_port;
    if (qos.tr069.ui_enable != 1 || port == 0 || port > UINT16_MAX) return {};
    return {{"fib saddr type local tcp dport " + std::to_string(port) + ' '}};
}

// DSCP 0 is what packets have that nobody has marked.
Matches voice(const Qos& qos) {
    std::string values;
    for (const auto* flow : {&qos.voip.st_ctrl, &qos.voip.st_data[0]})
        if (flow->em_kind != 0 && flow->ui_dscp != 0 && flow->ui_dscp <= kLastDscp)
            values += (values.empty() ? "" : ", ") + std::to_string(flow->ui_dscp);
    return values.empty() ? Matches() : with_dscp("{ " + values + " }");
}

Matches multicast(const Qos&) {
    return {{"ip daddr 224.0.0.0/4 ", IpVersion::V4}, {"ip6 daddr ff00::/8 ", IpVersion::V6}};
}

/// The other kinds have nothing by which they could be recognised.
Matches nothing(const Qos&) {
    return {};
}

struct Traffic {
    uint32_t mode;
    const char* name;
    Matches (*matches)(const Qos& qos);
};

constexpr Traffic kTraffic[] = {
    {kTrafficTr069, "tr069", management},  {kTrafficVoip, "voip", voice},
    {kTrafficUnknown, "unknown", nothing}, {kTrafficOther, "other", nothing},
    {kTrafficIptv, "iptv", multicast},     {kTrafficOtt, "ott", nothing},
};

const Traffic* find_traffic(uint32_t mode) {
    const auto known = std::ranges::find(kTraffic, mode, &Traffic::mode);
    return known == std::end(kTraffic) ? nullptr : known;
}

}  // namespace

Matches matches_of_app(std::string_view name) {
    const std::string text(name);
    const auto app = std::ranges::find_if(
        kApps, [&text](const App& known) { return strcasecmp(known.name, text.c_str()) == 0; });
    if (app == std::end(kApps)) return {};
    return {{to_ports(app->protocols, app->ports)}};
}

std::string traffic_name(uint32_t mode) {
    const auto* known = find_traffic(mode);
    return known ? known->name : std::to_string(mode);
}

Matches matches_of_traffic(uint32_t mode, const Qos& qos) {
    const auto* known = find_traffic(mode);
    return known ? known->matches(qos) : Matches();
}

}  // namespace platform::platformd::qos
