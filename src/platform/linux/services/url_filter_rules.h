#pragma once

#include <vector>

#include "platform/include/records/url_filter.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the URL filter's state means in the kernel, and to appcfg-inspect, who looks into packets.

namespace platform::platformd::url_filter {

struct UrlFilter {
    st_url_filter mode;
    std::vector<st_url_address> addresses;
};

/// Of the packets that are to be looked into.
inline constexpr uint16_t kQueue = 61;

inline constexpr enforce::OwnedChain kBefore{enforce::Family::Inet, "url_pre", "forward",
                                             enforce::kUrlBeforePriority};
inline constexpr enforce::OwnedChain kJudge{enforce::Family::Inet, "url_judge"};
inline constexpr enforce::OwnedChain kContent{enforce::Family::Inet, "url_content"};
inline constexpr enforce::OwnedChain kAfter{enforce::Family::Inet, "url_post", "forward",
                                            enforce::kUrlAfterPriority};

/// False when the address names no host, or no such network card: it is held, and stops nothing.
bool makes_sense(const st_url_address& address);

/// What appcfg-inspect is to hold; empty when there is nothing to be looked for.
std::string list_message(const UrlFilter& filter);

/// `queues_itself`: these rules put packets into the queue; else iptables does, by their mark.
void render(const UrlFilter& filter, bool queues_itself, enforce::RuleText& text);

}  // namespace platform::platformd::url_filter
