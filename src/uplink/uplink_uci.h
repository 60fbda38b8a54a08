#pragma once

#include "core/method.h"
#include "core/result.h"
#include "uci_file.h"

using namespace appcfg;

// What uplink management reads and changes in UCI packages. Sections are those of a package that a
// UciFile has loaded; whoever changes one has loaded it for change and commits it.
//
// Functions that return int return libuci's code, UCI_OK on success.

/// An option, or several words, as text.
using Text = char[256];

/// Walks the words of a text, which spaces separate.
class Words {
  public:
    explicit Words(const char* text) : rest_(text) {}

    /// The next word, cut to 255 characters; null after the last. Good until the next call.
    const char* next();

  private:
    const char* rest_;
    Text word_ = {};
};

/// Null if there is no such section.
uci_section* find_section(uci_package* package, const char* name);

/// The interface section of the bond, null if there is none.
uci_section* find_la_interface(uci_package* package);

/// The device section of the LAN bridge: the one named br_lan, else the first of the name br-lan.
uci_section* find_lan_bridge(uci_package* package);

/// True for a device that carries a WAN connection.
bool is_wan_device(uci_section* section);

bool is_of_type(const uci_section* section, const char* type);

/// An option that is a text; null if it is absent or a list.
const char* option_string(uci_section* section, const char* option);

/// An option as text: a list as its elements joined by single spaces, an absent one as "". Cut
/// to 255 characters.
void option_text(uci_section* section, const char* option, Text& text);

// A null section cannot be changed.

int set_option(uci_section* section, const char* option, const char* value);
int delete_option(uci_section* section, const char* option);
int add_list_value(uci_section* section, const char* option, const char* value);
/// Removes every element that equals `value`; a list without it, or no list, is left alone.
int remove_list_value(uci_section* section, const char* option, const char* value);
bool has_list_value(uci_section* section, const char* option, const char* value);

/// True for the name of a port that belongs into the LAN bridge when nothing else uses it.
bool is_lan_port(const char* name);

/// Puts the LAN ports among `names` into the bridge, those that are not in it yet, and takes them
/// out. Other names are passed over.
void add_bridge_ports(uci_section* bridge, const char* names);
void remove_bridge_ports(uci_section* bridge, const char* names);

// Answers that several methods share. A package that cannot be written has no text of its own: it
// answers as one that cannot be loaded.

inline constexpr char kNoContext[] = "Failed to allocate UCI context";
inline constexpr char kNoNetwork[] = "Failed to load network config";
inline constexpr char kNoAutoWan[] = "Failed to load auto_wan config";

/// An argument makes no sense.
inline Outcome refused(const char* reason) {
    return {kMissingArgument, reason};
}

inline Outcome failed(const char* reason) {
    return {IGD_CM_OPERATE_FAIL, reason};
}
