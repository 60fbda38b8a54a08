#pragma once

#include <string>
#include <string_view>
#include <vector>

// What an audit finds, made of three texts in the lines of audit_line.h.

namespace platform::platformctl {

enum class Group { NotTold, NotInForce, Cannot, Warning };

struct Difference {
    Group group;
    std::string service;
    std::string_view side;  ///< who alone has it; "" where that says nothing
    std::string text;

    auto operator<=>(const Difference& other) const = default;
};

struct Findings {
    std::string asked;      ///< the replay's: what the tables ask for
    std::string platform;   ///< platformd's: what it was told, and the kernel's part
    std::string in_kernel;  ///< what tools list of the daemon's own chains
};

/// Whether QoS has been set up on the platform; until then what is stored of it is not asked for.
bool has_played_qos(std::string_view platform);

/// All differences, in the order of groups and services.
std::vector<Difference> differences(const Findings& findings);

/// Whether it makes an audit fail: something that could be in force is not, or the other way round.
bool is_drift(const Difference& difference);

/// Prints one line, in words or as JSON.
void print_text(const Difference& difference);
void print_json(const Difference& difference);

}  // namespace platform::platformctl
