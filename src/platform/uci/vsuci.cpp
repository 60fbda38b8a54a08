#include "vsuci.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "platform/uci/loaded_package.h"
#include "platform/uci/uci_names.h"
#include "platform/uci/uci_testing.h"

namespace storage {

struct Hold {
    uint32_t depth = 0;   // brackets that are open
    bool looked = false;  // the file has been checked; its model is the hold's state of it
    uint32_t state = 0;   // generation of that model, 0 if there was none
    bool read = false;    // the caller knows something of it
    bool locked = false;  // the file is locked and the model may be ahead of it
    bool edited = false;  // it is
    bool failed = false;
};

struct Package : LoadedPackage {
    Package(const char* name, UciStore in) : LoadedPackage(name, in), store(in) {}

    UciStore store;
    Hold hold;
};

namespace {

constexpr size_t kWidestText = 1024;

// Those that the daemon has a name for: a handful.
std::vector<std::unique_ptr<Package>> loaded;

Package* find_loaded(const char* name, UciStore store = UciStore::Config) {
    for (const auto& package : loaded)
        if (package->store == store && strcmp(package->file().name(), name) == 0)
            return package.get();
    return nullptr;
}

/// Null if the name is none.
Package* find_package(const char* name, UciStore store = UciStore::Config) {
    if (!name) return nullptr;
    if (Package* package = find_loaded(name, store)) return package;
    if (!is_package_name(name)) return nullptr;
    return loaded.emplace_back(std::make_unique<Package>(name, store)).get();
}

/// Finds the package and brings its model up to date, within a hold only once.
Package* look_at(const char* name, UciStore store = UciStore::Config) {
    Package* package = find_package(name, store);
    if (!package || package->hold.looked) return package;
    const bool there = package->file().load();
    if (package->hold.depth > 0) {
        package->hold.looked = true;
        package->hold.state = there ? package->file().generation() : 0;
    }
    return package;
}

/// For what the caller will build on.
Package* look_to_read(const char* name, UciStore store = UciStore::Config) {
    Package* package = look_at(name, store);
    if (package && package->hold.depth > 0) package->hold.read = true;
    return package;
}

int32_t copy_text(const char* text, char* buffer, uint32_t size) {
    if (!buffer || size == 0) return -1;
    const size_t length = text ? strnlen(text, size - 1) : 0;
    memcpy(buffer, text ? text : "", length);
    buffer[length] = '\0';
    return text ? 0 : -1;
}

/// The low 32 bits of the number that strtol would read, were it wide enough.
int32_t low_bits(const char* text) {
    text += strspn(text, " \t\n\v\f\r");
    const bool negative = *text == '-';
    if (negative || *text == '+') ++text;
    uint32_t value = 0;
    for (; *text >= '0' && *text <= '9'; ++text)
        value = value * 10 + static_cast<uint32_t>(*text - '0');
    return static_cast<int32_t>(negative ? -value : value);
}

bool begin_change(Package& package, UciMissing missing) {
    Hold& hold = package.hold;
    if (hold.depth == 0) return package.file().load_for_change(missing);
    if (hold.failed || hold.locked) return hold.locked;
    if (!package.file().load_for_change(missing)) return false;
    hold.locked = true;
    const bool overtaken =
        hold.read && hold.state != 0 && hold.state != package.file().generation();
    hold.looked = true;
    return !overtaken;
}

/// Nothing of what a hold has changed so far is to be written.
int32_t fail_hold(Package& package) {
    if (package.hold.locked) package.file().discard();
    package.hold = {.depth = package.hold.depth, .failed = true};
    return -1;
}

/// Ends what `begin_change` began, as a change by itself or as a part of the hold's.
int32_t end_change(Package& package, bool changed) {
    if (package.hold.depth > 0) {
        package.hold.edited = true;
        return changed ? 0 : fail_hold(package);
    }
    if (changed) return package.file().commit() ? 0 : -1;
    package.file().discard();
    return -1;
}

/// A change that makes no sense. The model stays, and with it the names of sections added before.
int32_t refuse(Package* package) {
    return package && package->hold.depth > 0 ? fail_hold(*package) : -1;
}

/// A change in a section that does not exist: there is nothing to lose, but in a broken package.
int32_t miss(Package& package) {
    return package.file().is_unreadable() ? refuse(&package) : -1;
}

int32_t store_text(const char* name, const char* path, const char* option, const char* text) {
    Package* package = look_at(name);
    if (!package || !text || !is_name(option)) return refuse(package);
    uci_section* section = package->section(path);
    if (!section) return miss(*package);
    if (package->holds(section, option, text)) return 0;
    bool changed = begin_change(*package, UciMissing::Fail);
    if (changed) section = package->section(path);
    changed = changed && section && package->set(section, option, text);
    return end_change(*package, changed);
}

bool add_section(Package& package, const char* type, char* name, uint32_t size) {
    const uci_section* section = package.add(type);
    if (!section || strlen(section->e.name) >= size) return false;
    strcpy(name, section->e.name);
    return true;
}

int32_t end_hold(Package& package) {
    const Hold ended = std::exchange(package.hold, {});
    if (ended.failed) return -1;
    if (ended.edited) return package.file().commit() ? 0 : -1;
    if (ended.locked) package.file().leave();
    return 0;
}

}  // namespace

}  // namespace storage

