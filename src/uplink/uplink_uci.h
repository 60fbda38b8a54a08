#pragma once

#include "uci_file.h"
#include "uplink/names.h"

// Sections and options of UCI packages. Sections are those of a package that a UciFile has loaded;
// whoever changes one has loaded it for change and commits it.

namespace appcfg::uplink {

/// Null if there is no such section.
uci_section* find_section(uci_package* package, const char* name);

bool is_of_type(const uci_section* section, const char* type);

bool has_option(uci_section* section, const char* option);

/// An option that is a text; null if it is absent or a list.
const char* option_string(uci_section* section, const char* option);

/// The words of an option, those of all its elements if it is a list; none if it is absent. Cut to
/// 255 characters.
void read_names(uci_section* section, const char* option, Names& names);

// Changes. False if libuci refuses one; a null section cannot be changed.

bool set_option(uci_section* section, const char* option, const char* value);
bool delete_option(uci_section* section, const char* option);
bool add_list_value(uci_section* section, const char* option, const char* value);
/// Removes every element that equals `value`; a list without it, or no list, is left alone.
bool remove_list_value(uci_section* section, const char* option, const char* value);
bool has_list_value(uci_section* section, const char* option, const char* value);
bool delete_section(uci_section* section);

}  // namespace appcfg::uplink
