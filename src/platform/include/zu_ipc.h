#pragma once

#include <cstdint>

// Named remote calls between the daemon and the platform's services.
//
// A call carries one record of fixed size in the caller's own byte order. The service may change
// the record; a synchronous call brings it back. Calls to one service arrive in the order in which
// they were made, queued ones included. Nothing is ever retried.

extern "C" {

/// Calls `name` and waits for the answer, which overwrites `record` (never more than `size` bytes).
/// 0 on success; anything else is the service's refusal, or -1 when there is no such name, nobody
/// answers it, or the answer makes no sense. `record` may be null when `size` is 0.
[[nodiscard]] int32_t zu_ipc_call(const char* name, void* record, uint32_t size);

/// Hands the call over and returns without waiting. 0 means that it was accepted, nothing more.
[[nodiscard]] int32_t zu_ipc_asyn_call(const char* name, const void* record, uint32_t size);

/// An entry by which other processes call this one: gets the caller's record, may change it, and
/// returns the result the caller sees. `record` is null when `size` is 0.
typedef int32_t (*zu_owal_ipc_handler)(void* record, uint32_t size);

struct zu_owal_ipc_entry {
    const char* name;
    zu_owal_ipc_handler handler;
};

/// Remembers an entry; meant for static initialisers, so it does nothing else. `entry` must live as
/// long as the process. -1 when there is no room left (64 entries) or the name is taken.
int32_t zu_owal_ipc_register(const struct zu_owal_ipc_entry* entry);

/// To be called by a handler: hands the caller rows behind its record, after those of earlier calls
/// of the same run. -1, and nothing is appended, when record and rows together would be longer than
/// 32 KiB. Does nothing, and returns 0, where the platform has no way for them.
int32_t zu_owal_ipc_append(const void* rows, uint32_t size);

/// Starts answering the registered entries on the event loop; to be called once, after
/// `uloop_init`. -1 if they cannot be offered. Does nothing where there are no entries or the
/// platform answers them by itself.
int32_t zu_owal_ipc_serve(void);
}
