#include "platform/linux/services/url_filter_rules.h"

#include <cstdio>
#include <set>

#include "platform/linux/inspect/flows.h"
#include "platform/linux/inspect/list_message.h"

namespace platform::platformd::url_filter {

using enforce::kLanBridge;
using enforce::kUrlMask;
using enforce::kUrlShift;

/// An address that decides something, for these protocols.
struct InForce {
    const st_url_address& address;
    inspect::Entry entry;
};

namespace {

constexpr uint32_t mark_of(inspect::Verdict verdict) {
    return static_cast<uint32_t>(verdict) << kUrlShift;
}

constexpr uint32_t kPassMark = mark_of(inspect::Verdict::Pass);
constexpr uint32_t kStopMark = mark_of(inspect::Verdict::Stop);
/// Of a packet that is to be looked into; no verdict.
constexpr uint32_t kLookMark = kUrlMask;
static_assert(kLookMark != kPassMark && kLookMark != kStopMark);

/// In 32-bit words, as TCP's headers say their size.
constexpr unsigned kShortestTcp = 5;
constexpr unsigned kLongestTcp = 15;
constexpr unsigned kWord = 4;
constexpr unsigned kIpV4Header = 20;

// A black list's path cannot be seen in TLS.
std::vector<InForce> in_force(const UrlFilter& filter) {
    std::vector<InForce> all;
    const bool white = filter.mode.em_listtype == kUrlFilterWhiteList;
    for (const auto& address : filter.addresses) {
        inspect::Entry entry;
        if (filter.mode.filter_en == 0 || address.filter_en == 0 || !parse(address, entry))
            continue;
        if (!entry.path.empty() && !white) entry.protocols &= inspect::kHttp;
        if (entry.protocols != 0) all.push_back({address, entry});
    }
    return all;
}

/// Whose connections of a protocol are looked into.
struct Clients {
    bool everybody = false;
    std::set<inspect::Mac> some = {};

    bool nobody() const { return !everybody && some.empty(); }
};

Clients clients_of(const UrlFilter& filter, inspect::Protocol protocol) {
    Clients clients;
    for (const auto& [address, entry] : in_force(filter)) {
        if ((entry.protocols & protocol) == 0) continue;
        if (entry.for_one_host)
            clients.some.insert(entry.mac);
        else
            clients.everybody = true;
    }
    return clients;
}

std::string match(const Clients& clients) {
    if (clients.everybody) return {};
    std::string text;
    for (const auto& mac : clients.some)
        text += (text.empty() ? "" : ", ") + base::mac_text(mac);
    return "ether saddr { " + text + " } ";
}

/// Packets that are longer than their headers, by what IP counts as the packet's length.
std::string has_content(const char* length, unsigned counted_header) {
    std::string text;
    for (unsigned words = kShortestTcp; words <= kLongestTcp; ++words)
        text += (text.empty() ? "" : ", ") + std::to_string(counted_header + words * kWord + 1) +
                "-65535 . " + std::to_string(words);
    return std::string(length) + " . tcp doff { " + text + " }";
}

/// "FIELD set FIELD & ~ours | mark": other programs' bits stay.
std::string with_mark(const std::string& field, uint32_t mark) {
    char text[64];
    snprintf(text, sizeof(text), " & %#x | %#x", ~kUrlMask, mark);
    return field + " set " + field + text;
}

/// What leaves the LAN.
std::string upstream() {
    return std::string("iifname \"") + kLanBridge + "\" oifname != \"" + kLanBridge + "\" ";
}

/// "FIELD & ours OPERATOR mark"
std::string has_mark(const char* field, const char* compared, uint32_t mark) {
    char text[64];
    snprintf(text, sizeof(text), "%s & %#x %s %#x ", field, kUrlMask, compared, mark);
    return text;
}

// Only the side that asks is looked at. QUIC hides its names; clients that are refused it take TLS.
// Who resets a connection that is stopped is let through, so that its other end learns of it.
void render_before(const Clients& http, const Clients& https, enforce::RuleText& text) {
    text.rule(kBefore, "%s%s%s", has_mark("meta mark", "!=", 0).c_str(), upstream().c_str(),
              with_mark("meta mark", 0).c_str());
    text.rule(kBefore, "%sct direction original jump %s", upstream().c_str(), kJudge.name);
    text.rule(kJudge, "%sreturn", has_mark("ct mark", "==", kPassMark).c_str());
    text.rule(kJudge,
              "%stcp flags & rst == 0 counter reject with tcp reset comment \"URL filter, rest\"",
              has_mark("ct mark", "==", kStopMark).c_str());
    if (!https.nobody()) {
        const auto whose = match(https);
        text.rule(kJudge, "%sudp dport %u counter reject comment \"URL filter, QUIC\"",
                  whose.c_str(), inspect::kHttpsPort);
        text.rule(kJudge, "%stcp dport %u goto %s", whose.c_str(), inspect::kHttpsPort,
                  kContent.name);
    }
    if (!http.nobody())
        text.rule(kJudge, "%stcp dport %u goto %s", match(http).c_str(), inspect::kHttpPort,
                  kContent.name);
}

void render_content(bool queues_itself, enforce::RuleText& text) {
    for (const auto& content :
         {has_content("ip length", kIpV4Header), has_content("ip6 length", 0)})
        text.rule(kContent, "%s %s", content.c_str(), with_mark("meta mark", kLookMark).c_str());
    if (queues_itself)
        text.rule(kContent, "%squeue flags bypass to %u",
                  has_mark("meta mark", "==", kLookMark).c_str(), kQueue);
}

// Nearly all packets end at the first line. A mark that still asks is that of a packet which nobody
// has looked into: it passes.
void render_after(enforce::RuleText& text) {
    const auto rule = [&text](const std::string& mark, const std::string& statement) {
        text.rule(kAfter, "%s%s%s", mark.c_str(), upstream().c_str(), statement.c_str());
    };
    text.rule(kAfter, "%sreturn", has_mark("meta mark", "==", 0).c_str());
    rule(has_mark("meta mark", "==", kPassMark), with_mark("ct mark", kPassMark));
    rule(has_mark("meta mark", "==", kStopMark),
         with_mark("ct mark", kStopMark) + " counter reject with tcp reset comment \"URL filter\"");
    rule("", with_mark("meta mark", 0));
}

}  // namespace

bool makes_sense(const st_url_address& address) {
    inspect::Entry entry;
    return parse(address, entry);
}

std::string list_message(const UrlFilter& filter) {
    inspect::ListHeader header{inspect::kListMagic, filter.mode.em_listtype, 0, 0};
    std::string addresses;
    for (const auto& [address, entry] : in_force(filter)) {
        addresses.append(reinterpret_cast<const char*>(&address), sizeof(address));
        ++header.count;
    }
    if (header.count == 0) return {};
    return std::string(reinterpret_cast<const char*>(&header), sizeof(header)) + addresses;
}

void render(const UrlFilter& filter, bool queues_itself, enforce::RuleText& text) {
    const auto http = clients_of(filter, inspect::kHttp);
    const auto https = clients_of(filter, inspect::kHttps);
    if (http.nobody() && https.nobody()) return;
    render_before(http, https, text);
    render_content(queues_itself, text);
    render_after(text);
}

}  // namespace platform::platformd::url_filter
