#include "platform/linux/daemon_chains.h"

#include <cstdio>

#include "base/read_all.h"
#include "platform/linux/audit_line.h"

namespace platform {

namespace {

struct Tool {
    const char* service;  ///< whose the chains are
    const char* name;
    const char* line;
};

constexpr Tool kEbtables{"qos_profiles", "ebtables", "exec ebtables -t nat -L 2>/dev/null"};
constexpr Tool kIptables[] = {
    {"qos", "iptables", "exec iptables -t mangle -S 2>/dev/null"},
    {"qos", "ip6tables", "exec ip6tables -t mangle -S 2>/dev/null"},
};

std::string output_of(const char* line) {
    FILE* pipe = popen(line, "re");
    if (!pipe) return {};
    auto output = base::read_all(fileno(pipe));
    pclose(pipe);
    return output;
}

/// All the daemon's chains are called so.
bool names_ours(std::string_view line) {
    return line.find(" ZU_") != line.npos;
}

void append(std::string& out, const Tool& tool, std::string_view text) {
    append_audit_line(out, kAuditTool, tool.service,
                      std::string(tool.name) + ' ' + std::string(text));
}

/// "Bridge chain: NAME, entries: 1, policy: RETURN", then its rules.
void append_ebtables(std::string& out) {
    constexpr std::string_view kHeading = "Bridge chain: ";
    std::string chain;
    for_each_line(output_of(kEbtables.line), [&](std::string_view line) {
        if (line.starts_with(kHeading)) {
            line.remove_prefix(kHeading.size());
            chain = line.substr(0, line.find(','));
            const auto policy = std::min(line.find("policy: "), line.size());
            if (chain.starts_with("ZU_"))
                append(out, kEbtables, chain + ' ' + std::string(line.substr(policy)));
        } else if (chain.starts_with("ZU_") || names_ours(line)) {
            append(out, kEbtables, chain + ' ' + std::string(line));
        }
    });
}

void append_iptables(std::string& out, const Tool& tool) {
    for_each_line(output_of(tool.line), [&](std::string_view line) {
        if (names_ours(line) && !line.starts_with("-A ZU_")) append(out, tool, line);
    });
}

}  // namespace

void append_daemon_chains(std::string& out) {
    append_ebtables(out);
    for (const auto& tool : kIptables)
        append_iptables(out, tool);
}

}  // namespace platform
