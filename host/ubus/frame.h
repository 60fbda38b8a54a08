#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "libubus.h"

// Messages as they travel between a program and the broker: an 8-byte header in network byte order,
// then one blob whose attributes are the message. Nothing received is trusted: what cannot be a
// header ends the connection, since nothing behind it can be found; an attribute that is not what
// its id promises counts as missing, since it may be another program's doing.

/// The longest blob either side sends; the header comes on top.
inline constexpr size_t kMaxBlob = 1024 * 1024;

/// How long, in milliseconds, a broker may take to answer for itself or to accept more bytes.
inline constexpr int kBrokerPatience = 10000;

enum class MessageType : uint8_t {
    Hello,
    Status,
    Data,
    Ping,
    Lookup,
    Invoke,
    AddObject,
    RemoveObject,
    Monitor = 11,
};

enum class Attribute {
    Status = 1,
    ObjectPath = 2,
    ObjectId = 3,
    Method = 4,
    ObjectType = 5,
    Signature = 6,
    Data = 7,
    NoReply = 10,
};
inline constexpr int kAttributeCount = 11;

struct FrameHeader {
    uint8_t version;
    uint8_t type;
    uint16_t sequence;
    uint32_t peer;
};
static_assert(sizeof(FrameHeader) == 8);

/// One received message, complete and of a plausible header.
class Frame {
  public:
    explicit Frame(std::vector<char> bytes);
    Frame(Frame&&) = default;  // and no copies: the attributes point into the bytes

    MessageType type() const { return type_; }
    uint16_t sequence() const { return sequence_; }
    uint32_t peer() const { return peer_; }

    /// All of the message but its header, unchecked.
    blob_attr* blob() { return reinterpret_cast<blob_attr*>(bytes_.data() + sizeof(FrameHeader)); }

    /// The attribute, or nullptr when it is missing or of the wrong kind. Numbers are 32 bits wide
    /// (NoReply: 8), texts end in NUL.
    blob_attr* get(Attribute attribute) const { return attributes_[static_cast<int>(attribute)]; }

    /// The number's value, or 0.
    uint32_t number(Attribute attribute) const;

    /// The text, or nullptr.
    const char* text(Attribute attribute) const;

  private:
    std::vector<char> bytes_;
    MessageType type_;
    uint16_t sequence_;
    uint32_t peer_;
    blob_attr* attributes_[kAttributeCount];
};

/// Puts the bytes of a stream together to messages.
class FrameReader {
  public:
    enum class Result { Frame, Nothing, Lost };

    /// Reads without waiting: Frame when a message is complete (take it), Nothing when more bytes
    /// must come first, Lost when none will or they are no message; it then stays Lost.
    Result read(int fd);
    Frame take();

  private:
    size_t wanted() const;

    std::vector<char> bytes_;
    size_t filled_ = 0;
};

/// The attributes of a message to send.
class FrameBody {
  public:
    FrameBody() : good_(blob_buf_init(&buffer_, 0) == 0) {}
    ~FrameBody() { blob_buf_free(&buffer_); }
    FrameBody(const FrameBody&) = delete;
    FrameBody& operator=(const FrameBody&) = delete;

    FrameBody& number(Attribute attribute, uint32_t value);
    FrameBody& text(Attribute attribute, const char* value);

    /// Puts the contents of `list` under `attribute`; nullptr: nothing in it.
    FrameBody& list(Attribute attribute, const blob_attr* list);

    /// Whether all of it is there and the broker would take it.
    bool sendable() const { return good_ && blob_pad_len(buffer_.head) <= kMaxBlob; }

    /// Sends all of it, however long, waiting for the broker to accept it. False when the broker is
    /// gone or accepts nothing any more.
    bool send(int fd, MessageType type, uint16_t sequence, uint32_t peer) const;

  private:
    blob_buf buffer_{};
    bool good_;
};
