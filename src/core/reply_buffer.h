#pragma once

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
    ReplyBuffer() { blob_buf_init(&buffer_, 0); }
    ~ReplyBuffer() { blob_buf_free(&buffer_); }
    ReplyBuffer(const ReplyBuffer&) = delete;
    ReplyBuffer& operator=(const ReplyBuffer&) = delete;

    void add(const char* name, int32_t value) {
        blobmsg_add_u32(&buffer_, name, static_cast<uint32_t>(value));
    }
    void add(const char* name, const char* text) {
        blobmsg_add_field(&buffer_, BLOBMSG_TYPE_STRING, name, text,
                          static_cast<unsigned int>(std::strlen(text) + 1));
    }
    /// An element of the array that is open.
    void add(const char* text) { add(nullptr, text); }

    /// What is added from now on goes into an array, until `close_array` with what this returned.
    [[nodiscard]] void* open_array(const char* name) { return blobmsg_open_array(&buffer_, name); }
    void close_array(void* array) { blobmsg_close_array(&buffer_, array); }

    bool empty() const { return blob_len(buffer_.head) == 0; }
    void send(ubus_context* context, ubus_request_data* request) {
        ubus_send_reply(context, request, buffer_.head);
    }

  private:
    blob_buf buffer_{};
};

}  // namespace appcfg
