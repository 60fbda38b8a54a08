#include "vsuci.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cstring>

#include "scratch.h"

namespace {

using Vsuci = Scratch;

TEST_F(Vsuci, ReadsWhatIsThereAndDefaultsWhereNothingIs) {
    write("app_t",
          "config row\n\toption n '-12'\n\toption big '4294967297'\n\toption word 'x12'\n"
          "\toption blanks ' \t +12x3'\n\toption minus ' -'\n\tlist l 'x'\nconfig row "
          "'named'\n\toption s 'hello'\n");
    EXPECT_EQ(total("app_t", "row"), 2);
    EXPECT_EQ(vsuci_get_int32("app_t", "@row[0]", "n"), -12);
    EXPECT_EQ(vsuci_get_int32("app_t", "@row[0]", "big"), 1);
    EXPECT_EQ(vsuci_get_int32("app_t", "@row[0]", "blanks"), 12);
    for (const char* option : {"word", "minus", "l", "absent"})
        EXPECT_EQ(vsuci_get_int32("app_t", "@row[0]", option), 0) << option;
    EXPECT_EQ(get("app_t", "@row[1]", "s"), "hello");
    char cut[4];
    EXPECT_EQ(vsuci_get_string(cut, sizeof(cut), "app_t", "named", "s"), 0);
    EXPECT_STREQ(cut, "hel");
    EXPECT_EQ(vsuci_get_string(cut, sizeof(cut), "app_t", "named", "absent"), -1);
    EXPECT_STREQ(cut, "");
    EXPECT_EQ(total("missing", "row"), 0);

    std::ofstream(factory + "/board") << "config x 'x'\n\toption s 'made'\n";
    EXPECT_EQ(vsuci_get_zu_cfm("board", "x", "s", cut, sizeof(cut)), 0);
    EXPECT_STREQ(cut, "mad");
}

TEST_F(Vsuci, WritesWhatTheGatewaysOwnToolWouldWrite) {
    write("app_t", "# note\nconfig row 'first'\n\tlist l 'x'\n\tlist l 'y'\n\toption s 'old'\n");
    ASSERT_TRUE(add_row("app_t", 7));
    ASSERT_EQ(vsuci_set("app_t", "first", "s", "it's"), 0);
    EXPECT_EQ(vsuci_set_string("12345", 4, "app_t", "@ROW[0]", "a"), 0);
    EXPECT_EQ(vsuci_set_string("", 10, "app_t", "@ROW[0]", "b"), 0);
    for (const uint32_t width : {0u, 1025u})
        EXPECT_EQ(vsuci_set_string("1", width, "app_t", "@ROW[0]", "a"), -1) << width;
    EXPECT_EQ(read("app_t"),
              "\nconfig row 'first'\n\tlist l 'x'\n\tlist l 'y'\n\toption s 'it'\\''s'\n"
              "\nconfig ROW\n\toption c '7'\n\toption a '123'\n\n");
    EXPECT_EQ(vsuci_set("app_t", "first", "l", ""), 0);
    EXPECT_EQ(vsuci_del("app_t", "@ROW[0]"), 0);
    EXPECT_EQ(vsuci_del("app_t", "@ROW[0]"), -1);
    EXPECT_EQ(read("app_t"), "\nconfig row 'first'\n\toption s 'it'\\''s'\n\n");
}

TEST_F(Vsuci, TextsSurviveByteForByte) {
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    const std::string texts[] = {all,  "'", "\\", "\"\\'", "a\n\nb", "\n",
                                 "#x", " ", "\t", "\r\n",  "'\n'",   std::string(70000, '\'')};
    ASSERT_TRUE(add_row("app_t", 1));
    for (const auto& text : texts) {
        ASSERT_EQ(vsuci_set("app_t", "@ROW[0]", "b", text.c_str()), 0);
        reopen();
        char read_back[80000];
        EXPECT_EQ(vsuci_get("app_t", "@ROW[0]", "b", read_back, sizeof(read_back)), 0);
        EXPECT_EQ(read_back, text);
        EXPECT_EQ(vsuci_get_int32("app_t", "@ROW[0]", "c"), 1);
    }
}

TEST_F(Vsuci, WhatIsNoNameIsNotThere) {
    ASSERT_TRUE(add_row("app_t", 1));
    const std::string text = read("app_t");
    const std::string longest(300, 'a');
    char name[128];
    for (const char* package : {"", "..", "../config/app_t", "a b", "app_t\n", longest.c_str(),
                                static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(get(package, "@ROW[0]", "a"), "(none)");
        EXPECT_EQ(vsuci_add(package, "ROW", name, sizeof(name)), -1);
        vsuci_hold(package);
        EXPECT_EQ(vsuci_release(package), -1);
    }
    for (const char* section :
         {"", "@ROW", "@ROW[", "@ROW[]", "@ROW[-1]", "@ROW[1]", "@ROW[0", "@ROW[0]x", "@[0]",
          "@ROW[4294967296]", "@ROW[ 0]", longest.c_str(), static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(get("app_t", section, "a"), "(none)");
        EXPECT_EQ(vsuci_set("app_t", section, "a", "2"), -1);
        EXPECT_EQ(vsuci_del("app_t", section), -1);
    }
    for (const char* bad :
         {"", "a b", "a'", "a\n", "a.b", longest.c_str(), static_cast<const char*>(nullptr)}) {
        EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", bad, "2"), -1);
        EXPECT_EQ(vsuci_add("app_t", bad, name, sizeof(name)), -1);
    }
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", nullptr), -1);
    EXPECT_EQ(vsuci_add("app_new", "ROW", name, 3), -1);
    EXPECT_EQ(read("app_t"), text);
    EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
}

TEST_F(Vsuci, SeesTheEditsOfOthersOnTheNextCall) {
    write("app_t", "config row 'r'\n\toption a '1'\n");
    EXPECT_EQ(get("app_t", "r", "a"), "1");
    write(".replacement", "config row 'r'\n\toption a '2'\n");
    std::filesystem::rename(path(".replacement"), path("app_t"));
    EXPECT_EQ(get("app_t", "r", "a"), "2");
    std::ofstream(path("app_t"), std::ios::app) << "\toption b '3'\n";
    EXPECT_EQ(get("app_t", "r", "b"), "3");
    ASSERT_EQ(vsuci_set("app_t", "r", "c", "4"), 0);
    EXPECT_EQ(get("app_t", "r", "b"), "3");
}

// libuci makes names up from a running number: were the package parsed again after a change of our
// own, the later rows would get others.
TEST_F(Vsuci, MadeUpNamesAvoidThoseInUse) {
    char name[128];
    ASSERT_EQ(vsuci_add("app_t", "ROW", name, sizeof(name)), 0);
    const std::string taken = name;
    std::string next = taken;
    next[4] = '2';
    write("app_t", "config other '" + next + "'\n");
    ASSERT_EQ(vsuci_add("app_t", "ROW", name, sizeof(name)), 0);
    EXPECT_NE(name, next);
    EXPECT_EQ(vsuci_set("app_t", name, "a", "1"), 0);
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "1");
    EXPECT_EQ(total("app_t", "ROW"), 1);
}

TEST_F(Vsuci, AHoldIsOneChangeOfTheFileOrNone) {
    ASSERT_TRUE(add_row("app_t", 1));
    const auto before = read("app_t");
    const auto inode = status("app_t").st_ino;
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "1"), 0);
    vsuci_hold("app_t");
    for (const char* option : {"a", "b"})
        EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", option, "2"), 0);
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "2");
    EXPECT_EQ(read("app_t"), before);
    EXPECT_EQ(status("app_t").st_ino, inode);
    EXPECT_EQ(vsuci_release("app_t"), 0);
    EXPECT_EQ(vsuci_release("app_t"), -1);
    reopen();
    EXPECT_EQ(get("app_t", "@ROW[0]", "b"), "2");
}

