#include "uplink/uplink_uci.h"

#include <cstdio>
#include <cstring>
#include <string_view>

using namespace appcfg;

namespace {

constexpr char kPorts[] = "ports";

uci_option* find_option(uci_section* section, const char* option) {
    return section ? uci_lookup_option(section->package->ctx, section, option) : nullptr;
}

/// Changes one option by a function of libuci.
int change(int (*function)(uci_context*, uci_ptr*), uci_section* section, const char* option,
           const char* value) {
    if (!section) return UCI_ERR_NOTFOUND;
    uci_ptr place{};
    place.p = section->package;
    place.s = section;
    place.option = option;
    place.value = value;
    return function(section->package->ctx, &place);
}

bool is_named(uci_section* section, const char* name) {
    const char* own = option_string(section, "name");
    return own && std::strcmp(own, name) == 0;
}

}  // namespace

const char* Words::next() {
    rest_ += std::strspn(rest_, " ");
    if (!*rest_) return nullptr;
    const size_t length = std::strcspn(rest_, " ");
    std::snprintf(word_, sizeof(word_), "%.*s", static_cast<int>(length), rest_);
    rest_ += length;
    return word_;
}

uci_section* find_section(uci_package* package, const char* name) {
    return uci_lookup_section(package->ctx, package, name);
}

uci_section* find_la_interface(uci_package* package) {
    uci_element* element;
    uci_foreach_element(&package->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_of_type(section, "interface") && std::strcmp(element->name, "la") == 0)
            return section;
    }
    return nullptr;
}

uci_section* find_lan_bridge(uci_package* package) {
    if (uci_section* bridge = find_section(package, "br_lan")) return bridge;
    uci_element* element;
    uci_foreach_element(&package->sections, element) {
        uci_section* section = uci_to_section(element);
        if (is_of_type(section, "device") && is_named(section, "br-lan")) return section;
    }
    return nullptr;
}

bool is_wan_device(uci_section* section) {
    if (!is_of_type(section, "device")) return false;
    const char* name = option_string(section, "name");
    if (name && std::strstr(name, "wan")) return true;
    for (const char* option : {"service_mode", "IpProtocolType", "lkname"})
        if (find_option(section, option)) return true;
    return false;
}

bool is_of_type(const uci_section* section, const char* type) {
    return std::strcmp(section->type, type) == 0;
}

const char* option_string(uci_section* section, const char* option) {
    const uci_option* found = find_option(section, option);
    return found && found->type == UCI_TYPE_STRING ? found->v.string : nullptr;
}

void option_text(uci_section* section, const char* option, Text& text) {
    text[0] = '\0';
    uci_option* found = find_option(section, option);
    if (!found) return;
    if (found->type == UCI_TYPE_STRING) {
        std::snprintf(text, sizeof(text), "%s", found->v.string);
        return;
    }
    uci_element* element;
    size_t length = 0;
    uci_foreach_element(&found->v.list, element) {
        std::snprintf(text + length, sizeof(text) - length, "%s%s", length ? " " : "",
                      element->name);
        length = std::strlen(text);
    }
}

int set_option(uci_section* section, const char* option, const char* value) {
    return change(uci_set, section, option, value);
}

int delete_option(uci_section* section, const char* option) {
    return change(uci_delete, section, option, nullptr);
}

int add_list_value(uci_section* section, const char* option, const char* value) {
    return change(uci_add_list, section, option, value);
}

int remove_list_value(uci_section* section, const char* option, const char* value) {
    return change(uci_del_list, section, option, value);
}

bool has_list_value(uci_section* section, const char* option, const char* value) {
    uci_option* found = find_option(section, option);
    if (!found || found->type != UCI_TYPE_LIST) return false;
    uci_element* element;
    uci_foreach_element(&found->v.list, element) {
        if (std::strcmp(element->name, value) == 0) return true;
    }
    return false;
}

bool is_lan_port(const char* name) {
    return std::string_view(name).starts_with("eth");
}

void add_bridge_ports(uci_section* bridge, const char* names) {
    for (Words words(names); const char* name = words.next();)
        if (is_lan_port(name) && !has_list_value(bridge, kPorts, name))
            add_list_value(bridge, kPorts, name);
}

void remove_bridge_ports(uci_section* bridge, const char* names) {
    for (Words words(names); const char* name = words.next();)
        if (is_lan_port(name)) remove_list_value(bridge, kPorts, name);
}