using namespace storage;

void vsuci_use_directories(UciDirectories directories) {
    loaded.clear();
    uci_directories = directories;
}

int32_t vsuci_total(const char* package, const char* type, int32_t* count, int32_t) {
    if (!count) return -1;
    Package* found = look_to_read(package);
    *count = found ? static_cast<int32_t>(found->total(type)) : 0;
    return 0;
}

int32_t vsuci_get_int32(const char* package, const char* section, const char* option) {
    Package* found = look_to_read(package);
    const char* text = found ? found->text(section, option) : nullptr;
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
    if (!target || !name || !is_name(type)) return refuse(target);
    const bool begun = begin_change(*target, UciMissing::Create);
    return end_change(*target, begun && add_section(*target, type, name, size));
}

int32_t vsuci_del(const char* package, const char* section) {
    Package* target = look_at(package);
    if (!target) return -1;
    if (!target->section(section)) return miss(*target);
    const bool begun = begin_change(*target, UciMissing::Fail);
    uci_section* found = begun ? target->section(section) : nullptr;
    return end_change(*target, found && target->remove(found));
}

int32_t vsuci_get(const char* package, const char* section, const char* option, char* buffer,
                  uint32_t size) {
    Package* found = look_to_read(package);
    return copy_text(found ? found->text(section, option) : nullptr, buffer, size);
}

int32_t vsuci_set(const char* package, const char* section, const char* option, const char* value) {
    return store_text(package, section, option, value);
}

int32_t vsuci_get_zu_cfm(const char* package, const char* section, const char* option, char* buffer,
                         uint32_t size) {
    Package* found = look_to_read(package, UciStore::Factory);
    return copy_text(found ? found->text(section, option) : nullptr, buffer, size);
}

void vsuci_hold(const char* package) {
    if (Package* held = find_package(package)) ++held->hold.depth;
}

void vsuci_alternate(const char* package) {
    if (Package* found = find_package(package)) found->file().alternate();
}

int32_t vsuci_settle(const char* package) {
    Package* found = package ? find_loaded(package) : nullptr;
    return !found || found->file().settle() ? 0 : -1;
}

int32_t vsuci_release(const char* package) {
    Package* held = package ? find_loaded(package) : nullptr;
    if (!held || held->hold.depth == 0) return -1;
    if (--held->hold.depth == 0) return end_hold(*held);
    return held->hold.failed ? -1 : 0;
}
