#include "platform/linux/inspect/tls.h"

#include <algorithm>

namespace platform::inspect {

namespace {

enum RecordType : uint8_t { kChangeCipherSpec = 20, kAlert, kHandshake, kApplicationData };

constexpr uint8_t kMajorVersion = 3;
constexpr size_t kRecordHeader = 5;
constexpr size_t kMaxRecord = 1 << 14;
constexpr size_t kMaxMessage = 4 + 0xffffff;
constexpr size_t kClientHello = 1;
constexpr size_t kVersionAndRandom = 2 + 32;
constexpr size_t kServerName = 0;
constexpr size_t kHostName = 0;

/// Reads numbers and blocks one after the other, of what is known to be so long and may have come
/// in part only. The first that reaches beyond its block, or beyond what has come, is the trouble;
/// from then on everything is 0, empty and at its end.
class Reader {
  public:
    Reader(Bytes there, size_t size, Reading& trouble)
        : there_(there), left_(size), trouble_(trouble) {}

    bool at_end() const { return left_ == 0 || trouble_ != Reading::Done; }

    Bytes bytes(size_t size) {
        if (trouble_ == Reading::Done && size > left_) trouble_ = Reading::Other;
        if (trouble_ == Reading::Done && size > there_.size()) trouble_ = Reading::More;
        return trouble_ == Reading::Done ? pass(size) : Bytes();
    }

    size_t number(size_t octets) {
        size_t value = 0;
        for (const auto octet : bytes(octets))
            value = value << 8 | octet;
        return value;
    }

    /// One that begins with its size, which has that many octets.
    Reader block(size_t octets) {
        const auto size = number(octets);
        if (trouble_ == Reading::Done && size > left_) trouble_ = Reading::Other;
        if (trouble_ != Reading::Done) return {Bytes(), 0, trouble_};
        return {pass(size), size, trouble_};
    }

    Bytes rest() { return bytes(left_); }

  private:
    /// What has come of the next bytes, which are then behind.
    Bytes pass(size_t size) {
        const auto passed = there_.first(std::min(size, there_.size()));
        there_ = there_.subspan(passed.size());
        left_ -= size;
        return passed;
    }

    Bytes there_;
    size_t left_;
    Reading& trouble_;
};

struct Handshake {
    std::string bytes;
    /// Something else stands behind it.
    bool ended = false;
};

// The header is looked at octet by octet, so that what is none is known at once.
bool is_handshake_record(Bytes stream) {
    return stream[0] == kHandshake && (stream.size() < 2 || stream[1] == kMajorVersion);
}

Handshake handshake_in(Bytes stream) {
    Handshake handshake;
    while (!stream.empty() && !handshake.ended) {
        handshake.ended = !is_handshake_record(stream);
        if (handshake.ended || stream.size() < kRecordHeader) break;
        const size_t length = size_t{stream[3]} << 8 | stream[4];
        stream = stream.subspan(kRecordHeader);
        handshake.ended = length == 0 || length > kMaxRecord;
        if (handshake.ended) break;
        const auto body = stream.first(std::min(length, stream.size()));
        handshake.bytes.append(body.begin(), body.end());
        stream = stream.subspan(body.size());
    }
    return handshake;
}

void read_server_name(Reader names, std::string& host) {
    while (!names.at_end()) {
        const auto kind = names.number(1);
        const auto name = names.block(2).rest();
        if (kind != kHostName) continue;
        host = host_in({reinterpret_cast<const char*>(name.data()), name.size()});
        return;
    }
}

// Its parts in order: version, random, session, ciphers, compressions, extensions.
void read_client_hello(Reader hello, std::string& host) {
    hello.bytes(kVersionAndRandom);
    hello.block(1);
    hello.block(2);
    hello.block(1);
    if (hello.at_end()) return;
    auto extensions = hello.block(2);
    while (!extensions.at_end()) {
        const auto kind = extensions.number(2);
        auto body = extensions.block(2);
        if (kind == kServerName) return read_server_name(body.block(2), host);
    }
}

}  // namespace

Reading read_hello(Bytes stream, std::string& host) {
    host.clear();
    const auto handshake = handshake_in(stream);
    const auto* begin = reinterpret_cast<const uint8_t*>(handshake.bytes.data());
    Reading trouble = Reading::Done;
    Reader messages({begin, handshake.bytes.size()}, kMaxMessage, trouble);
    const auto kind = messages.number(1);
    if (trouble == Reading::Done && kind != kClientHello) return Reading::Other;
    read_client_hello(messages.block(3), host);
    return trouble == Reading::More && handshake.ended ? Reading::Other : trouble;
}

bool is_running_tls(Bytes stream) {
    const bool is_record = stream.size() >= 2 && stream[1] == kMajorVersion;
    return is_record &&
           (stream[0] == kChangeCipherSpec || stream[0] == kAlert || stream[0] == kApplicationData);
}

}  // namespace platform::inspect
