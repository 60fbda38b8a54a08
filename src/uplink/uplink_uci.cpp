#include "uplink/uplink_uci.h"

#include <cstring>

namespace appcfg::uplink {
namespace {

uci_option* find_option(uci_section* section, const char* option) {
    return section ? uci_lookup_option(section->package->ctx, section, option) : nullptr;
}

/// Changes a section, or one option of it, by a function of libuci.
bool change(int (*function)(uci_context*, uci_ptr*), uci_section* section, const char* option,
            const char* value) {
    if (!section) return false;
    uci_ptr place{};
    place.p = section->package;
    place.s = section;
    place.option = option;
    place.value = value;
    return function(section->package->ctx, &place) == UCI_OK;
}

}  // namespace

uci_section* find_section(uci_package* package, const char* name) {
    return uci_lookup_section(package->ctx, package, name);
}

bool is_of_type(const uci_section* section, const char* type) {
    return std::strcmp(section->type, type) == 0;
}

bool has_option(uci_section* section, const char* option) {
    return find_option(section, option);
}

const char* option_string(uci_section* section, const char* option) {
    const uci_option* found = find_option(section, option);
    return found && found->type == UCI_TYPE_STRING ? found->v.string : nullptr;
}

void read_names(uci_section* section, const char* option, Names& names) {
    names.clear();
    uci_option* found = find_option(section, option);
    if (!found) return;
    if (found->type == UCI_TYPE_STRING) {
        names.add(found->v.string);
        return;
    }
    uci_element* element;
    uci_foreach_element(&found->v.list, element) {
        if (!names.add(element->name)) return;
    }
}

bool set_option(uci_section* section, const char* option, const char* value) {
    return change(uci_set, section, option, value);
}

bool delete_option(uci_section* section, const char* option) {
    return change(uci_delete, section, option, nullptr);
}

bool add_list_value(uci_section* section, const char* option, const char* value) {
    return change(uci_add_list, section, option, value);
}

bool remove_list_value(uci_section* section, const char* option, const char* value) {
    return change(uci_del_list, section, option, value);
}

bool has_list_value(uci_section* section, const char* option, const char* value) {
    const uci_option* found = find_option(section, option);
    if (!found || found->type != UCI_TYPE_LIST) return false;
    const uci_element* element;
    uci_foreach_element(&found->v.list, element) {
        if (std::strcmp(element->name, value) == 0) return true;
    }
    return false;
}

bool delete_section(uci_section* section) {
    return change(uci_delete, section, nullptr, nullptr);
}

}  // namespace appcfg::uplink
