// The platform's helpers around the operating system: commands, ebtables, the log gate, texts.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <cstdlib>

#include "platform/include/zu_ebtables.h"
#include "platform/include/zu_log.h"
#include "platform/include/zu_os.h"
#include "platform/linux/log_gate.h"
#include "scratch.h"

namespace {

class CommandTest : public ScratchTest {
  protected:
    std::string out() const { return (directory() / "out").string(); }
};

// A program named ebtables, first in the PATH, notes its words.
TEST_F(CommandTest, EbtablesGetsWordsThatNoShellHasRead) {
    const std::string path = getenv("PATH");
    const auto program = directory() / "ebtables";
    write_file(program, "#!/bin/sh\nexec >>" + out() + "; printf '[%s]' \"$@\"; echo\n");
    std::filesystem::permissions(program, std::filesystem::perms::owner_all);
    setenv("PATH", (directory().string() + ":" + path).c_str(), 1);
    EXPECT_EQ(0, zu_ebtables_newchain("nat", "SPEED", "RETURN"));
    EXPECT_EQ(0,
              zu_ebtables_rule_op("nat", "-A", "C; exit 1", " $(exit 1) \t`x`;* \"a b\" '$HOME' "));
    EXPECT_EQ(0, zu_ebtables_rule_op("nat", "-D", "C", "-s 2:0:0:0:0:1 -j cfe --qid 127"));
    EXPECT_EQ(0, zu_ebtables_rule_op("nat", "-A", "C", "-j cfe --qid 128"));
    EXPECT_EQ(0, zu_ebtables_flushchain("nat", "SPEED"));
    EXPECT_EQ(0, zu_ebtables_delchain("nat", "SPEED"));
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(
        "[-t][nat][-N][SPEED][-P][RETURN]\n"
        "[-t][nat][-A][C; exit 1][$(exit][1)][`x`;*][\"a][b\"]['$HOME']\n"
        "[-t][nat][-D][C][-s][2:0:0:0:0:1][-j][mark][--mark-or][0xfe000000][--mark-target][RETURN]"
        "\n"
        "[-t][nat][-A][C][-j][cfe][--qid][128]\n"
        "[-t][nat][-F][SPEED]\n[-t][nat][-X][SPEED]\n",
        read_file(out()));
}

TEST_F(CommandTest, RunsLinesWithTheShell) {
    EXPECT_EQ(0, zu_os_vcmd("echo a%db | tr b c >%s", 7, out().c_str()));
    EXPECT_EQ("a7c\n", read_file(out()));
    EXPECT_EQ(3, WEXITSTATUS(zu_os_execcmd("exit 3")));
    EXPECT_EQ(-1, zu_os_execcmd(nullptr));
    EXPECT_EQ(-1, zu_os_vcmd("echo %01020d", 0)) << "what does not fit is not cut";
}

TEST_F(CommandTest, ChildrenInheritNeitherDescriptorsNorSignalSettings) {
    const auto leak = fopen((directory() / "leak").c_str(), "w");
    for (const int ignored : {SIGPIPE, SIGHUP})
        signal(ignored, SIG_IGN);
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, nullptr);
    EXPECT_EQ(0, zu_os_vcmd("ls -l /proc/self/fd >%s; grep Sig[BI] /proc/self/status >>%s",
                            out().c_str(), out().c_str()));
    sigprocmask(SIG_UNBLOCK, &term, nullptr);
    for (const int ignored : {SIGPIPE, SIGHUP})
        signal(ignored, SIG_DFL);
    fclose(leak);
    const auto seen = read_file(out());
    EXPECT_EQ(seen.npos, seen.find("leak")) << seen;
    EXPECT_NE(seen.npos, seen.find("SigBlk:\t0000000000000000")) << seen;
    EXPECT_NE(seen.npos, seen.find("SigIgn:\t0000000000000000")) << seen;
}

class LogGateTest : public ScratchTest {
  protected:
    ~LogGateTest() override { reopen_log_gate(); }
    std::string file() const { return (run() / "zu_log").string(); }

    static uint32_t level_of(uint32_t module) {
        uint32_t level = 9;
        while (level > 0 && !zu_log_print_on(module, level))
            --level;
        return level;
    }
};

constexpr uint32_t kSecurity = 0x410d000;
constexpr uint32_t kQos = 0x410c000;

TEST_F(LogGateTest, LevelsTakeEffectOnTheNextLine) {
    EXPECT_EQ(3U, level_of(kSecurity));
    EXPECT_EQ(512U, std::filesystem::file_size(file()));
    ASSERT_TRUE(set_log_level(kSecurity, 7));
    ASSERT_TRUE(set_log_level(kQos, 4));
    ASSERT_TRUE(set_log_level(kSecurity, 0));
    EXPECT_EQ(0U, level_of(kSecurity));
    EXPECT_EQ(std::string("\x00\xd0\x10\x04\0\0\0\0\x00\xc0\x10\x04\x04\0\0\0", 16),
              read_file(file()).substr(0, 16));
}

}  // namespace
