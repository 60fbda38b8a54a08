#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "uci_file.h"

namespace storage {

/// Longest name or path of a section, in characters.
inline constexpr size_t kLongestPath = 127;

/// The sections of one type, in their order.
struct SectionsOfType {
    std::string type;
    std::vector<uci_section*> sections;
};

/// A package that stays loaded, with an index of its sections by type and place: what reads a list
/// row by row would otherwise count from the first row for each.
class LoadedPackage {
  public:
    LoadedPackage(const char* name, UciStore store) : file_(context_.get(), name, store) {}

    UciFile& file() { return file_; }

    /// The section of a name or a path "@TYPE[n]"; null if there is none, or no package.
    uci_section* section(const char* path);
    uint32_t total(const char* type);

    /// The option's text; null if section or option are missing, or if it is a list.
    const char* text(const char* path, const char* option);
    bool holds(uci_section* section, const char* option, const char* text);

    // Edits of the model, for a file that has been loaded for change.

    bool set(uci_section* section, const char* option, const char* text);
    uci_section* add(const char* type);
    bool remove(uci_section* section);

  private:
    bool look_at_model();
    const std::vector<uci_section*>& sections_of(std::string_view type);
    uci_section* find(const char* path);
    uci_ptr pointer_to(uci_section* section);
    void remember(const char* path, uci_section* section);

    UciContext context_ = uci_new_context();
    UciFile file_;
    uint32_t generation_ = 0;
    std::vector<SectionsOfType> index_;
    // The section found last: a row is read and written option by option.
    uci_section* found_ = nullptr;
    char found_path_[kLongestPath + 1] = {};
};

}  // namespace storage
