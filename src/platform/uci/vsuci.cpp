#include "vsuci.h"

#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/uci/uci_names.h"
#include "platform/uci/uci_testing.h"
#include "uci_file.h"

namespace {

constexpr size_t kLoadedPackages = 8;
constexpr size_t kLongestPath = 127;
constexpr size_t kLongestName = 127;
constexpr size_t kWidestText = 1024;
constexpr uint32_t kNoPosition = UINT32_MAX;

struct Package {
    Package(const char* name, UciStore in) : file(context.get(), name, in), store(in) {}

    UciContext context = uci_new_context();
    UciFile file;
    UciStore store;
    uint64_t last_used = 0;

    // The section found last: a row is read and written option by option, and rows mostly in order.
    uci_section* found = nullptr;
    uint32_t found_in = 0;
    uint32_t found_position = kNoPosition;
    char found_path[kLongestPath + 1];
};

/// What is held. At most one package is held, and one that is held stays loaded.
struct Hold {
    Package* package = nullptr;
    bool looked = false;    // the file has been checked; its model is the hold's state of it
    uint32_t state = 0;     // generation of that model, 0 if there was none
    bool changing = false;  // the file is locked and the model is ahead of it
    bool failed = false;
};

std::unique_ptr<Package> loaded[kLoadedPackages];
uint64_t uses = 0;
Hold hold;

bool is_held(const Package& package) {
    return hold.package == &package;
}

Package* find_loaded(const char* name, UciStore store) {
    for (const auto& slot : loaded) {
        if (slot && slot->store == store && strcmp(slot->file.name(), name) == 0) return slot.get();
    }
    return nullptr;
}

/// The place of a package to be loaded: a free one, or that of the one not used for longest.
std::unique_ptr<Package>& make_room() {
    std::unique_ptr<Package>* oldest = nullptr;
    for (auto& slot : loaded) {
        if (!slot) return slot;
        if (is_held(*slot)) continue;
        if (!oldest || slot->last_used < (*oldest)->last_used) oldest = &slot;
    }
    return *oldest;
}

/// Null if the name is none.
Package* find_package(const char* name, UciStore store = UciStore::Config) {
    if (!name) return nullptr;
    Package* package = find_loaded(name, store);
    if (!package) {
        if (!uci_is_name(name, UciFile::kLongestName, "-")) return nullptr;
        auto& slot = make_room();
        slot = std::make_unique<Package>(name, store);
        package = slot.get();
    }
    package->last_used = ++uses;
    return package;
}

/// Finds the package and brings its model up to date, within a hold only once.
Package* look_at(const char* name, UciStore store = UciStore::Config) {
    Package* package = find_package(name, store);
    if (!package || (is_held(*package) && hold.looked)) return package;
    const bool there = package->file.load();
    if (is_held(*package)) {
        hold.looked = true;
        hold.state = there ? package->file.generation() : 0;
    }
    return package;
}

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

/// Goes on from the section found last if that is one of the type and stands before.
uci_section* section_at(Package& package, std::string_view type, uint32_t position) {
    uci_list& sections = package.file.package()->sections;
    uci_list* place = sections.next;
    uint32_t next = 0;
    if (package.found && package.found_position <= position && type == package.found->type) {
        place = &package.found->e.list;
        next = package.found_position;
    }
    for (; place != &sections; place = place->next) {
        uci_section* section = uci_to_section(list_to_element(place));
        if (type == section->type && next++ == position) return section;
    }
    return nullptr;
}

uci_section* section_named(const uci_package& model, const char* name) {
    uci_element* element;
    uci_foreach_element(&model.sections, element) {
        if (strcmp(element->name, name) == 0) return uci_to_section(element);
    }
    return nullptr;
}

uci_section* find_section(Package& package, const char* path) {
    const uci_package* model = package.file.package();
    if (!model || !path || strnlen(path, kLongestPath + 1) > kLongestPath) return nullptr;
    const uint32_t generation = package.file.generation();
    if (package.found_in != generation) package.found = nullptr;
    if (package.found && strcmp(path, package.found_path) == 0) return package.found;
    std::string_view type;
    uint32_t position = 0;
    const bool by_position = split_path(path, type, position);
    package.found = by_position ? section_at(package, type, position) : section_named(*model, path);
    package.found_in = generation;
    package.found_position = by_position ? position : kNoPosition;
    strcpy(package.found_path, path);
    return package.found;
}

uci_option* find_option(uci_section* section, const char* name) {
    if (!section || !name) return nullptr;
    uci_element* element;
    uci_foreach_element(&section->options, element) {
        if (strcmp(element->name, name) == 0) return uci_to_option(element);
    }
    return nullptr;
}

/// The option's text; null if it is missing or a list.
const char* find_text(Package* package, const char* section, const char* option) {
    if (!package) return nullptr;
    const uci_option* found = find_option(find_section(*package, section), option);
    return found && found->type == UCI_TYPE_STRING ? found->v.string : nullptr;
}

int32_t copy_text(const char* text, char* buffer, uint32_t size) {
    if (!buffer || size == 0) return -1;
    const size_t length = text ? strnlen(text, size - 1) : 0;
    memcpy(buffer, text ? text : "", length);
    buffer[length] = '\0';
    return text ? 0 : -1;
}

/// A decimal number's low 32 bits, 0 if the text is none.
int32_t low_bits(const char* text) {
    const bool negative = *text == '-';
    uint32_t value = 0;
    for (const char* digit = text + negative; *digit; ++digit) {
        if (*digit < '0' || *digit > '9') return 0;
        value = value * 10 + static_cast<uint32_t>(*digit - '0');
    }
    return static_cast<int32_t>(negative ? -value : value);
}

bool begin_change(Package& package, UciMissing missing) {
    if (!is_held(package)) return package.file.load_for_change(missing);
    if (hold.failed || hold.changing) return hold.changing;
    if (!package.file.load_for_change(missing)) return false;
    hold.changing = true;
    const bool overtaken = hold.looked && hold.state && hold.state != package.file.generation();
    hold.looked = true;
    return !overtaken;
}

/// Nothing of what a hold has changed so far is to be written.
int32_t fail_hold(Package& package) {
    if (hold.changing) package.file.discard();
    hold = {.package = &package, .failed = true};
    return -1;
}

int32_t end_change(Package& package, bool changed) {
    if (is_held(package)) return changed ? 0 : fail_hold(package);
    if (changed) return package.file.commit() ? 0 : -1;
    package.file.discard();
    return -1;
}

/// Runs `edit` on the locked package: as a change by itself, or as a part of the hold's.
template <class Edit>
int32_t change(Package& package, UciMissing missing, Edit edit) {
    return end_change(package, begin_change(package, missing) && edit());
}

/// A change that makes no sense. The model stays, and with it the names of sections added before.
int32_t refuse(Package* package) {
    return package && is_held(*package) ? fail_hold(*package) : -1;
}

uci_ptr pointer_to(Package& package, uci_section* section) {
    uci_ptr pointer = {};
    pointer.flags = static_cast<decltype(pointer.flags)>(uci_ptr::UCI_LOOKUP_DONE |
                                                         uci_ptr::UCI_LOOKUP_COMPLETE);
    pointer.p = package.file.package();
    pointer.s = section;
    pointer.package = pointer.p->e.name;
    pointer.section = section->e.name;
    return pointer;
}

bool delete_section(Package& package, uci_section* section) {
    uci_ptr pointer = pointer_to(package, section);
    package.found = nullptr;
    return uci_delete(package.context.get(), &pointer) == UCI_OK;
}

bool set_option(Package& package, uci_section* section, const char* option, const char* text) {
    if (!section) return false;
    uci_ptr pointer = pointer_to(package, section);
    pointer.o = find_option(section, option);
    pointer.option = option;
    pointer.value = text;
    return uci_set(package.context.get(), &pointer) == UCI_OK;
}

/// libuci numbers new sections by a count of its own, so that a name it makes up may be that of a
/// section which is already there; then the next one is taken.
uci_section* add_section(Package& package, const char* type) {
    for (int attempt = 0; attempt < 16; ++attempt) {
        uci_section* section = nullptr;
        uci_package* model = package.file.package();
        if (uci_add_section(package.context.get(), model, type, &section) != UCI_OK) return nullptr;
        if (section_named(*model, section->e.name) == section) return section;
        if (!delete_section(package, section)) return nullptr;
    }
    return nullptr;
}

bool is_stored(uci_section* section, const char* option, const char* text) {
    const uci_option* found = find_option(section, option);
    if (!found) return !*text;
    return found->type == UCI_TYPE_STRING && strcmp(found->v.string, text) == 0;
}

int32_t store_text(const char* name, const char* section, const char* option, const char* text) {
    Package* package = look_at(name);
    uci_section* found = package ? find_section(*package, section) : nullptr;
    if (!package || !text || !uci_is_name(option, kLongestName)) return refuse(package);
    // There is nothing to lose in a section that does not exist; in a broken package there is.
    if (!found) return package->file.is_unreadable() ? refuse(package) : -1;
    if (is_stored(found, option, text)) return 0;
    return change(*package, UciMissing::Fail, [=] {
        return set_option(*package, find_section(*package, section), option, text);
    });
}

}  // namespace

