#pragma once

#include <cstdint>
#include <string_view>

#include "base/replace_file.h"

// Files of one domain a line. A new list is written beside the old one and takes its place when it
// is complete, so that whoever reads a list finds the old one, the new one or none, but never half
// of one; and what others may have put under its name in /tmp is replaced, never written through.
// They are made anew at every start, so nobody waits for the disk.

namespace appcfg {

/// A host list in the making. What has not been published leaves no trace.
class HostListFile {
  public:
    explicit HostListFile(const char* path) : file_(path, base::Durable::No) {}

    /// These return false when the file cannot be made or written; it is made on first use.
    [[nodiscard]] bool append_domain(const char* domain);
    [[nodiscard]] bool append(std::string_view bytes);

    /// Puts the list, empty if nothing was appended, in the place of the old one, with mode 0644.
    /// False when that fails: the old one then stays. To be called once, last.
    [[nodiscard]] bool publish();

  private:
    bool make();

    base::FileReplacement file_;
};

/// Makes the file at `destination` a copy of the one at `source`; -1 when it cannot, or when either
/// of them does not exist. A symbolic link is no source.
[[nodiscard]] int32_t copy_dnsfilter_file(const char* source, const char* destination);

}  // namespace appcfg
