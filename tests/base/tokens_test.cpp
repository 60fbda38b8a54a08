#include "base/tokens.h"

#include <gtest/gtest.h>

namespace {

TEST(Tokens, CopiesAreBoundedAndEnded) {
    base::Tokens tokens("abcd abc ab", " ");
    char token[4];
    for (const char* text : {"abc", "abc", "ab"}) {
        EXPECT_TRUE(tokens.next(token));
        EXPECT_STREQ(text, token);
    }
    EXPECT_FALSE(tokens.next(token));
    EXPECT_STREQ("", token);
}

}  // namespace
