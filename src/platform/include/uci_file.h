#pragma once

#include <uci.h>

#include <cstdint>
#include <memory>
#include <string_view>

struct stat;

namespace storage {
class FormerFile;
}

// The one way in which this process reads and changes UCI packages.
//
// libuci parses and holds the model; the file itself is handled here, because libuci's own load and
// commit lose data on a gateway: they publish edits that other programs have not committed yet,
// rename a half-written file into place when the disk is full, and never sync the directory.
//
// A reader calls `load` and walks `package()`. A writer calls `load_for_change`, edits the model
// with libuci (uci_set, uci_add_section, uci_rename, uci_delete, uci_add_list, uci_del_list) and
// calls `commit`. From `load_for_change` to `commit` or `discard` the package is locked against
// every other writer, libuci's and vsuci included: no sleeping, no commands, no bus calls in
// between.
//
// Several threads may do this at once, each with a context and a UciFile of its own; libuci
// is not made for that and is serialised here. Nobody else in this process may call
// uci_alloc_context, uci_load, uci_import, uci_commit or uci_save.

struct UciContextFree {
    void operator()(uci_context* context) const { uci_free_context(context); }
};
using UciContext = std::unique_ptr<uci_context, UciContextFree>;

/// A context in which only a UciFile can load packages: libuci's own loading finds nothing, so that
/// a lookup never drags in another program's pending edits. Null when out of memory.
[[nodiscard]] UciContext uci_new_context();

enum class UciStore : uint8_t {
    Config,   ///< /etc/config
    Factory,  ///< /rom/config, read-only
};

enum class UciMissing : uint8_t {
    Fail,    ///< a package that is not there cannot be loaded
    Create,  ///< it is made, empty, readable and writable by its owner only (as `uci` does)
};

/// What stat(2) tells of one state of a file.
struct UciFileState {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t size = -1;
    int64_t modified_ns = 0;
    int64_t changed_ns = 0;

    static UciFileState of(const struct stat& file);
    bool operator==(const UciFileState&) const = default;
};

/// One package, loaded in `context` while it lives. The context must outlive it, and hold no second
/// UciFile of the same name.
class UciFile {
  public:
    /// Longest package name, in characters.
    static constexpr uint32_t kLongestName = 63;

    /// `package` is a bare name of letters, digits, '_' and '-'; anything else cannot be loaded.
    UciFile(uci_context* context, const char* package, UciStore store = UciStore::Config);
    ~UciFile();
    UciFile(const UciFile&) = delete;
    UciFile& operator=(const UciFile&) = delete;

    /// Makes the model that of the file as it is now; a file that has not changed since it was last
    /// looked at is not read again. False, and no model, if the package is missing, larger than
    /// 4 MiB, or does not parse. Inside a change it leaves the model alone.
    bool load();

    /// Takes the lock that libuci takes for a commit (flock on the file itself) and then loads.
    /// While somebody else holds it, tries again every millisecond, for 2 seconds or for as long as
    /// the request has patience (base/patience.h). False, with nothing locked, if that was in vain
    /// or the package cannot be loaded or written.
    [[nodiscard]] bool load_for_change(UciMissing missing = UciMissing::Fail);

    /// Replaces the file by the model and unlocks it; mode and owner stay. True only when the
    /// change would survive a power cut; the model then stays loaded. Otherwise the file is left as
    /// it was (unless the very last step, syncing the directory, failed) and the model is gone.
    /// A `uci commit` that has been waiting for the lock is waited for in the same way.
    /// Texts survive byte for byte; names that libuci would write but not read back (a section
    /// renamed to "a b", two sections of one name, a type with a quote) are refused.
    [[nodiscard]] bool commit();

    /// From here on a commit keeps the file that it replaces, until the next one. Changing back to
    /// its content, byte for byte, is then one rename: nothing is written, nothing synced. For
    /// packages that go to and fro between two contents while others look at them. After a power
    /// cut there is one of the contents that were there since the last commit that wrote.
    void alternate() { alternates_ = true; }

    /// Ends that, and removes the kept file. True if what was committed would survive a power cut.
    /// A process that is killed before leaves the kept file; the next commit of anybody here
    /// removes it.
    [[nodiscard]] bool settle();

    /// Unlocks the package and throws the model away.
    void discard();

    /// Unlocks a package whose model has not been edited; it stays loaded. One that was made for
    /// the change goes again.
    void leave();

    /// True if the last load found a file that is no package: one that does not parse, say.
    bool is_unreadable() const { return loaded_fd_ >= 0 && !package_; }

    /// The model, null unless the last load succeeded. Pointers into it are good until `load` finds
    /// the file changed, `discard`, or a failed `commit`.
    uci_package* package() const { return package_; }

    /// The package's name; empty if it was none.
    const char* name() const { return name_; }

    /// Grows whenever the file is read: equal values mean that pointers into the model still hold.
    uint32_t generation() const { return generation_; }

  private:
    bool read_if_changed();
    bool read_from(int fd);
    bool bring_back(std::string_view text);
    bool replace(std::string_view text);
    bool drop_former();
    bool is_as_loaded() const;
    void forget();
    void unlock();

    uci_context* context_;
    uci_package* package_ = nullptr;
    UciFileState state_;
    uint32_t generation_ = 0;
    int loaded_fd_ = -1;
    int lock_fd_ = -1;
    bool created_ = false;
    bool alternates_ = false;
    std::unique_ptr<storage::FormerFile> former_;
    const char* directory_;
    char name_[kLongestName + 1] = {};
    char path_[256] = {};
};
