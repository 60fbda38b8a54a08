#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// The serving side of the calls between processes, on the event loop. It takes hostile callers in
// its stride: whoever sends what is no request, or does not take its replies, is hung up on.

namespace platform {

struct IpcCall {
    std::string_view name;
    bool asynchronous;
    /// Aligned for any member; what the service leaves in it goes back to the caller.
    std::span<uint8_t> record;
};

struct IpcAnswer {
    int32_t result;
    /// The caller gets its answer, and its next request is read, only after this time.
    uint32_t delay_ms = 0;
    /// Goes back behind the record; both together are at most kIpcMaxRecord long.
    std::span<const uint8_t> rows = {};
};

/// Answers one call; whatever the name and the record's size, since they come from outside.
using IpcService = IpcAnswer (*)(const IpcCall& call);

/// Serves `names` under the socket `socket` (".platformd") of the calls' directory, after
/// `uloop_init`. Once per process. What a dead process has left there is replaced. `names` and
/// `socket` must live until the end. False when the directory cannot be trusted, when another
/// process answers there, or when socket and links cannot be made.
bool ipc_server_start(const char* socket, std::span<const char* const> names, IpcService service);

/// Takes the names away and hangs up on all callers.
void ipc_server_stop();

}  // namespace platform
