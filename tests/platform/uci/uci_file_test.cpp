#include "uci_file.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "base/patience.h"
#include "platform/uci/package_text.h"
#include "scratch.h"

namespace {

class UciFileTest : public Scratch {
  protected:
    static bool set(const UciContext& by, UciFile& file, const char* option, const char* value) {
        uci_ptr pointer = {};
        pointer.p = file.package();
        pointer.package = file.name();
        pointer.section = "r";
        pointer.option = option;
        pointer.value = value;
        return uci_set(by.get(), &pointer) == UCI_OK;
    }
    static bool change(const UciContext& by, const char* package, const char* option,
                       const char* value) {
        UciFile file(by.get(), package);
        return file.load_for_change() && set(by, file, option, value) && file.commit();
    }
    bool change(const char* package = "network") { return change(context, package, "a", "1"); }

    UciContext context = uci_new_context();
};

TEST_F(UciFileTest, ModeOwnerAndLinksOfTheFileStay) {
    std::filesystem::create_directory(folder + "/elsewhere");
    std::ofstream(folder + "/elsewhere/real") << "config row 'r'\n";
    chmod((folder + "/elsewhere/real").c_str(), 0640);
    const bool owned_by_another = chown((folder + "/elsewhere/real").c_str(), 12, 34) == 0;
    symlink("../elsewhere/real", path("network").c_str());
    ASSERT_TRUE(change());
    EXPECT_TRUE(std::filesystem::is_symlink(path("network")));
    EXPECT_EQ(read("network"), "\nconfig row 'r'\n\toption a '1'\n\n");
    EXPECT_EQ(status("network").st_mode & 07777, 0640u);
    EXPECT_EQ(status("network").st_gid, owned_by_another ? 34u : getgid());
    EXPECT_EQ(entries(), std::set<std::string>{"network"});
}

TEST_F(UciFileTest, WritesByteForByteWhatLibuciExports) {
    write(
        "network",
        "package x\nconfig row 'r'\n\toption q '''it'\\''s'\n\toption e ''\n\tlist l ''\n\tlist l "
        "\"a'\"\nconfig row\nconfig bridge-vlan v\n\toption m 'one\ntwo'\n");
    UciFile file(context.get(), "network");
    ASSERT_TRUE(file.load());
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    ASSERT_EQ(uci_export(context.get(), stream, file.package(), false), UCI_OK);
    fclose(stream);
    EXPECT_EQ(storage::format_package(*file.package(), 0), std::string(text, size));
    free(text);
}

TEST_F(UciFileTest, PendingEditsOfOthersAreNeitherSeenNorPublished) {
    const std::string package = "appcfgd_pending_" + std::to_string(getpid());
    const std::string pending = "/tmp/.uci/" + package;
    std::filesystem::create_directory("/tmp/.uci");
    write(package, "config row 'r'\n");
    std::ofstream(pending) << package << ".r.pending='1'\n";
    ASSERT_TRUE(change(package.c_str()));
    EXPECT_EQ(read(package), "\nconfig row 'r'\n\toption a '1'\n\n");
    std::string lookup = package + ".r.a";
    uci_ptr pointer;
    EXPECT_NE(uci_lookup_ptr(context.get(), &pointer, lookup.data(), true), UCI_OK);
    EXPECT_TRUE(std::filesystem::remove(pending));
}

TEST_F(UciFileTest, TheWaitsOfARequestShareOneBudget) {
    write("network", "config row 'r'\n");
    const int other = open(path("network").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    const auto start = std::chrono::steady_clock::now();
    {
        const base::RequestPatience request;
        for (int n = 0; n < 10; ++n) {
            const base::RequestPatience nested;
            EXPECT_FALSE(change());
        }
        flock(other, LOCK_UN);
        EXPECT_TRUE(change());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    const base::Wait unbounded_by_that;
    EXPECT_GT(unbounded_by_that.left(), std::chrono::milliseconds(1000));
    close(other);
}

TEST_F(UciFileTest, AProgramThatLocksNothingIsNotOverwritten) {
    write("network", "config row 'r'\n");
    UciFile file(context.get(), "network");
    ASSERT_TRUE(file.load_for_change() && set(context, file, "a", "1"));
    write("network", "config theirs 'r'\n");
    EXPECT_FALSE(file.commit());
    EXPECT_EQ(read("network"), "config theirs 'r'\n");
    EXPECT_TRUE(change());
}

// libuci unlocks the file and then renames its new one into place.
TEST_F(UciFileTest, ACommitThatHasUnlockedButNotRenamedIsAwaited) {
    write("network", "config row 'r'\n");
    write(".network.uci-aBcDeF", "config row 'r'\n\toption theirs '1'\n");
    std::thread committer([&] {
        usleep(100'000);
        std::filesystem::rename(path(".network.uci-aBcDeF"), path("network"));
    });
    EXPECT_TRUE(change());
    committer.join();
    EXPECT_EQ(read("network"), "\nconfig row 'r'\n\toption theirs '1'\n\toption a '1'\n\n");
}

std::string text_of(int fd) {
    char text[256] = {};
    return {text, text + std::max<ssize_t>(pread(fd, text, sizeof(text), 0), 0)};
}

// A program in libuci's commit builds on the file that it has opened, whatever its name says by the
// time it gets the lock, and replaces whatever has been committed until it is done.
TEST_F(UciFileTest, WhoCommitsOnTheOldFileFindsTheNewContentInItAndIsAwaited) {
    for (const bool has_another_name : {false, true}) {
        write("network", "config row 'r'\n\toption a 'a long text that will go away'\n");
        const std::string old_text = read("network");
        if (has_another_name) link(path("network").c_str(), path("backup").c_str());
        UciFile file(context.get(), "network");
        ASSERT_TRUE(file.load_for_change() && set(context, file, "a", "1"));
        const int waiting = open(path("network").c_str(), O_RDWR | O_CLOEXEC);
        std::string found;
        std::atomic<bool> done = false;
        std::thread peer([&] {
            flock(waiting, LOCK_EX);
            usleep(50'000);
            found = text_of(waiting);
            done = true;
            close(waiting);
        });
        ASSERT_TRUE(file.commit());
        EXPECT_TRUE(done || has_another_name);
        peer.join();
        EXPECT_EQ(found, has_another_name ? old_text : read("network"));
    }
    EXPECT_EQ(read("backup"), "config row 'r'\n\toption a 'a long text that will go away'\n");
}

}  // namespace
