#include "frame.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace {

constexpr uint8_t kVersion = 0;
constexpr size_t kShortest = sizeof(FrameHeader) + sizeof(blob_attr);

unsigned int blob_type_of(Attribute attribute) {
    switch (attribute) {
        case Attribute::Status:
        case Attribute::ObjectId:
        case Attribute::ObjectType:
            return BLOB_ATTR_INT32;
        case Attribute::ObjectPath:
        case Attribute::Method:
            return BLOB_ATTR_STRING;
        case Attribute::NoReply:
            return BLOB_ATTR_INT8;
        default:
            return BLOB_ATTR_NESTED;
    }
}

bool send_all(int fd, const char* bytes, size_t length) {
    while (length > 0) {
        ssize_t sent = ::send(fd, bytes, length, MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes += sent;
            length -= static_cast<size_t>(sent);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN) return false;
        pollfd ready{fd, POLLOUT, 0};
        if (::poll(&ready, 1, kBrokerPatience) == 0) return false;
    }
    return true;
}

}  // namespace

Frame::Frame(std::vector<char> bytes) : bytes_(std::move(bytes)) {
    FrameHeader header;
    std::memcpy(&header, bytes_.data(), sizeof(header));
    type_ = static_cast<MessageType>(header.type);
    sequence_ = ntohs(header.sequence);
    peer_ = ntohl(header.peer);

    blob_attr_info kinds[kAttributeCount] = {};
    for (int id = 0; id < kAttributeCount; ++id)
        kinds[id].type = blob_type_of(static_cast<Attribute>(id));
    std::memset(attributes_, 0, sizeof(attributes_));
    blob_parse_untrusted(blob(), bytes_.size() - sizeof(header), attributes_, kinds,
                         kAttributeCount);
}

uint32_t Frame::number(Attribute attribute) const {
    return get(attribute) ? blob_get_u32(get(attribute)) : 0;
}

const char* Frame::text(Attribute attribute) const {
    return get(attribute) ? blob_get_string(get(attribute)) : nullptr;
}

FrameReader::Result FrameReader::read(int fd) {
    for (;;) {
        size_t length = wanted();
        if (length == 0) return Result::Lost;
        if (filled_ == length) return Result::Frame;
        bytes_.resize(length);
        ssize_t count = ::recv(fd, bytes_.data() + filled_, length - filled_, 0);
        if (count > 0) {
            filled_ += static_cast<size_t>(count);
        } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
            return Result::Lost;
        } else if (errno == EAGAIN) {
            return Result::Nothing;
        }
    }
}

Frame FrameReader::take() {
    filled_ = 0;
    return Frame(std::exchange(bytes_, {}));
}

/// How long the message in the making is as far as its bytes tell; 0: it is none.
size_t FrameReader::wanted() const {
    if (filled_ < kShortest) return kShortest;
    auto* blob = reinterpret_cast<const blob_attr*>(bytes_.data() + sizeof(FrameHeader));
    size_t length = blob_raw_len(blob);
    if (bytes_[0] != kVersion || length < sizeof(blob_attr) || length > kMaxBlob) return 0;
    return sizeof(FrameHeader) + length;
}

FrameBody& FrameBody::number(Attribute attribute, uint32_t value) {
    good_ = good_ && blob_put_u32(&buffer_, static_cast<int>(attribute), value);
    return *this;
}

FrameBody& FrameBody::text(Attribute attribute, const char* value) {
    good_ = good_ && blob_put_string(&buffer_, static_cast<int>(attribute), value);
    return *this;
}

FrameBody& FrameBody::list(Attribute attribute, const blob_attr* list) {
    const void* contents = list ? blob_data(list) : nullptr;
    auto length = static_cast<unsigned int>(list ? blob_len(list) : 0);
    good_ = good_ && blob_put(&buffer_, static_cast<int>(attribute), contents, length);
    return *this;
}

bool FrameBody::send(int fd, MessageType type, uint16_t sequence, uint32_t peer) const {
    FrameHeader header{kVersion, static_cast<uint8_t>(type), htons(sequence), htonl(peer)};
    size_t length = blob_raw_len(buffer_.head);
    std::vector<char> bytes(sizeof(header) + length);
    std::memcpy(bytes.data(), &header, sizeof(header));
    std::memcpy(bytes.data() + sizeof(header), buffer_.head, length);
    return send_all(fd, bytes.data(), bytes.size());
}
