#include "platform/linux/services/qos_rules.h"

#include <algorithm>
#include <optional>

#include "platform/linux/enforce/trees.h"
#include "platform/linux/record_text.h"
#include "platform/linux/services/qos_limits.h"
#include "platform/linux/services/qos_match.h"
#include "platform/linux/services/qos_shape.h"
#include "platform/linux/services/qos_traffic.h"

namespace platform::platformd::qos {

using enforce::kFrameQueueMask;
using enforce::kFrameQueueShift;

namespace {

constexpr uint32_t kMaxFrames = kFrameQueueMask >> kFrameQueueShift;

/// What becomes of a packet.
struct Action {
    uint16_t leaf;
    std::optional<uint32_t> dscp4, dscp6;  ///< written into it
};

/// The lines of one direction, in order; the first that a packet meets counts.
class Lines {
  public:
    Lines(enforce::RuleText& text, LeftOut& left_out, const enforce::OwnedChain& chain,
          enforce::Place place)
        : text_(text), left_out_(left_out), chain_(chain), place_(place) {}

    void add(const std::string& name, const Matches& matches, const Action& action);
    void leave_out(const std::string& name, const char* why) {
        left_out_.push_back(name + ": " + why);
    }

  private:
    void add(const std::string& name, const Match& match, const Action& action);
    void rule(const std::string& name, const Match& match, const Action& action);
    Match noted(const Match& match);