TEST_F(Vsuci, AFailedChangeVoidsTheWholeHold) {
    ASSERT_TRUE(add_row("app_t", 1));
    const auto before = read("app_t");
    vsuci_hold("app_t");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "2"), 0);
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "no name", "2"), -1);
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "c", "2"), -1);
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "1");
    EXPECT_EQ(vsuci_release("app_t"), -1);
    vsuci_hold("app_t");
    EXPECT_TRUE(add_row("app_t", 2));
    vsuci_hold("app_t");
    EXPECT_EQ(vsuci_add("app_t", "no type", nullptr, 0), -1);
    EXPECT_EQ(vsuci_release("app_t"), -1);
    EXPECT_FALSE(add_row("app_t", 3));
    EXPECT_EQ(total("app_t", "ROW"), 1);
    EXPECT_EQ(vsuci_release("app_t"), -1);
    EXPECT_EQ(read("app_t"), before);
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "2"), 0);
}

TEST_F(Vsuci, ASetInAMissingSectionIsNoFailureOfTheHold) {
    vsuci_hold("app_t");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "1"), -1);
    EXPECT_EQ(vsuci_release("app_t"), 0);
}

TEST_F(Vsuci, AHoldThatWasOvertakenFailsInsteadOfChangingAnotherRow) {
    ASSERT_TRUE(add_row("app_t", 1));
    vsuci_hold("app_t");
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "1");
    write("app_t", "config ROW\n\toption a 'other'\n");
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "1");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "2"), -1);
    EXPECT_EQ(vsuci_release("app_t"), -1);
    EXPECT_EQ(read("app_t"), "config ROW\n\toption a 'other'\n");
    // One that has only written knows of no row that could have become another.
    vsuci_hold("app_t");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "other"), 0);
    write("app_t", "config ROW\n\toption a 'another'\n");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "b", "2"), 0);
    EXPECT_EQ(vsuci_release("app_t"), 0);
    EXPECT_EQ(get("app_t", "@ROW[0]", "a"), "another");
}

