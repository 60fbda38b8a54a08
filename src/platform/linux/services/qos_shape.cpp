#include "platform/linux/services/qos_shape.h"

#include <algorithm>

namespace platform::platformd::qos {

namespace {

constexpr uint16_t kWhole = 0x100;
constexpr uint32_t kLastPriority = 7;

/// Of a packet's size; queues of one priority take turns by it.
constexpr uint64_t kTurn = 1600;
constexpr uint64_t kLongestTurn = 64'000;

constexpr int kSmartShift = 9;

/// Where packets that ask by this number go if there is such a leaf.
uint16_t leaf_number(uint32_t asked) {
    return asked >= 1 && asked <= kQueues ? static_cast<uint16_t>(asked) : kRest;
}

bool is_by_weight(const zu_sal_qos_queue_attr_s& queue) {
    return queue.em_plan == kPlanWeight;
}

uint16_t leaf_number(const zu_sal_qos_queue_attr_s& queue) {
    return leaf_number(is_by_weight(queue) ? queue.ui_queue : queue.ui_priority);
}

bool is_enabled(const zu_sal_qos_queue_attr_s& queue) {
    return queue.ui_queue != 0 && queue.ui_enable == 1;
}

/// What the weights of a direction's queues add up to, and the least of them.
struct Weights {
    uint64_t sum = 0;
    uint64_t least = UINT64_MAX;
};

Weights weights_of(const Direction& direction) {
    Weights weights;
    for (const auto& queue : direction.queues) {
        if (!is_enabled(queue) || !is_by_weight(queue) || queue.ui_weight == 0) continue;
        weights.sum += queue.ui_weight;
        weights.least = std::min<uint64_t>(weights.least, queue.ui_weight);
    }
    return weights;
}

/// A direction's bandwidth, from which its leaves are made.
struct Line {
    uint32_t bandwidth;
    bool forced_weights;
    Weights weights;
};

// Every queue gets a little, so that none of those behind a full one stands still for good: what
// answers nothing at all is given up by its users, and not tried again when there is room.
uint32_t kept_alive(uint32_t bandwidth) {
    constexpr uint32_t kShare = 100, kMost = 8;
    return std::clamp(bandwidth / kShare, 1U, kMost);
}

enforce::QueueClass leaf_by_priority(const zu_sal_qos_queue_attr_s& queue, const Line& line) {
    const auto most = queue.ui_rate == 0 ? line.bandwidth : std::min(queue.ui_rate, line.bandwidth);
    const auto number = leaf_number(queue);
    return {.minor = number,
            .parent = kWhole,
            .rate = std::min(kept_alive(line.bandwidth), most),
            .ceil = most,
            .priority = number - 1U};
}

enforce::QueueClass leaf_by_weight(const zu_sal_qos_queue_attr_s& queue, const Line& line) {
    const auto& [sum, least] = line.weights;
    const uint64_t weight = queue.ui_weight;
    const auto share = sum == 0 ? 0 : static_cast<uint32_t>(line.bandwidth * weight / sum);
    const auto turn = weight == 0 ? kTurn : std::min(kTurn * weight / least, kLongestTurn);
    return {.minor = leaf_number(queue),
            .parent = kWhole,
            .rate = std::max(share, 1U),
            .ceil = line.forced_weights ? std::max(share, 1U) : line.bandwidth,
            .quantum = static_cast<uint32_t>(turn)};
}

bool has_leaf(const enforce::Tree& tree, uint16_t minor) {
    return std::ranges::find(tree.classes, minor, &enforce::QueueClass::minor) !=
           tree.classes.end();
}

// Queues of one priority share a leaf. The rest takes what all others leave.
enforce::Tree tree_of(const Direction& direction, const Line& line) {
    const auto whole = line.bandwidth;
    enforce::Tree tree{kRest, {{.minor = kWhole, .parent = 0, .rate = whole, .ceil = whole}}};
    for (const auto& queue : direction.queues) {
        if (!is_enabled(queue) || has_leaf(tree, leaf_number(queue))) continue;
        tree.classes.push_back(is_by_weight(queue) ? leaf_by_weight(queue, line)
                                                   : leaf_by_priority(queue, line));
    }
    if (!has_leaf(tree, kRest))
        tree.classes.push_back({.minor = kRest,
                                .parent = kWhole,
                                .rate = kept_alive(whole),
                                .ceil = whole,
                                .priority = kLastPriority});
    return tree;
}

uint32_t bandwidth_of(const st_smart_qos_profile& smart) {
    const auto rate = uint64_t{smart.rate_limit} << kSmartShift;
    return static_cast<uint32_t>(std::min<uint64_t>(rate, UINT32_MAX));
}

// The smaller of both. A profile says the same as a bandwidth that is rounded down to it.
uint32_t bandwidth_of(uint32_t bandwidth, const st_smart_qos_profile& smart) {
    const bool same = bandwidth >> kSmartShift <= smart.rate_limit;
    return bandwidth != 0 && (smart.rate_limit == 0 || same) ? bandwidth : bandwidth_of(smart);
}

/// Which of an interface's speeds is meant.
enum Way { kOut, kIn };

/// The smaller of both; 0 is none.
uint32_t smaller(uint32_t one, uint32_t other) {
    return one == 0 || other == 0 ? std::max(one, other) : std::min(one, other);
}

/// How fast the line to the provider is; 0: nobody has said so.
uint32_t speed_of_line(const Qos& qos, const Devices& devices, Way way) {
    uint32_t speed = 0;
    for (const auto& [name, interface] : qos.speeds)
        if (devices.is_wan(name)) speed = smaller(speed, interface.ui_speed[way]);
    return speed;
}

void add_tree(const Direction& direction, uint32_t bandwidth, bool forced_weights,
              enforce::Place place, enforce::Trees& trees) {
    if (bandwidth != 0)
        trees[place] = tree_of(direction, {bandwidth, forced_weights, weights_of(direction)});
}

}  // namespace

uint16_t leaf_of(const Direction& direction, uint32_t asked) {
    const auto number = leaf_number(asked);
    const bool is_there = std::ranges::any_of(direction.queues, [number](const auto& queue) {
        return is_enabled(queue) && leaf_number(queue) == number;
    });
    return is_there ? number : kRest;
}

uint16_t leaf_of_queue(const Direction& direction, uint32_t number) {
    if (number == 0 || number > kQueues) return kRest;
    const auto& queue = direction.queues[number - 1];
    return is_enabled(queue) ? leaf_number(queue) : kRest;
}

// The daemon switches the upstream on with its profile, and the owner may switch it off again; the
// downlink's profile stands alone. How fast the line is counts where there is a direction's QoS.
void shape(const Qos& qos, const Devices& devices, enforce::Trees& trees) {
    const auto& [up, down] = qos.directions;
    if (qos.uplink.ui_enable == 1)
        add_tree(up,
                 smaller(bandwidth_of(qos.uplink.ui_band_width, up.smart),
                         speed_of_line(qos, devices, kOut)),
                 qos.uplink.ui_force_weight_en == 1, enforce::Place::Wan, trees);
    uint32_t wanted = 0;
    if (qos.downlink.ui_enable == 1)
        wanted = smaller(qos.downlink.ui_band_width, speed_of_line(qos, devices, kIn));
    add_tree(down, bandwidth_of(wanted, down.smart), qos.downlink.ui_force_weight_en == 1,
             enforce::Place::Lan, trees);
}

}  // namespace platform::platformd::qos
