#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/linux/enforce/marks.h"

// What a service wants of the kernel's packet filter: the chains and sets that are its own,
// declared once, and the rules in them, which follow from its state alone.

namespace platform::platformd::enforce {

enum class Family : uint8_t { Inet, Bridge };

inline constexpr Family kFamilies[] = {Family::Inet, Family::Bridge};

const char* family_name(Family family);

/// Names begin with the service's.
struct OwnedChain {
    Family family;
    const char* name;
    /// Null for a chain that others jump to.
    const char* hook = nullptr;
    int priority = 0;
    const char* type = "filter";
};

/// Each element counts the packets that met it.
struct OwnedSet {
    Family family;
    const char* name;
    const char* type;
};

/// Rules and elements as text, to be formed from numbers, checked names and parsed values only: no
/// text of a record gets in as it came.
class RuleText {
  public:
    explicit RuleText(const char* table = kTable) : table_(table) {}

    __attribute__((format(printf, 3, 4))) void rule(const OwnedChain& chain, const char* format,
                                                    ...);
    void element(const OwnedSet& set, const std::string& value);

    const std::string& text() const { return text_; }

  private:
    void add(const char* what, Family family, const char* name);

    const char* table_;
    std::string text_;
};

struct Rules {
    std::span<const OwnedChain> chains = {};
    std::span<const OwnedSet> sets = {};
    /// The same state always gives the same text.
    void (*render)(RuleText& text) = nullptr;
};

/// A piece of a transaction that makes the rules what they should be, whatever they were: the
/// declarations, the emptying and the rules.
std::string replacement(const Rules& rules, const char* table = kTable);

/// Pieces of a transaction: our tables, as they are or with nothing in them.
std::string tables_as_they_are();
std::string tables_emptied();
std::string tables_gone();
/// The same of the tables in which rules can be looked at without being in force.
std::string scratch_emptied();
std::string scratch_gone();

}  // namespace platform::platformd::enforce
