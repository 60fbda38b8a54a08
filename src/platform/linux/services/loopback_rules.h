#pragma once

#include <map>
#include <vector>

#include "platform/include/records/loopback.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the settings of loop detection mean here.

namespace platform::platformd::loopback {

struct Settings {
    st_loopback_detection_time time;
    std::map<uint32_t, st_loopback_detection_attr> ports;
};

/// In milliseconds.
struct Periods {
    int64_t probe;   ///< from one probe to the next
    int64_t exist;   ///< for so long a loop must have been seen to count
    int64_t cancel;  ///< for so long it must have been missed to count no more
};

/// Records have seconds, 0 for the usual ones (5, 30), and probes a second (1 to 100, else cut). To
/// be missed takes three probes at least.
Periods periods_of(const st_loopback_detection_time& time);

/// False when a number is none of what the record says it is.
bool makes_sense(const st_loopback_detection_attr& attr);
/// 0x9000 where the record has a number that frames cannot have, or that would tag them.
uint16_t ethertype_of(const st_loopback_detection_attr& attr);
/// One number per probe, 0: untagged. A list without any means untagged.
std::vector<uint16_t> tags_of(const st_loopback_detection_attr& attr);

inline constexpr enforce::OwnedChain kProbes{enforce::Family::Bridge, "loop_probe", "prerouting",
                                             enforce::kLoopProbePriority};

/// The bridge is neither to forward probes of ours nor to learn where they came from; those of
/// another gateway it forwards, or a loop through both would be found by none.
void render(const Settings& settings, uint32_t gateway, enforce::RuleText& text);

}  // namespace platform::platformd::loopback
