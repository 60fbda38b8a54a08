#pragma once

#include <cstdint>
#include <map>
#include <vector>

// The queues that services ask for, as numbers: a tree of HTB classes on each place that packets
// pass. Which devices these places are, and how packets get there, is the kernel side's (tc.h);
// into which class a packet goes is said by rules: `meta priority set MAJOR:MINOR`.

namespace platform::platformd::enforce {

/// Where queues can stand. A packet passes at most one of the first two and one of the last two;
/// each has a major number of its own, for a packet's class stays with it from one to the next.
enum class Place : uint16_t {
    HostsUp = 0xa001,    ///< what LAN hosts send to the gateway or through it, before it is routed
    HostsDown = 0xa002,  ///< what leaves through br-lan's ports, for rules to tell whence it comes
    Wan = 0xa003,        ///< what leaves through the WAN devices
    Lan = 0xa004,        ///< what leaves through br-lan
};

/// One class. Rates are kbit/s, 1 to 4,294,967,295.
struct QueueClass {
    uint16_t minor;           ///< of its own, not 0
    uint16_t parent;          ///< minor of the class that it borrows from; 0: none
    uint32_t rate;            ///< what it always gets
    uint32_t ceil;            ///< what it never exceeds; at least `rate`
    uint32_t priority = 0;    ///< among its siblings who borrow: 0 (first) to 7
    uint32_t quantum = 1600;  ///< bytes by which siblings of one priority take turns

    bool operator==(const QueueClass&) const = default;
};

struct Tree {
    /// Where packets go that no rule has given a class of this tree; 0: past all queues.
    uint16_t default_minor = 0;
    std::vector<QueueClass> classes;  ///< parents before their children

    bool operator==(const Tree&) const = default;
};

/// Only places with classes are there. The same states always give the same trees.
using Trees = std::map<Place, Tree>;

}  // namespace platform::platformd::enforce
