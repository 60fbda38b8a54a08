#pragma once

#include <linux/limits.h>

#include <string_view>

#include "platform/uci/unique_fd.h"

struct stat;

// Replacing a file so that a power cut leaves the old one or the new one. The steps are separate so
// that the caller can look once more before the one that counts.

/// Where a file really is, symbolic links followed, and the temporary file beside it.
struct FilePlace {
    UniqueFd directory;
    char name[NAME_MAX + 1];
    char temporary[NAME_MAX + 1];
};

/// Finds the place of the existing file `path`; its temporary will be `.TAG.appcfgd-new`, one name,
/// so that a killed process leaves at most one.
[[nodiscard]] bool find_place(const char* path, const char* tag, FilePlace& place);

/// Writes `text` to the temporary file, with mode and owner of `like`, and syncs it. Returns it
/// open for reading; on failure nothing, and no temporary is left.
[[nodiscard]] UniqueFd write_temporary(const FilePlace& place, std::string_view text,
                                       const struct stat& like);

void remove_temporary(const FilePlace& place);

/// Renames the temporary file into place and syncs the directory.
[[nodiscard]] bool put_in_place(const FilePlace& place);
