#include "core/bounded.h"

#include <gtest/gtest.h>

#include <string>

#include "core/reply_buffer.h"

using namespace appcfg;

TEST(BoundedTest, TextThatDoesNotFitIsReportedWhereItWasAskedForOrCut) {
    char text[4] = "old";
    testing::internal::CaptureStdout();
    const int line = __LINE__ + 1;
    copy_text(text, "four");
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(printed.starts_with("TestBody," + std::to_string(line) + " :strcpy_s return["));
    EXPECT_TRUE(printed.ends_with("] failed \r\n"));
    EXPECT_STREQ(text, "");
    testing::internal::CaptureStdout();
    cut_text(text, "four");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_STREQ(text, "fou");
}

TEST(ReplyBufferTest, LongestMessageOfTheBusIsSentAndALongerOneIsNone) {
    for (const size_t length : {1048551u, 1048552u, 5000000u}) {
        appcfg::ReplyBuffer reply;
        reply.add("x", std::string(length, 'x').c_str());
        EXPECT_EQ(reply.send(nullptr, nullptr), length == 1048551 ? 0 : UBUS_STATUS_NO_DATA);
    }
}