    enforce::RuleText& text_;
    LeftOut& left_out_;
    const enforce::OwnedChain& chain_;
    const enforce::Place place_;
    uint32_t frames_ = 0;
};

void Lines::add(const std::string& name, const Matches& matches, const Action& action) {
    if (matches.empty()) leave_out(name, "what it is for cannot be told");
    for (const auto& match : matches)
        add(name, match, action);
}

// On their way to the LAN packets are no frames yet where they are queued.
void Lines::add(const std::string& name, const Match& match, const Action& action) {
    if (!match.in_frame) return rule(name, match, action);
    if (place_ != enforce::Place::Wan)
        leave_out(name, "it can be told for what comes from the LAN only");
    else if (frames_ == kMaxFrames)
        leave_out(name, "too many others go by MAC address, LAN port, VLAN or 802.1p, too");
    else
        rule(name, noted(match), action);
}

/// Gives frames that match a number of their own; returns how their packets are known by it.
Match Lines::noted(const Match& match) {
    if (frames_ == 0) text_.rule(kFrames, "meta mark set meta mark & 0x%08x", ~kFrameQueueMask);
    const auto mark = ++frames_ << kFrameQueueShift;
    text_.rule(kFrames, "%smeta mark set meta mark | 0x%08x accept", match.text.c_str(), mark);
    char text[64];
    snprintf(text, sizeof(text), "meta mark & 0x%08x == 0x%08x ", kFrameQueueMask, mark);
    return {text, match.version};
}

/// How a DSCP is written into packets of that version.
std::string marking(IpVersion version, const Action& action) {
    const auto& dscp = version == IpVersion::V4 ? action.dscp4 : action.dscp6;
    if (version == IpVersion::Any || !dscp) return {};
    return std::string(version == IpVersion::V4 ? "ip" : "ip6") + " dscp set " +
           std::to_string(*dscp) + ' ';
}

// To be marked, packets of both versions need a line each.
void Lines::rule(const std::string& name, const Match& match, const Action& action) {
    if (match.version == IpVersion::Any && (action.dscp4 || action.dscp6)) {
        for (const auto version : {IpVersion::V4, IpVersion::V6})
            rule(name, {match.text + version_match(version), version}, action);
        return;
    }
    text_.rule(chain_, "%scounter %smeta priority set %x:%x accept comment \"%s\"",
               match.text.c_str(), marking(match.version, action).c_str(),
               static_cast<unsigned>(place_), action.leaf, name.c_str());
}

// A traffic class is the byte of which the DSCP is the upper part; the rest belongs to the network.
Action action_of(const Direction& direction, const zu_sal_qos_flow_queue_s& flow) {
    constexpr int kBehindDscp = 2;
    Action action{leaf_of(direction, flow.ui_queue), {}, {}};
    if (flow.em_dscp_mark != kMarkOff) action.dscp4 = action.dscp6 = flow.ui_dscp;
    if (flow.em_tc_mark != kMarkOff) action.dscp6 = flow.ui_tc >> kBehindDscp;
    return action;
}

/// Marks that cannot be written are left out, the packets are queued all the same.
void drop_bad_marks(const std::string& name, Action& action, Lines& lines) {
    bool dropped = false;
    for (auto* dscp : {&action.dscp4, &action.dscp6}) {
        if (!*dscp || **dscp <= kLastDscp) continue;
        dscp->reset();
        dropped = true;
    }
    if (dropped) lines.leave_out(name, "its mark is beyond 63");
}

void add_flows(const Direction& direction, const Devices& devices, Lines& lines) {
    size_t number = 0;
    for (const auto& flow : direction.flows) {
        const auto name = std::string(direction.name) + ' ' + std::to_string(++number);
        auto action = action_of(direction, flow);
        drop_bad_marks(name, action, lines);
        if (flow.em_8021p_mark != 0) lines.leave_out(name, "802.1p values are not written");
        lines.add(name, matches_of(flow, devices), action);
    }
}

void add_items(const Qos& qos, Lines& lines) {
    for (const auto& [index, item] : qos.items) {
        const auto name = "item " + std::to_string(index);
        Action action{leaf_of(qos.up(), item.priority), {}, {}};
        if (item.dscp_mark == 1) action.dscp4 = action.dscp6 = item.dscp;
        drop_bad_marks(name, action, lines);
        if (item.remark_8021p == 1) lines.leave_out(name, "802.1p values are not written");
        lines.add(name, matches_of(item), action);
    }
}

void add_apps(const Qos& qos, Lines& lines) {
    size_t number = 0;
    for (const auto& [name, queue] : qos.apps)
        lines.add("application " + std::to_string(++number), matches_of_app(name),
                  {leaf_of_queue(qos.up(), queue), {}, {}});
}

// What cannot be recognised is like any other traffic.
void add_traffic(const Qos& qos, Lines& lines) {
    uint32_t queue = 0;
    for (const auto mode : qos.uplink.em_mode) {
        const auto matches = matches_of_traffic(mode, qos);
        const Action action{leaf_of_queue(qos.up(), std::min<uint32_t>(++queue, kQueues)), {}, {}};
        if (!matches.empty()) lines.add("traffic " + traffic_name(mode), matches, action);
    }
}

// The owner's own classifications come first.
void render_up(const Qos& qos, const Devices& devices, enforce::RuleText& text, LeftOut& left_out) {
    text.rule(kQueuedUp, "oifname { \"%s\", \"lo\" } accept", enforce::kLanBridge);
    Lines lines(text, left_out, kQueuedUp, enforce::Place::Wan);
    add_flows(qos.up(), devices, lines);
    add_items(qos, lines);
    add_apps(qos, lines);
    add_traffic(qos, lines);
}

void render_down(const Qos& qos, const Devices& devices, enforce::RuleText& text,
                 LeftOut& left_out) {
    text.rule(kQueuedDown, "oifname != \"%s\" accept", enforce::kLanBridge);
    Lines lines(text, left_out, kQueuedDown, enforce::Place::Lan);
    add_flows(qos.down(), devices, lines);
}

}  // namespace

void render(const Qos& qos, const Devices& devices, enforce::RuleText& text, LeftOut& left_out) {
    if (qos.uplink.ui_enable == 1) render_up(qos, devices, text, left_out);
    if (qos.downlink.ui_enable == 1) render_down(qos, devices, text, left_out);
    render_limits(qos.limits, devices, text, left_out);
    for (const auto& [name, speed] : qos.speeds) {
        if (devices.is_wan(name)) continue;
        std::string line = "speed of ";
        append_quoted(line, name);
        left_out.push_back(line + ": it does not lead to the provider");
    }
}

}  // namespace platform::platformd::qos
