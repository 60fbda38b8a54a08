#pragma once

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubus.h>
}

namespace appcfg {

/// One reply message in the making; its storage lives as long as the reply.
class ReplyBuffer {
  public:
    ReplyBuffer() : whole_(blob_buf_init(&buffer_, 0) == 0) {}
    ~ReplyBuffer() { blob_buf_free(&buffer_); }
    ReplyBuffer(const ReplyBuffer&) = delete;
    ReplyBuffer& operator=(const ReplyBuffer&) = delete;

    void add(const char* name, int32_t value) {
        const uint32_t number = htonl(static_cast<uint32_t>(value));
        add_field(BLOBMSG_TYPE_INT32, name, &number, sizeof(number));
    }
    void add(const char* name, const char* text) {
        add_field(BLOBMSG_TYPE_STRING, name, text, std::strlen(text) + 1);
    }
    /// An element of the array that is open.
    void add(const char* text) { add(nullptr, text); }

    /// What is added from now on goes into an array, until `close_array` with what this returned.
    [[nodiscard]] void* open_array(const char* name) {
        void* array = whole_ ? blobmsg_open_array(&buffer_, name) : nullptr;
        whole_ = array;
        return array;
    }
    void close_array(void* array) {
        if (array) blobmsg_close_array(&buffer_, array);
    }

    bool empty() const { return whole_ && blob_len(buffer_.head) == 0; }

    /// Sends the reply. UBUS_STATUS_NO_DATA, for the caller instead of a reply, if it could not be
    /// made or sent; a bus drops whoever sends a message that is too long.
    int send(ubus_context* context, ubus_request_data* request) {
        if (!whole_ || blob_pad_len(buffer_.head) + kEnvelope > kLongestMessage)
            return UBUS_STATUS_NO_DATA;
        return ubus_send_reply(context, request, buffer_.head) == 0 ? UBUS_STATUS_OK
                                                                    : UBUS_STATUS_NO_DATA;
    }

  private:
    static constexpr size_t kLongestMessage = 1024 * 1024;
    /// What the bus puts around the reply: the message's own head, and the object's number.
    static constexpr size_t kEnvelope = sizeof(blob_attr) + 2 * sizeof(uint32_t);

    void add_field(int type, const char* name, const void* data, size_t size) {
        whole_ = whole_ && size <= kLongestMessage &&
                 blobmsg_add_field(&buffer_, type, name, data, static_cast<unsigned>(size)) == 0;
    }

    blob_buf buffer_{};
    bool whole_;  // there was room for all that was added
};

}  // namespace appcfg
