#pragma once

#include <cstddef>
#include <cstdint>

// Files of one domain a line. A new list is written beside the old one and takes its place when it
// is complete, so that whoever reads a list finds the old one, the new one or none, but never half
// of one; and what others may have put under its name in /tmp is replaced, never written through.

namespace appcfg {

/// A host list in the making, to stand at `path`, which must live as long.
class HostListFile {
  public:
    explicit HostListFile(const char* path);
    /// What has not been published leaves no trace.
    ~HostListFile();
    HostListFile(const HostListFile&) = delete;
    HostListFile& operator=(const HostListFile&) = delete;

    /// These return false when the file cannot be made or written; it is made on first use.
    [[nodiscard]] bool append_domain(const char* domain);
    [[nodiscard]] bool append(const void* bytes, size_t size);

    /// Puts the list, empty if nothing was appended, in the place of the old one, with mode 0644.
    /// False when that fails: the old one then stays. To be called once, last.
    [[nodiscard]] bool publish();

  private:
    bool open_new();

    const char* path_;
    char new_path_[72];
    int fd_ = -1;
};

/// Makes the file at `destination` a copy of the one at `source`; -1 when it cannot, or when either
/// of them does not exist. A symbolic link is no source.
[[nodiscard]] int32_t copy_dnsfilter_file(const char* source, const char* destination);

}  // namespace appcfg
