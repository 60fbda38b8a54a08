#include <gtest/gtest.h>

#include <string>

#include "core/reply_buffer.h"
#include "support/recording_bus.h"

using namespace appcfg;

// A bus drops whoever sends a message of more than 1 MiB.
TEST(ReplyBufferTest, ReplyThatWouldCostThePlaceOnTheBusIsNotSent) {
    const std::string half(1 << 19, 'x');
    for (const auto& [texts, status] :
         {std::pair{1, UBUS_STATUS_OK}, std::pair{2, UBUS_STATUS_NO_DATA}}) {
        ReplyBuffer reply;
        for (int i = 0; i < texts; ++i)
            reply.add("text", half.c_str());
        EXPECT_EQ(reply.send(nullptr, nullptr), status) << texts;
    }
    ReplyBuffer reply;
    reply.add("text", std::string(1 << 21, 'x').c_str());
    EXPECT_EQ(reply.send(nullptr, nullptr), UBUS_STATUS_NO_DATA);
}
