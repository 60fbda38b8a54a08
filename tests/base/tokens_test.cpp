#include "base/tokens.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/// Where reading beyond the end is noticed.
std::vector<std::string> split(const std::string& text, std::string_view separators) {
    const std::vector<char> exact(text.begin(), text.end());
    base::Tokens tokens({exact.data(), exact.size()}, separators);
    std::vector<std::string> found;
    for (std::string_view token; tokens.next(token);)
        found.emplace_back(token);
    EXPECT_EQ(text, std::string(exact.begin(), exact.end()));
    return found;
}

using Found = std::vector<std::string>;

TEST(Tokens, EmptyFieldsAreSkippedWhateverSeparatesThem) {
    EXPECT_EQ((Found{"LAN1", "100", "SSID2", "50"}), split("LAN1/100,SSID2/50", "/,"));
    EXPECT_EQ((Found{"a", "b"}), split(",,a/,/b,", "/,"));
    EXPECT_EQ(Found{}, split(",/,", "/,"));
    EXPECT_EQ((Found{std::string("a\0b", 3)}), split(std::string("a\0b", 3), ","));
}

TEST(Tokens, CopiesAreBoundedAndEnded) {
    base::Tokens tokens("abcd abc ab", " ");
    char token[4];
    const Found expected = {"abc", "abc", "ab"};
    for (const auto& text : expected) {
        EXPECT_TRUE(tokens.next(token));
        EXPECT_EQ(text, token);
    }
    EXPECT_FALSE(tokens.next(token));
    EXPECT_STREQ("", token);
}

}  // namespace
