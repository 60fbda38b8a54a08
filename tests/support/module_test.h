#pragma once

#include <sys/resource.h>

#include "core/mib_chain.h"
#include "support/recording_platform.h"
#include "support/scratch.h"

/// While it lives, no file can be written to, as on a full disk.
class FullDisk {
  public:
    FullDisk();
    ~FullDisk();
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

  private:
    rlimit before_{};
};

/// A module on the recording platform, its packages in a scratch folder that starts out with the
/// gateway's default ones.
class ModuleTest : public ScratchFolderTest {
  protected:
    explicit ModuleTest(int32_t (*register_tables)());

    /// Replaces a package; the text is the file's.
    void write_package(const std::string& name, const std::string& text);
    std::string read_package(const std::string& name) const;

    using Names = std::vector<std::string>;
    /// The platform calls since this was last asked.
    static Names calls() { return recording_platform::take_names(); }
};
