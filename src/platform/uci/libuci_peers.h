#pragma once

#include <string_view>

// Living with the programs that change packages through libuci's own commit (`uci commit`, rpcd,
// netifd). It locks the file but does not look whether the file it has waited for is
// still the one the name stands for, and it unlocks before it renames its new file into place.

namespace storage {

/// True while such a program is about to rename a new file over the package: its temporary file is
/// there. One that is older than any commit takes was left by a crash and does not count.
bool peer_is_replacing(const char* directory, const char* package);

/// True while somebody has the file open for writing, as such a program has from before it waits
/// for the lock until it is done. `fd` is open for reading only, nowhere in this process for
/// writing.
bool is_open_for_writing(int fd);

/// Unlocks and closes `fd`, the locked file that has just been replaced by one of the content
/// `text`, never empty; it is open for reading only, and nowhere in this process for writing. A
/// program that waits for its lock will take the old file for the present one, build on it and undo
/// the change; it is made to find `text` there instead, and is waited for, with the request's
/// patience, because the next change locks another file. An old file that still has a name is left
/// alone.
void unlock_replaced(int fd, std::string_view text);

}  // namespace storage
