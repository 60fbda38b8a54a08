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
using Profiles = std::map<unsigned long, std::string>;

constexpr char kQos[] = "qos";
constexpr char kProfiles[] = "qos_profiles";

constexpr const char* kGroups[] = {"not told", "not in force", "cannot be enforced", "warning"};

constexpr char kTablesOnly[] = "tables only";
constexpr char kPlatformOnly[] = "platform only";
constexpr char kKernelLacks[] = "kernel lacks";
constexpr char kKernelOnly[] = "kernel only";

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

void append(std::vector<Difference>& all, Group group, const char* side, const Lines& lines) {
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
    for (const std::string_view option : {"--mark-set ", "--mark-or "}) {
        const auto begin = rule.find(option);
        if (begin == rule.npos) continue;
        const auto number = begin + option.size();
        const auto mark = strtoul(rule.c_str() + number, nullptr, 0);
        const auto id = mark >> kQueueMarkShift;
        const auto found = profiles.find(id);
        if (found == profiles.end()) return 0;
        rule.replace(begin, std::min(rule.find(' ', number), rule.size()) - begin,
                     "profile" + found->second);
        return id;
    }
    return 0;
}

/// Returns the profiles that no rule names.
Profiles name_profiles(Lines& rules, const Profiles& profiles) {
    auto unused = profiles;
    for (auto& rule : rules)
        unused.erase(name_profile(rule.text, profiles));
    return unused;
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

}  // namespace

bool has_played_qos(std::string_view platform) {
    return std::ranges::count(lines_of(platform, kAuditPlayed), kQos, &Line::service) > 0;
}

std::vector<Difference> differences(const Findings& findings) {
    const auto platform_lines = [&](const char* kind) { return lines_of(findings.platform, kind); };
    auto asked = lines_of(findings.asked, kAuditTold);
    auto told = platform_lines(kAuditTold);
    auto asked_rules = lines_of(findings.asked, kAuditTool);
    auto rules = lines_of(findings.in_kernel, kAuditTool);
    std::vector<Difference> all;
    if (!has_played_qos(findings.platform)) {
        const auto is_qos = [](const Line& line) {
            return line.service == kQos || line.service == kProfiles;
        };
        for (auto* lines : {&asked, &told, &asked_rules, &rules})
            std::erase_if(*lines, is_qos);
        append(all, Group::Warning, "",
               {{kQos, "libqos_init has not been called: what is stored is not asked for"}});
    }
    name_profiles(asked_rules, take_profiles(asked));
    for (const auto& [id, rates] : name_profiles(rules, take_profiles(told)))
        append(all, Group::Warning, "",
               {{kProfiles, "no rule uses profile " + std::to_string(id) + rates}});
    append(all, Group::NotTold, kTablesOnly, surplus(asked, told));
    append(all, Group::NotTold, kPlatformOnly, surplus(told, asked));
    append(all, Group::NotInForce, kKernelLacks, surplus(asked_rules, rules));
    append(all, Group::NotInForce, kKernelOnly, surplus(rules, asked_rules));
    append(all, Group::NotInForce, kKernelLacks, platform_lines(kAuditMissing));
    append(all, Group::NotInForce, kKernelOnly, platform_lines(kAuditForeign));
    append(all, Group::NotInForce, "", platform_lines(kAuditWrong));
    append(all, Group::NotInForce, "", platform_lines(kAuditWaiting));
    append(all, Group::Cannot, "", platform_lines(kAuditCannot));
    append(all, Group::Warning, "", platform_lines(kAuditWarning));
    append(all, Group::Warning, "", lines_of(findings.asked, kAuditWarning));
    std::ranges::sort(all);
    return all;
}

bool is_drift(const Difference& difference) {
    return difference.group == Group::NotTold || difference.group == Group::NotInForce;
}

void print_text(const Difference& difference) {
    printf("%s: %s: %s%s%s\n", kGroups[static_cast<int>(difference.group)],
           difference.service.c_str(), difference.side, *difference.side ? ": " : "",
           difference.text.c_str());
}

void print_json(const Difference& difference) {
    printf(R"({"group":%s,"service":%s,"side":%s,"text":%s})"
           "\n",
           quoted(kGroups[static_cast<int>(difference.group)]).c_str(),
           quoted(difference.service).c_str(), quoted(difference.side).c_str(),
           quoted(difference.text).c_str());
}

}  // namespace platform::platformctl
