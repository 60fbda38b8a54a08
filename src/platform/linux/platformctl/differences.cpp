#include "platform/linux/platformctl/differences.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <map>

#include "platform/linux/audit_line.h"
#include "platform/linux/queue_mark.h"

namespace platform::platformctl {

namespace {

struct Line {
    std::string service;
    std::string text;

    auto operator<=>(const Line& other) const = default;
};

using Lines = std::vector<Line>;
using Differences = std::vector<Difference>;
using Profiles = std::map<unsigned long, std::string>;

constexpr char kQos[] = "qos";
constexpr char kProfiles[] = "qos_profiles";

constexpr const char* kGroups[] = {"not told", "not in force", "cannot be enforced", "warning"};

constexpr std::string_view kTablesOnly = "tables only";
constexpr std::string_view kPlatformOnly = "platform only";
constexpr std::string_view kKernelLacks = "kernel lacks";
constexpr std::string_view kKernelOnly = "kernel only";

/// Cuts the first word off.
std::string_view take_word(std::string_view& text) {
    const auto end = std::min(text.find(' '), text.size());
    const auto word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return word;
}

Lines lines_of(std::string_view text, std::string_view kind) {
    Lines lines;
    for_each_line(text, [&](std::string_view line) {
        if (take_word(line) != kind) return;
        const auto service = take_word(line);
        lines.push_back({std::string(service), std::string(line)});
    });
    return lines;
}

Lines surplus(Lines of, Lines than) {
    Lines found;
    std::ranges::sort(of);
    std::ranges::sort(than);
    std::ranges::set_difference(of, than, std::back_inserter(found));
    return found;
}

void append(Differences& all, Group group, std::string_view side, const Lines& lines) {
    for (const auto& line : lines)
        all.push_back({group, line.service, side, line.text});
}

// --- Hosts' limits. A profile is known by its number, which whoever makes it anew gets anew: what
// counts is which host has which rates.

/// Takes the profiles out: their rates by their numbers.
Profiles take_profiles(Lines& told) {
    static constexpr char kStart[] = "profile id=";
    Profiles profiles;
    std::erase_if(told, [&profiles](const Line& line) {
        if (line.service != kProfiles || !line.text.starts_with(kStart)) return false;
        char* rest;
        const auto id = strtoul(line.text.c_str() + strlen(kStart), &rest, 10);
        profiles[id] = rest;
        return true;
    });
    return profiles;
}

/// Says the rates in the place of the mark that stands for a profile; returns its number, 0 if the
/// line names none.
unsigned long name_profile(std::string& rule, const Profiles& profiles) {
    constexpr std::string_view kOption = "--mark-or ";
    const auto begin = rule.find(kOption);
    if (begin == rule.npos) return 0;
    const auto number = begin + kOption.size();
    const auto id = strtoul(rule.c_str() + number, nullptr, 0) >> kQueueMarkShift;
    const auto found = profiles.find(id);
    if (found == profiles.end()) return 0;
    const auto end = std::min(rule.find(' ', number), rule.size());
    rule.replace(begin, end - begin, "profile" + found->second);
    return id;
}

/// Returns the profiles that no rule names.
Profiles name_profiles(Lines& rules, const Profiles& profiles) {
    auto unused = profiles;
    for (auto& rule : rules)
        unused.erase(name_profile(rule.text, profiles));
    return unused;
}

/// What tables and platform say, and what their networks hold of the daemon's chains.
struct Sides {
    Lines asked, told;
    Lines asked_rules, rules;
};

/// Before its first set-up QoS holds what requests have said since, and that is no difference.
void leave_out_qos(Sides& sides, Differences& all) {
    for (auto* lines : {&sides.asked, &sides.told, &sides.asked_rules, &sides.rules})
        std::erase_if(*lines, [](const Line& line) {
            return line.service == kQos || line.service == kProfiles;
        });
    append(all, Group::Warning, "",
           {{kQos, "libqos_init has not been called: what is stored is not asked for"}});
}

void name_profiles(Sides& sides, Differences& all) {
    name_profiles(sides.asked_rules, take_profiles(sides.asked));
    for (const auto& [id, rates] : name_profiles(sides.rules, take_profiles(sides.told)))
        append(all, Group::Warning, "",
               {{kProfiles, "no rule uses profile " + std::to_string(id) + rates}});
}

/// Each side's surplus, under what it is called.
void compare(Differences& all, Group group, std::string_view first_only, const Lines& first,
             std::string_view second_only, const Lines& second) {
    append(all, group, first_only, surplus(first, second));
    append(all, group, second_only, surplus(second, first));
}

/// What platformd has compared by itself.
void append_platforms(Differences& all, std::string_view platform) {
    constexpr struct {
        const char* kind;
        Group group;
        std::string_view side;
    } kKinds[] = {
        {kAuditMissing, Group::NotInForce, kKernelLacks},
        {kAuditForeign, Group::NotInForce, kKernelOnly},
        {kAuditWrong, Group::NotInForce, ""},
        {kAuditWaiting, Group::NotInForce, ""},
        {kAuditCannot, Group::Cannot, ""},
        {kAuditWarning, Group::Warning, ""},
    };
    for (const auto& [kind, group, side] : kKinds)
        append(all, group, side, lines_of(platform, kind));
}

// --- Texts come from rows, which anybody may have written: only ASCII goes out as it is.

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const unsigned char c : text) {
        char escaped[8];
        if (c == '"' || c == '\\') out += '\\';
        snprintf(escaped, sizeof(escaped), c < ' ' || c > '~' ? "\\u%04x" : "%c", c);
        out += escaped;
    }
    return out + '"';
}

const char* group_name(const Difference& difference) {
    return kGroups[static_cast<int>(difference.group)];
}

}  // namespace

bool has_played_qos(std::string_view platform) {
    return std::ranges::count(lines_of(platform, kAuditPlayed), kQos, &Line::service) > 0;
}

std::vector<Difference> differences(const Findings& findings) {
    Sides sides{lines_of(findings.asked, kAuditTold), lines_of(findings.platform, kAuditTold),
                lines_of(findings.asked, kAuditTool), lines_of(findings.in_kernel, kAuditTool)};
    Differences all;
    if (!has_played_qos(findings.platform)) leave_out_qos(sides, all);
    name_profiles(sides, all);
    compare(all, Group::NotTold, kTablesOnly, sides.asked, kPlatformOnly, sides.told);
    compare(all, Group::NotInForce, kKernelLacks, sides.asked_rules, kKernelOnly, sides.rules);
    append_platforms(all, findings.platform);
    append(all, Group::Warning, "", lines_of(findings.asked, kAuditWarning));
    std::ranges::sort(all);
    return all;
}

bool is_drift(const Difference& difference) {
    return difference.group == Group::NotTold || difference.group == Group::NotInForce;
}

void print_text(const Difference& difference) {
    const std::string side(difference.side);
    printf("%s: %s: %s%s%s\n", group_name(difference), difference.service.c_str(), side.c_str(),
           side.empty() ? "" : ": ", difference.text.c_str());
}

void print_json(const Difference& difference) {
    printf("{\"group\":%s,\"service\":%s,\"side\":%s,\"text\":%s}\n",
           quoted(group_name(difference)).c_str(), quoted(difference.service).c_str(),
           quoted(difference.side).c_str(), quoted(difference.text).c_str());
}

}  // namespace platform::platformctl
