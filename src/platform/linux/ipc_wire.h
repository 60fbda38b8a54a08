#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <type_traits>

// The messages between a caller and a service: one SOCK_SEQPACKET message each way, in host byte
// order. A request is its header, the name without NUL and the record; a reply is its header and
// the record as the service left it. An asynchronous request gets no reply.

namespace platform {

inline constexpr char kIpcMagic[4] = {'Z', 'I', 'P', 'C'};
inline constexpr uint8_t kIpcVersion = 1;
inline constexpr uint8_t kIpcAsynchronous = 1;
inline constexpr size_t kIpcMaxName = 63;
inline constexpr size_t kIpcMaxRecord = 32768;
/// What a service answers to calls it does not know or cannot make sense of.
inline constexpr int32_t kIpcRefused = -1;

struct IpcRequestHeader {
    char magic[4];
    uint8_t version;
    uint8_t flags;
    uint16_t name_length;
    uint32_t record_size;
};
static_assert(sizeof(IpcRequestHeader) == 12);
static_assert(offsetof(IpcRequestHeader, version) == 4);
static_assert(offsetof(IpcRequestHeader, flags) == 5);
static_assert(offsetof(IpcRequestHeader, name_length) == 6);
static_assert(offsetof(IpcRequestHeader, record_size) == 8);
static_assert(std::has_unique_object_representations_v<IpcRequestHeader>);

struct IpcReplyHeader {
    char magic[4];
    int32_t result;
    uint32_t record_size;
};
static_assert(sizeof(IpcReplyHeader) == 12);
static_assert(offsetof(IpcReplyHeader, result) == 4);
static_assert(offsetof(IpcReplyHeader, record_size) == 8);
static_assert(std::has_unique_object_representations_v<IpcReplyHeader>);

inline constexpr size_t kIpcMaxRequest = sizeof(IpcRequestHeader) + kIpcMaxName + kIpcMaxRecord;
inline constexpr size_t kIpcMaxReply = sizeof(IpcReplyHeader) + kIpcMaxRecord;

struct IpcRequest {
    std::string_view name;
    bool asynchronous;
    std::span<const uint8_t> record;
};

struct IpcReply {
    int32_t result;
    std::span<const uint8_t> record;
};

/// True for names that can be called: 1 to 63 letters, digits, '_', '-' and '.', no '.' in front.
bool ipc_name_ok(std::string_view name);

IpcRequestHeader ipc_request_header(std::string_view name, bool asynchronous, uint32_t record_size);
IpcReplyHeader ipc_reply_header(int32_t result, uint32_t record_size);

/// Take a received message apart; what they give points into it. False for anything that is not
/// exactly one well-formed message.
bool ipc_parse_request(std::span<const uint8_t> message, IpcRequest& request);
bool ipc_parse_reply(std::span<const uint8_t> message, IpcReply& reply);

}  // namespace platform
