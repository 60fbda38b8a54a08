#include "platform/uci/loaded_package.h"

#include <algorithm>
#include <cstring>

namespace storage {

namespace {

/// Reads "@TYPE[n]"; false if `path` is not of that form.
bool split_path(const char* path, std::string_view& type, uint32_t& position) {
    const char* bracket = strchr(path, '[');
    if (path[0] != '@' || !bracket || bracket == path + 1) return false;
    type = {path + 1, bracket};
    const char* digit = bracket + 1;
    for (position = 0; *digit >= '0' && *digit <= '9' && digit < bracket + 10; ++digit)
        position = position * 10 + static_cast<uint32_t>(*digit - '0');
    return digit > bracket + 1 && strcmp(digit, "]") == 0;
}

}  // namespace

/// False without a model. What was found in an earlier one is forgotten.
bool LoadedPackage::look_at_model() {
    if (!file_.package()) return false;
    if (generation_ != file_.generation()) {
        generation_ = file_.generation();
        index_.clear();
        found_ = nullptr;
    }
    return true;
}

const std::vector<uci_section*>& LoadedPackage::sections_of(std::string_view type) {
    for (const SectionsOfType& known : index_)
        if (known.type == type) return known.sections;
    SectionsOfType& made = index_.emplace_back();
    made.type = type;
    uci_element* element;
    uci_foreach_element(&file_.package()->sections, element) {
        uci_section* section = uci_to_section(element);
        if (type == section->type) made.sections.push_back(section);
    }
    return made.sections;
}

uint32_t LoadedPackage::total(const char* type) {
    return look_at_model() && type ? static_cast<uint32_t>(sections_of(type).size()) : 0;
}

uci_section* LoadedPackage::find(const char* path) {
    std::string_view type;
    uint32_t position = 0;
    if (!split_path(path, type, position))
        return uci_lookup_section(context_.get(), file_.package(), path);
    const auto& sections = sections_of(type);
    return position < sections.size() ? sections[position] : nullptr;
}

void LoadedPackage::remember(const char* path, uci_section* section) {
    found_ = section;
    strcpy(found_path_, path);
}

uci_section* LoadedPackage::section(const char* path) {
    if (!look_at_model() || !path || strnlen(path, kLongestPath + 1) > kLongestPath) return nullptr;
    if (!found_ || strcmp(path, found_path_) != 0) remember(path, find(path));
    return found_;
}

const char* LoadedPackage::text(const char* path, const char* option) {
    uci_section* found = section(path);
    return found && option ? uci_lookup_option_string(context_.get(), found, option) : nullptr;
}

bool LoadedPackage::holds(uci_section* section, const char* option, const char* text) {
    const uci_option* found = uci_lookup_option(context_.get(), section, option);
    if (!found) return !*text;
    return found->type == UCI_TYPE_STRING && strcmp(found->v.string, text) == 0;
}

uci_ptr LoadedPackage::pointer_to(uci_section* section) {
    uci_ptr pointer = {};
    pointer.flags = static_cast<decltype(pointer.flags)>(uci_ptr::UCI_LOOKUP_DONE |
                                                         uci_ptr::UCI_LOOKUP_COMPLETE);
    pointer.p = file_.package();
    pointer.s = section;
    pointer.package = pointer.p->e.name;
    pointer.section = section->e.name;
    return pointer;
}

bool LoadedPackage::set(uci_section* section, const char* option, const char* text) {
    uci_ptr pointer = pointer_to(section);
    pointer.o = uci_lookup_option(context_.get(), section, option);
    pointer.option = option;
    pointer.value = text;
    return uci_set(context_.get(), &pointer) == UCI_OK;
}

/// libuci numbers new sections by a count of its own, so that a name it makes up may be that of a
/// section which is already there; then the next one is taken.
uci_section* LoadedPackage::add(const char* type) {
    uci_package* model = look_at_model() ? file_.package() : nullptr;
    for (int attempt = 0; model && attempt < 16; ++attempt) {
        uci_section* section = nullptr;
        if (uci_add_section(context_.get(), model, type, &section) != UCI_OK) return nullptr;
        for (SectionsOfType& known : index_)
            if (known.type == type) known.sections.push_back(section);
        if (uci_lookup_section(context_.get(), model, section->e.name) == section) return section;
        if (!remove(section)) return nullptr;
    }
    return nullptr;
}

bool LoadedPackage::remove(uci_section* section) {
    found_ = nullptr;
    for (SectionsOfType& known : index_)
        if (known.type == section->type) std::erase(known.sections, section);
    uci_ptr pointer = pointer_to(section);
    return uci_delete(context_.get(), &pointer) == UCI_OK;
}

}  // namespace storage
