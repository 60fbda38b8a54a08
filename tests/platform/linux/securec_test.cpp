#include <gtest/gtest.h>

#include <cstring>

#include "platform/include/securec.h"

namespace {

TEST(BoundedFunctions, CopyWholeTextsOrNone) {
    char text[9] = "12345678";
    EXPECT_NE(0, strcpy_s(text, 8, "12345678"));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, strcpy_s(text, 8, "1234567"));
    EXPECT_NE(0, strncpy_s(text, 8, "123456789", 8));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, strncpy_s(text, 8, "123456789", 7));
    EXPECT_STREQ("1234567", text);
    EXPECT_NE(0, strcpy_s(text, 8, nullptr));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, memcpy_s(text, 8, "12345678", 8));
    EXPECT_NE(0, memcpy_s(text, 4, "abcdefgh", 8));
    EXPECT_EQ(0, memcmp(text,
                        "\0\0\0\0"
                        "5678",
                        8));
    EXPECT_NE(0, memset_s(text, 4, 'x', 8));
    EXPECT_EQ('5', text[4]);
}

TEST(BoundedFunctions, ReadNumbers) {
    unsigned number = 7;
    EXPECT_EQ(1, sscanf_s("0x88a8", "%x", &number));
    EXPECT_EQ(-1, sscanf_s("", "%u", &number));
    EXPECT_EQ(-1, sscanf_s(nullptr, "%u", &number));
    EXPECT_EQ(0x88a8u, number);
}

}  // namespace
