#include "platform/uci/package_text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/uci/uci_names.h"

namespace storage {

std::mutex libuci_statics;

namespace {

/// Takes no more than kLargestText: what is larger ends empty.
class PackageText {
  public:
    explicit PackageText(size_t expected) { text_.reserve(std::min(expected, kLargestText)); }

    PackageText& append(std::string_view part) {
        overflown_ = overflown_ || part.size() > kLargestText - text_.size();
        if (!overflown_) text_.append(part);
        return *this;
    }
    std::string take() { return overflown_ ? std::string() : std::move(text_); }

  private:
    std::string text_;
    bool overflown_ = false;
};

void append_quoted(PackageText& to, std::string_view text) {
    to.append(" '");
    for (size_t quote; (quote = text.find('\'')) != text.npos; text.remove_prefix(quote + 1))
        to.append(text.substr(0, quote)).append("'\\''");
    to.append(text).append("'\n");
}

void append_option(PackageText& to, const uci_option& option) {
    if (option.type == UCI_TYPE_STRING) {
        to.append("\toption ").append(option.e.name);
        return append_quoted(to, option.v.string);
    }
    const uci_element* item;
    uci_foreach_element(&option.v.list, item) {
        to.append("\tlist ").append(option.e.name);
        append_quoted(to, item->name);
    }
}

void append_section(PackageText& to, const uci_section& section) {
    to.append("\nconfig ").append(section.type);
    if (section.anonymous)
        to.append("\n");
    else
        append_quoted(to, section.e.name);
    const uci_element* option;
    uci_foreach_element(&section.options, option) {
        append_option(to, *uci_to_option(option));
    }
}

int compare_names(const void* a, const void* b) {
    return strcmp(*static_cast<const char* const*>(a), *static_cast<const char* const*>(b));
}

bool names_are_unique(const uci_package& package) {
    std::vector<const char*> names;
    const uci_element* element;
    uci_foreach_element(&package.sections, element) {
        if (!uci_to_section(element)->anonymous) names.push_back(element->name);
    }
    if (!names.empty()) qsort(names.data(), names.size(), sizeof(names[0]), compare_names);
    for (size_t n = 1; n < names.size(); ++n)
        if (strcmp(names[n - 1], names[n]) == 0) return false;
    return true;
}

}  // namespace

// The parser reads from memory, since it never ends on a stream that reports a read error; it skips
// what follows a NUL, so a text with one is refused.
uci_package* parse_package(uci_context* context, const char* name, std::string text) {
    if (!context || text.find('\0') != text.npos) return nullptr;
    text += '\n';
    FILE* stream = fmemopen(text.data(), text.size(), "r");
    if (!stream) return nullptr;
    uci_package* package = nullptr;
    {
        const std::lock_guard serialised(libuci_statics);
        if (uci_import(context, stream, name, &package, true) != UCI_OK) package = nullptr;
    }
    fclose(stream);
    return package;
}

// uci_export spends more time in its thousands of fprintf than all the rest of a change takes
// beside the syncing of the disk, and writes unescaped text when memory is short.
std::string format_package(const uci_package& package, size_t expected) {
    PackageText text(expected);
    const uci_element* section;
    uci_foreach_element(&package.sections, section) {
        append_section(text, *uci_to_section(section));
    }
    return text.append("\n").take();
}

bool sections_read_back(const uci_package& package) {
    const uci_element* element;
    uci_foreach_element(&package.sections, element) {
        const uci_section& section = *uci_to_section(element);
        if (!is_type(section.type)) return false;
        if (!section.anonymous && !is_section_name(element->name)) return false;
    }
    return names_are_unique(package);
}

}  // namespace storage