void vsuci_use_directories(UciDirectories directories) {
    hold = {};
    for (auto& slot : loaded)
        slot.reset();
    uci_directories = directories;
}

int32_t vsuci_total(const char* package, const char* type, int32_t* count, int32_t) {
    if (!count) return -1;
    *count = 0;
    const Package* found = look_at(package);
    if (!found || !found->file.package() || !type) return 0;
    const uci_element* section;
    uci_foreach_element(&found->file.package()->sections, section) {
        *count += strcmp(uci_to_section(section)->type, type) == 0;
    }
    return 0;
}

int32_t vsuci_get_int32(const char* package, const char* section, const char* option) {
    const char* text = find_text(look_at(package), section, option);
    return text ? low_bits(text) : 0;
}

int32_t vsuci_get_string(char* buffer, uint32_t width, const char* package, const char* section,
                         const char* option) {
    return vsuci_get(package, section, option, buffer, width);
}

int32_t vsuci_set_int32(int32_t value, const char* package, const char* section,
                        const char* option) {
    char text[12];
    snprintf(text, sizeof(text), "%d", value);
    return store_text(package, section, option, text);
}

int32_t vsuci_set_string(const char* buffer, uint32_t width, const char* package,
                         const char* section, const char* option) {
    char text[kWidestText];
    const bool taken = buffer && width <= sizeof(text) && copy_text(buffer, text, width) == 0;
    return store_text(package, section, option, taken ? text : nullptr);
}