// Quotes take four times the room that they may have had in a file made by hand.
TEST_F(Vsuci, APackageDoesNotGrowWithoutBounds) {
    const std::string text = "config r 'r'\n\toption a \"" + std::string(3 << 20, '\'') + "\"\n";
    write("app_t", text);
    EXPECT_EQ(vsuci_set("app_t", "r", "b", "1"), -1);
    EXPECT_EQ(read("app_t"), text);
    EXPECT_EQ(vsuci_set("app_t", "r", "a", std::string(4 << 20, 'x').c_str()), -1);
    EXPECT_EQ(vsuci_set("app_t", "r", "a", std::string(2 << 20, 'x').c_str()), 0);
    EXPECT_EQ(entries(), std::set<std::string>{"app_t"});
}

TEST_F(Vsuci, WhatDoesNotParseIsLeftAsItIs) {
    char name[128];
    const std::string texts[] = {"option a '1'\n", "config row\n\toption a 'open\n",
                                 std::string("config ROW\n") + '\0' + "\n",
                                 "config row 'r'\nconfig ROW 'r'\n",
                                 "config ROW\n#" + std::string(5 << 20, 'x')};
    for (const auto& text : texts) {
        write("app_t", text);
        EXPECT_EQ(total("app_t", "ROW"), 0);
        EXPECT_EQ(vsuci_add("app_t", "ROW", name, sizeof(name)), -1);
        EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "1"), -1);
        EXPECT_EQ(read("app_t"), text);
    }
    write("app_t", "config ROW\n");
    EXPECT_EQ(vsuci_set("app_t", "@ROW[0]", "a", "1"), 0);
    std::filesystem::create_directory(path("app_d"));
    ASSERT_EQ(mkfifo(path("app_f").c_str(), 0600), 0);
    symlink("nowhere", path("app_l").c_str());
    for (const char* no_file : {"app_d", "app_f", "app_l"})
        EXPECT_EQ(vsuci_add(no_file, "ROW", name, sizeof(name)), -1) << no_file;
    EXPECT_EQ(entries(), (std::set<std::string>{"app_d", "app_f", "app_l", "app_t"}));
    std::filesystem::remove_all(config);
    EXPECT_EQ(vsuci_add("app_t", "ROW", name, sizeof(name)), -1);
}

}  // namespace
