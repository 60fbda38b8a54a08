#pragma once

#include <cstdint>

// The platform's operating-system helpers.

extern "C" {

/// Runs one fixed command line with /bin/sh and returns its wait status, -1 if it cannot be
/// started. Nothing that comes from outside may stand in the line unless it has been checked.
int32_t zu_os_execcmd(const char* line);

/// Formats a command line (at most 1023 characters, -1 if longer) and runs it as `zu_os_execcmd`.
int32_t zu_os_vcmd(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// As strcmp, strlen and strtol of the C library, but a null pointer counts as the empty text.
int32_t zu_os_strcmp(const char* a, const char* b);
uint32_t zu_os_strlen(const char* text);
int32_t zu_os_strtol(const char* text, char** end, int32_t base);

/// Parses "aa:bb:cc:dd:ee:ff" (either case) into six bytes. 0, or -1 with `mac` untouched.
int32_t zu_mac_pton(const char* text, uint8_t mac[6]);

/// Writes the platform's own name of the interface that the configuration calls `name` into `size`
/// bytes. 0, or -1 with nothing written if there can be no such interface or the name does not fit.
int32_t igd_cm_interface_name_to_interface_name(const char* name, char* mapped, uint32_t size);
}
