#pragma once

#include <linux/limits.h>

#include <string_view>

#include "base/unique_fd.h"

namespace base {

enum class Durable : bool {
    No,   ///< for what is made anew at every start
    Yes,  ///< synced, the folder too: after a power cut there is the old file or the new one
};

/// A file in the making, beside the one whose place it is to take: whoever reads finds the old file
/// or the new one, never half of one. Nobody who may write into the folder as well can stop that or
/// be written to: a temporary name that is occupied is given up for one that cannot be guessed, a
/// link in the place of the file is replaced, and a folder there is moved away.
///
/// create, append, finish and put_in_place are to be called in this order, each only after the ones
/// before succeeded; the steps are separate so that the caller can give the file its owner and look
/// once more before the one that counts.
class FileReplacement {
  public:
    /// `path` is taken as it is: a symbolic link at its end is not followed.
    FileReplacement(const char* path, Durable durable);
    /// What has not been put in place leaves no trace.
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    /// Makes the temporary file, with mode 0600. It is `.NAME.appcfgd-new`, one name, so that a
    /// killed process leaves at most one, and the next one removes it.
    [[nodiscard]] bool create();
    bool is_created() const { return static_cast<bool>(fd_); }
    /// The file, open for writing until it is finished.
    int fd() const { return fd_.get(); }

    [[nodiscard]] bool append(std::string_view bytes);
    [[nodiscard]] bool finish();

    /// The finished file, open for reading.
    UniqueFd reopen() const;

    [[nodiscard]] bool put_in_place();

    /// Instead of put_in_place: exchanges the finished file with the one in its place, in one step
    /// that is not synced. That one now has the temporary name, and goes with this object; until
    /// then to exchange them again puts it back. False, with nothing changed, if there is no such
    /// file or the file system cannot.
    [[nodiscard]] bool change_places();
    [[nodiscard]] bool sync_folder();

  private:
    bool make_temporary(const char* infix);

    UniqueFd directory_;
    UniqueFd fd_;
    Durable durable_;
    bool exists_ = false;
    char name_[NAME_MAX + 1] = {};
    char temporary_[NAME_MAX + 1] = {};
};

}  // namespace base
