#pragma once

#include <time.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/include/records/dns_filter.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/rules.h"

// What the DNS filter's state means: a resolver of its own for each rule, which knows what is not
// to be resolved and asks the system's resolver for the rest, and rules in the kernel that lead the
// clients' questions there.

namespace platform::platformd::dns_filter {

struct Rule {
    st_item item;
    std::vector<std::string> hosts;
};
using RulesByIndex = std::map<uint8_t, Rule>;

/// False when a field that `fields` names (kDnsFilterSet...) has a value without meaning.
bool makes_sense(const st_item& item, uint32_t fields);

/// Whether it is a domain name of letters, digits, '-' and '_' in labels of up to 63 characters; a
/// dot may end it. No other line of a list is enforced.
bool is_name(std::string_view host);

/// Whether a rule's time ("1,2;08:00-12:00,22:00-06:00"; 1 is Monday) covers that moment. Hours
/// that end before they begin end on the next day. What is empty or cannot be read covers all days
/// or hours.
bool is_time(std::string_view text, const tm& now);
bool is_time_readable(std::string_view text);

/// The text of a rule's time, without what may stand behind its end.
std::string_view time_of(const Rule& rule);

/// Whether the rule has anything to do at that moment; without a name on its list it has not.
bool is_due(const Rule& rule, const tm& now);

/// The rules that answer questions at that moment, in the order in which clients are looked for:
/// those for one address first. A client has one rule, the one of its address before the one for
/// all, and of several the one with the lowest index.
std::vector<uint8_t> answering(const RulesByIndex& rules, const tm& now);

/// The first of the rules that are switched on, stand before it and have the same clients; -1:
/// none.
int earlier_rule(const RulesByIndex& rules, uint8_t index);

/// How the names of all resolvers begin.
inline constexpr char kResolvers[] = "dns_";
/// Name of the rule's resolver, and of the file that tells it whom to ask.
std::string resolver_name(uint8_t index);
/// That file's text.
std::string servers_text(const Rule& rule);
/// The resolver's command line. `user`: whom it runs as; empty: as whoever starts it. `gateway`:
/// addresses that are answered instead of a name's own.
std::vector<std::string> resolver_words(uint8_t index, const Rule& rule,
                                        const std::string& servers_path, const std::string& user,
                                        std::span<const std::string> gateway);

inline constexpr enforce::OwnedChain kRedirect{enforce::Family::Inet, "dns_redirect", "prerouting",
                                               enforce::kDnsRedirectPriority, "nat"};
inline constexpr enforce::OwnedChain kForward{enforce::Family::Inet, "dns_forward", "forward",
                                              enforce::kDnsAroundPriority};
inline constexpr enforce::OwnedChain kInput{enforce::Family::Inet, "dns_input", "input",
                                            enforce::kDnsAroundPriority};
inline constexpr enforce::OwnedChain kEncrypted{enforce::Family::Inet, "dns_encrypted"};

/// `serving`: of the rules that are answering those whose resolvers can be asked, in that order.
void render(const RulesByIndex& rules, std::span<const uint8_t> serving, enforce::RuleText& text);

}  // namespace platform::platformd::dns_filter
