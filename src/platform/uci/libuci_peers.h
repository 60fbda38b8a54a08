#pragma once

#include <string_view>

// Living with the programs that change packages through libuci's own commit (`uci commit`, rpcd,
// netifd). It locks the file but does not look whether the file it has waited for is
// still the one the name stands for, and it unlocks before it renames its new file into place.

/// True while such a program is about to rename a new file over the package: its temporary file is
/// there. One that is older than any commit takes was left by a crash and does not count.
bool peer_is_replacing(const char* directory, const char* package);

/// Puts `text` into the locked file `old_fd` that has just been replaced. A program that waits for
/// its lock will take its content for the present one and build on it; without this it would undo
/// the change. Does nothing if the old file still has a name.
void update_waiting_peers(int old_fd, std::string_view text);

/// Unlocks and closes `fd`. Programs that were waiting for it are given up to 2 seconds to finish:
/// the file they hold is not the one that later changes lock.
void unlock_for_peers(int fd);
