#pragma once

#include <cstdint>

// ebtables chains and rules. Each call runs ebtables once, directly, so that no text is ever read
// by a shell, and returns 0 when it succeeded.

extern "C" {

/// Makes chain `chain` in table `table` with default policy `policy` ("ACCEPT", "DROP", "RETURN").
int32_t zu_ebtables_newchain(const char* table, const char* chain, const char* policy);

/// Applies `op` ("-A", "-I", "-D") to `chain` with the rule text, which is split at blanks.
int32_t zu_ebtables_rule_op(const char* table, const char* op, const char* chain, const char* rule);

/// Removes all rules of a chain.
int32_t zu_ebtables_flushchain(const char* table, const char* chain);

/// Removes an empty chain that no rule jumps to.
int32_t zu_ebtables_delchain(const char* table, const char* chain);
}
