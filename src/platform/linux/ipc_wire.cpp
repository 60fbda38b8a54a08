#include "platform/linux/ipc_wire.h"

#include <cstring>

#include "base/names.h"

namespace platform {

namespace {

template <class Header>
bool take_header(std::span<const uint8_t>& message, Header& header) {
    if (message.size() < sizeof(header)) return false;
    memcpy(&header, message.data(), sizeof(header));
    message = message.subspan(sizeof(header));
    return memcmp(header.magic, kIpcMagic, sizeof(kIpcMagic)) == 0;
}

}  // namespace

bool ipc_name_ok(std::string_view name) {
    return base::is_name(name, kIpcMaxName) && name.front() != '.';
}

IpcRequestHeader ipc_request_header(std::string_view name, bool asynchronous,
                                    uint32_t record_size) {
    IpcRequestHeader header{};
    memcpy(header.magic, kIpcMagic, sizeof(kIpcMagic));
    header.version = kIpcVersion;
    header.flags = asynchronous ? kIpcAsynchronous : 0;
    header.name_length = static_cast<uint16_t>(name.size());
    header.record_size = record_size;
    return header;
}

IpcReplyHeader ipc_reply_header(int32_t result, uint32_t record_size) {
    IpcReplyHeader header{};
    memcpy(header.magic, kIpcMagic, sizeof(kIpcMagic));
    header.result = result;
    header.record_size = record_size;
    return header;
}

bool ipc_parse_request(std::span<const uint8_t> message, IpcRequest& request) {
    IpcRequestHeader header;
    if (!take_header(message, header)) return false;
    if (header.version != kIpcVersion || (header.flags & ~kIpcAsynchronous) != 0) return false;
    if (message.size() != uint64_t{header.name_length} + header.record_size) return false;
    request.name = {reinterpret_cast<const char*>(message.data()), header.name_length};
    request.asynchronous = header.flags == kIpcAsynchronous;
    request.record = message.subspan(header.name_length);
    return ipc_name_ok(request.name) && request.record.size() <= kIpcMaxRecord;
}

bool ipc_parse_reply(std::span<const uint8_t> message, IpcReply& reply) {
    IpcReplyHeader header;
    if (!take_header(message, header)) return false;
    reply.result = header.result;
    reply.record = message;
    return message.size() == header.record_size;
}

}  // namespace platform
