#pragma once

#include <cstdint>

// Configuration access by package, section and option.
//
// A package is the name of a UCI configuration file ("app_ipfilter"). A section is either a
// section's own name ("auto_wan", "cfg0a4b12") or a path "@TYPE[n]": the n-th section of that type,
// from zero. Names follow the UCI rules: letters, digits and '_' (a package also '-').
//
// Every change is complete and durable when the call that made it returns: after a power cut the
// package is either as it was or as it was meant to be. Every call first makes sure that no other
// process has changed the package since it was last looked at. A package that cannot be parsed is
// never written to; reads of it answer as if it were missing. One larger than 4 MiB counts as such,
// and a change that would make it as large fails as on a full disk. A package that another program
// keeps locked is waited for with the request's patience (base/patience.h).
//
// Functions that return int32_t without further word return 0 on success and -1 on failure. All of
// them may be called with any text: what is no valid name is "not there". One thread only.

extern "C" {

/// Stores in `*count` the number of sections of type `type`, 0 if there are none or no such
/// package. `flags` is reserved and 0.
int32_t vsuci_total(const char* package, const char* type, int32_t* count, int32_t flags);

/// The decimal number at the beginning of the option, read as strtol reads it (after white space,
/// with a sign, up to what is no digit) and cut to its low 32 bits; 0 if it is missing or no
/// number.
int32_t vsuci_get_int32(const char* package, const char* section, const char* option);

/// Copies the option's text, cut to `width` - 1 characters and always terminated, into `buffer`.
/// A missing option, or one that is a list, leaves the empty text and returns -1.
int32_t vsuci_get_string(char* buffer, uint32_t width, const char* package, const char* section,
                         const char* option);

/// Stores `value` as decimal text. -1 if the section does not exist or the file cannot be replaced.
/// What is stored already is not written again.
int32_t vsuci_set_int32(int32_t value, const char* package, const char* section,
                        const char* option);

/// Stores the text in `buffer`, cut to `width` - 1 characters like a text that is read. The empty
/// text removes the option. -1 if the section does not exist, the file cannot be replaced, or
/// `width` is 0 or above 1024.
int32_t vsuci_set_string(const char* buffer, uint32_t width, const char* package,
                         const char* section, const char* option);

/// Appends an anonymous section of type `type`, creating the package if it is missing, and writes
/// the new section's name into `name` (`size` bytes). The name is good until the package is next
/// changed by someone else, or a change of it could not be written.
int32_t vsuci_add(const char* package, const char* type, char* name, uint32_t size);

/// Removes a section with all its options.
int32_t vsuci_del(const char* package, const char* section);

/// Reads one option as text; like `vsuci_get_string`.
int32_t vsuci_get(const char* package, const char* section, const char* option, char* buffer,
                  uint32_t size);

/// Writes one option; like `vsuci_set_string` with the whole text.
int32_t vsuci_set(const char* package, const char* section, const char* option, const char* value);

/// Reads one option of the read-only factory configuration under /rom/config; like `vsuci_get`.
int32_t vsuci_get_zu_cfm(const char* package, const char* section, const char* option, char* buffer,
                         uint32_t size);

/// Brackets several calls on one package so that they see one state of the file and their changes
/// become one change of it: nothing is written before the matching release. Calls within see what
/// has been changed so far. From the first change on the package is locked against other writers;
/// if it was changed by one of them after it had been read within the hold, that first change
/// fails. Holds of one package nest: the outermost counts, and those within only make parts of its
/// change. Several packages may be held at a time. Where the platform has no such thing both
/// do nothing, and succeed.
void vsuci_hold(const char* package);

/// Between these two the package goes to and fro between two contents, while services that are told
/// of a change look at it: a change that restores the content of before the last one is one rename,
/// whole like any other but not durable by itself; after a power cut there is one of the two. What
/// others write meanwhile is honoured, and any other change is as durable as ever. They do not
/// nest: the first settle ends it. -1 if what is stored now may not survive a power cut. Where the
/// platform, or the file system, has no such thing, every change is written as ever.
void vsuci_alternate(const char* package);
[[nodiscard]] int32_t vsuci_settle(const char* package);

/// Ends the hold begun last. Of an outermost one, makes durable what was changed since: -1 if it
/// could not be written, or if a change failed in between, then the package is as it was before the
/// hold. Of one within another, -1 if a change failed since the outermost began: no more of it will
/// be written, and the outermost release fails too. A set or del of a section that does not exist
/// changes nothing and is no such failure. -1 too if the package is not held.
[[nodiscard]] int32_t vsuci_release(const char* package);
}