int32_t vsuci_add(const char* package, const char* type, char* name, uint32_t size) {
    Package* target = find_package(package);
    if (!target || !name || !uci_is_name(type, kLongestName)) return refuse(target);
    return change(*target, UciMissing::Create, [=] {
        const uci_section* section = add_section(*target, type);
        if (!section || strlen(section->e.name) >= size) return false;
        strcpy(name, section->e.name);
        return true;
    });
}

int32_t vsuci_del(const char* package, const char* section) {
    Package* target = look_at(package);
    if (!target || !find_section(*target, section)) return refuse(target);
    return change(*target, UciMissing::Fail, [=] {
        uci_section* found = find_section(*target, section);
        return found && delete_section(*target, found);
    });
}

int32_t vsuci_get(const char* package, const char* section, const char* option, char* buffer,
                  uint32_t size) {
    return copy_text(find_text(look_at(package), section, option), buffer, size);
}

int32_t vsuci_set(const char* package, const char* section, const char* option, const char* value) {
    return store_text(package, section, option, value);
}

int32_t vsuci_get_zu_cfm(const char* package, const char* section, const char* option, char* buffer,
                         uint32_t size) {
    return copy_text(find_text(look_at(package, UciStore::Factory), section, option), buffer, size);
}

void vsuci_hold(const char* package) {
    if (hold.changing) hold.package->file.discard();
    hold = {.package = find_package(package)};
}

int32_t vsuci_release(const char* package) {
    const Hold ended = hold;
    if (!ended.package || !package || strcmp(ended.package->file.name(), package) != 0) return -1;
    hold = {};
    if (ended.failed) return -1;
    return !ended.changing || ended.package->file.commit() ? 0 : -1;
}
