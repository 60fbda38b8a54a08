#pragma once

#include <string_view>

#include "base/replace_file.h"
#include "uci_file.h"

namespace storage {

/// The file that a change of a package replaces, kept under the temporary name for as long as its
/// content may be wanted back: to bring it back is one rename, without writing or syncing. It goes
/// with this object.
class FormerFile {
  public:
    /// `path` is the package's file, no link to it.
    explicit FormerFile(const char* path) : replacement_(path, base::Durable::Yes) {}

    /// The new file, to be written and finished.
    base::FileReplacement& replacement() { return replacement_; }

    /// Puts the new file in place, durably; the old one is kept if it `may_return` and the file
    /// system can exchange two files.
    [[nodiscard]] bool replace(bool may_return);
    bool is_kept() const { return kept_; }

    /// Takes over `fd`, the replaced file, open for reading, whose state was `state`.
    void remember(int fd, const UciFileState& state);

    /// True if the file has just this content, and the mode and owner of the one that is open in
    /// `present`.
    bool can_replace(int present, std::string_view text) const;

    /// Exchanges it with the present file, which is open in `fd` and in `state`: they become those
    /// of the file that was kept. It is on the disk by then; its name is only after `settle`.
    [[nodiscard]] bool change_places(int& fd, UciFileState& state);

    /// True if a power cut would not bring back what stood before the last exchange.
    [[nodiscard]] bool settle();

  private:
    base::FileReplacement replacement_;
    base::UniqueFd fd_;
    UciFileState state_;
    bool kept_ = false;
    bool synced_ = false;
    bool settled_ = true;
};

}  // namespace storage
