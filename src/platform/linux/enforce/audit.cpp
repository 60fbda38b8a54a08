#include "platform/linux/enforce/audit.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>
#include <vector>

#include "platform/linux/audit_line.h"
#include "platform/linux/enforce/applier.h"
#include "platform/linux/enforce/nft.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::enforce {

namespace {

using Lines = std::vector<std::string>;
/// By what they stand in: "inet chain ip_filter_up".
using Listing = std::map<std::string, Lines, std::less<>>;

/// The elements of a set, of which a listing puts some in each line.
void split_elements(std::string_view text, Lines& lines) {
    base::Tokens elements(text, ",{}");
    for (std::string_view element; elements.next(element);) {
        const auto begin = element.find_first_not_of(" \t\n");
        if (begin == element.npos) continue;
        const auto end = element.find_last_not_of(" \t\n") + 1;
        lines.emplace_back(element.substr(begin, end - begin));
    }
}

/// What stands between the braces of a chain or set, whose lines are indented twice.
Lines block_lines(std::string_view block) {
    constexpr std::string_view kElements = "\t\telements = {";
    Lines lines;
    const auto elements = std::min(block.find(kElements), block.size());
    for_each_line(block.substr(0, elements), [&](std::string_view line) {
        if (!line.empty()) lines.emplace_back(line);
    });
    if (elements != block.size()) split_elements(block.substr(elements + kElements.size()), lines);
    return lines;
}

/// Takes a table's listing apart at the chains and sets, which are indented once.
void add_blocks(Listing& listing, const char* family, std::string_view text) {
    constexpr std::string_view kEnd = "\n\t}";
    for (size_t at = 0; (at = text.find("\n\t", at)) != text.npos;) {
        at += 2;
        const auto line_end = std::min(text.find('\n', at), text.size());
        const auto heading = text.substr(at, line_end - at);
        if (heading.starts_with('\t') || !heading.ends_with(" {")) continue;
        const auto end = std::min(text.find(kEnd, at), text.size());
        listing[std::string(family) + ' ' + std::string(heading.substr(0, heading.size() - 2))] =
            block_lines(text.substr(line_end, end - std::min(line_end, end)));
        at = end + 1;
    }
}

Listing list(const char* table) {
    Listing listing;
    for (const auto family : kFamilies) {
        const auto* name = family_name(family);
        add_blocks(listing, name,
                   nft_list(std::string("list table ") + name + ' ' + table, Counters::Hidden));
    }
    return listing;
}

void append_surplus(std::string& out, const char* kind, const char* service,
                    const std::string& block, Lines of, Lines than) {
    std::ranges::sort(of);
    std::ranges::sort(than);
    Lines surplus;
    std::ranges::set_difference(of, than, std::back_inserter(surplus));
    for (const auto& line : surplus)
        append_audit_line(out, kind, service, block + ": " + line);
}

void compare(std::string& out, const char* service, const std::string& block, const Lines& asked,
             const Lines& held) {
    if (asked == held) return;
    const auto before = out.size();
    append_surplus(out, kAuditMissing, service, block, asked, held);
    append_surplus(out, kAuditForeign, service, block, held, asked);
    if (out.size() == before) append_audit_line(out, kAuditWrong, service, block + ": other order");
}

/// Takes what is the service's own out of `held`.
void audit_rules(std::string& out, const Service& service, Listing& held) {
    std::string error;
    if (!nft_run(scratch_emptied() + replacement(*service.rules, kScratchTable), error)) {
        append_audit_line(out, kAuditWrong, service.name, "refused by the kernel: " + error);
        return;
    }
    for (const auto& [block, asked] : list(kScratchTable)) {
        const auto found = held.find(block);
        if (found == held.end()) {
            append_audit_line(out, kAuditMissing, service.name, block);
        } else {
            compare(out, service.name, block, asked, found->second);
            held.erase(found);
        }
    }
}

}  // namespace

void audit_kernel(std::string& out) {
    auto held = list(kTable);
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.rules) audit_rules(out, owner->service, held);
    for (const auto& [block, lines] : held)
        append_audit_line(out, kAuditForeign, "enforcement", block);
    std::string error;
    nft_run(scratch_gone(), error);
    if (!refusal().empty()) append_audit_line(out, kAuditWrong, "enforcement", refusal());
}

}  // namespace platform::platformd::enforce
