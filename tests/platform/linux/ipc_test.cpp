#include "platform/include/zu_ipc.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <gtest/gtest.h>
#include <sys/mman.h>

#include "base/patience.h"
#include "ipc_peers.h"
#include "platform/linux/ipc_client.h"
#include "scratch.h"

namespace {

// ---- A service on the serving library, in a process of its own ----

/// What the service has been called with, in order: a text in memory that is its, too.
char* diary;

int32_t note(void* record, uint32_t size) {
    if (size == 1) strncat(diary, static_cast<char*>(record), 1);
    return 0;
}

int32_t increment(void* record, uint32_t size) {
    auto* bytes = static_cast<uint8_t*>(record);
    for (uint32_t i = 0; i < size; ++i)
        ++bytes[i];
    return static_cast<int32_t>(size);
}

int32_t is_null(void* record, uint32_t size) {
    return record == nullptr && size == 0 ? 41 : 0;
}

/// Appends rows of 100 bytes for as long as they fit.
int32_t list(void*, uint32_t size) {
    const std::string row(100, 'r');
    int32_t rows = 0;
    while (zu_owal_ipc_append(row.data(), 100) == 0)
        ++rows;
    return rows == static_cast<int32_t>((kIpcMaxRecord - size) / 100) ? 0 : rows;
}

const zu_owal_ipc_entry kEntries[] = {{"list_call", list},
                                      {"note_call", note},
                                      {"note_too_call", note},
                                      {"increment_call", increment},
                                      {"is_null_call", is_null}};

class EntriesTest : public ScratchTest {
  protected:
    EntriesTest() {
        constexpr int kFlags = MAP_SHARED | MAP_ANONYMOUS;
        diary = static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, kFlags, -1, 0));
        start();
    }
    ~EntriesTest() override { munmap(diary, 4096); }

    void start() {
        service_ = Child::run([] {
            uloop_init();
            for (const auto& entry : kEntries)
                zu_owal_ipc_register(&entry);
            if (zu_owal_ipc_serve() != 0) _exit(9);
            uloop_run();
        });
        ASSERT_TRUE(eventually([] {
            const RawSocket socket(RawSocket::connected(".appcfgd"));
            sockaddr_un address;
            return socket.fd() >= 0 && ipc_resolve("is_null_call", address);
        }));
    }

    Child service_;
};

TEST_F(EntriesTest, QueuedAndWaitingCallsArriveInOrder) {
    std::string expected;
    for (char c = 'a'; c <= 'z'; ++c) {
        const char* name = c % 2 ? "note_call" : "note_too_call";
        const bool waits = c % 5 == 0;
        ASSERT_EQ(0, waits ? zu_ipc_call(name, &c, 1) : zu_ipc_asyn_call(name, &c, 1));
        expected += c;
        ASSERT_TRUE(!waits || expected == diary) << diary;
    }
    ASSERT_EQ(0, zu_ipc_call("note_call", nullptr, 0));
    EXPECT_EQ(expected, diary);
}

TEST_F(EntriesTest, RecordsComeBackAsTheServiceLeftThem) {
    for (const uint32_t size : {1U, 160U, 2568U, 32768U}) {
        std::vector<uint8_t> record(size, 7);
        EXPECT_EQ(static_cast<int32_t>(size), zu_ipc_call("increment_call", record.data(), size));
        EXPECT_EQ(std::vector<uint8_t>(size, 8), record);
    }
    EXPECT_EQ(41, zu_ipc_call("is_null_call", nullptr, 0));
}

TEST_F(EntriesTest, RowsComeBackBehindTheRecordAndNeverToWhoHasNoRoom) {
    IpcReply reply;
    ASSERT_TRUE(ipc_call("list_call", {}, reply));
    EXPECT_EQ(0, reply.result);
    EXPECT_EQ(327U * 100, reply.record.size());
    char record[] = "before";
    EXPECT_EQ(0, zu_ipc_call("list_call", record, 3));
    EXPECT_STREQ("before", record);
    EXPECT_EQ(0, zu_ipc_call("list_call", nullptr, 0));
    EXPECT_NE(0, zu_owal_ipc_append(record, 1)) << "outside an entry";
    ASSERT_TRUE(ipc_call("is_null_call", {}, reply));
    EXPECT_TRUE(reply.record.empty()) << "rows are those of one call";
}

TEST_F(EntriesTest, CallsThatCannotBeMadeFail) {
    char record[40000] = {};
    for (const char* name : {"missing_call", "", ".appcfgd", "../zu_ipc/note_call", "a b", "a\n"})
        EXPECT_EQ(-1, zu_ipc_call(name, record, 1)) << name;
    EXPECT_EQ(-1, zu_ipc_call(nullptr, record, 1));
    EXPECT_EQ(-1, zu_ipc_call("note_call", nullptr, 1));
    EXPECT_EQ(-1, zu_ipc_asyn_call("note_call", record, sizeof(record)));
    EXPECT_EQ(-1, zu_ipc_asyn_call(std::string(5000, 'x').c_str(), record, 1));
    EXPECT_EQ(0, zu_ipc_call("note_call", record, 1)) << "and harm no call that can";
}

TEST_F(EntriesTest, DeadServiceIsNoticedAndItsSuccessorFound) {
    char c = 'x';
    ASSERT_EQ(0, zu_ipc_call("note_call", &c, 1));
    service_.end(SIGKILL);
    EXPECT_EQ(-1, zu_ipc_call("note_call", &c, 1));
    EXPECT_EQ(-1, zu_ipc_asyn_call("note_call", &c, 1));
    start();
    EXPECT_EQ(0, zu_ipc_call("note_call", &c, 1));
    service_.end(SIGKILL);
    start();  // and between calls
    EXPECT_EQ(0, zu_ipc_asyn_call("note_call", &c, 1));
    EXPECT_EQ(0, zu_ipc_call("note_call", &c, 1));
    EXPECT_STREQ("xxxx", diary);
}

TEST_F(EntriesTest, CallersThatDoNotReadFloodOrJustStayHoldNobodyUp) {
    const auto request = request_message("increment_call", false, Message(30000, 'x'));
    const RawSocket silent(RawSocket::connected(".appcfgd"));
    const RawSocket deaf(RawSocket::connected(".appcfgd"));
    auto flood = Child::run([&request] {
        const RawSocket caller(RawSocket::connected(".appcfgd"));
        while (caller.send_message(request) && !caller.receive().empty())
            continue;
    });
    int sent = 0;
    while (deaf.send_message(request) && sent < 1000)
        ++sent;
    EXPECT_LT(sent, 1000) << "who takes no answers is hung up on";
    EXPECT_EQ(41, zu_ipc_call("is_null_call", nullptr, 0));
    EXPECT_TRUE(flood.alive());
    EXPECT_TRUE(silent.send_message(request_message("is_null_call", false, "")));
    EXPECT_EQ(reply_message(41, ""), silent.receive());
}

TEST_F(EntriesTest, MalformedRequestsAreHungUpOnAndUnknownNamesRefused) {
    const auto good = request_message("is_null_call", false, "");
    auto magic = good, version = good, flags = good, name_size = good, record_size = good;
    magic[0] = 'z';
    version[4] = 2;
    flags[5] = 2;
    name_size[6] = 11;
    record_size[8] = 1;
    const auto slash = request_message("is/null_call", false, "");
    for (const auto& bad : {magic, version, flags, name_size, record_size, slash,
                            good.substr(0, 11), good + 'x', Message(kIpcMaxRequest + 1, 'Z')}) {
        const RawSocket caller(RawSocket::connected(".appcfgd"));
        ASSERT_TRUE(caller.send_message(bad));
        EXPECT_EQ("", caller.receive());
    }
    const RawSocket caller(RawSocket::connected(".appcfgd"));
    caller.send_message(request_message("unknown_call", false, "abc"));
    EXPECT_EQ(reply_message(-1, "abc"), caller.receive());
    caller.send_message(good);
    EXPECT_EQ(reply_message(41, ""), caller.receive());
}

// ---- Services that misbehave ----

class HostileServiceTest : public ScratchTest {
  protected:
    /// Serves two names: each connection is handed to `talk`, one after the other.
    void serve(const std::function<void(const RawSocket&)>& talk) {
        const int listener = listen_as(".hostile", {"one_call", "two_call"});
        service_ = Child::run([=] {
            for (;;)
                talk(RawSocket(accept(listener, nullptr, nullptr)));
        });
        close(listener);
    }

    Child service_;
};

TEST_F(HostileServiceTest, RequestsHaveTheAgreedBytes) {
    serve([](const RawSocket& caller) {
        for (auto request = caller.receive(); !request.empty(); request = caller.receive())
            caller.send_message(reply_message(static_cast<int32_t>(request.size()), request));
    });
    char record[64] = "ab";
    ASSERT_EQ(12 + 8 + 64, zu_ipc_call("one_call", record, sizeof(record)));
    const char expected[] = "ZIPC\x01\x00\x08\x00\x40\x00\x00\x00one_callab";
    EXPECT_EQ(0, memcmp(expected, record, sizeof(expected)));
    ASSERT_EQ(12 + 8, zu_ipc_call("two_call", nullptr, 0));
}

TEST_F(HostileServiceTest, MalformedRepliesFailTheCallLeaveTheRecordAndDropTheConnection) {
    const auto good = reply_message(3, "1234");
    auto magic = good, longer = good, shorter = good;
    magic[3] = 'X';
    longer[8] = 5;
    shorter[8] = 3;
    const Message cut = good.substr(0, 11), too_long(kIpcMaxReply + 1, 'Z');
    const std::vector<Message> bad = {magic, longer, shorter, cut, good + 'x', too_long};
    serve([&bad, &good](const RawSocket& caller) {
        static size_t next = 0;
        for (; !caller.receive().empty(); ++next)
            caller.send_message(next % 2 == 0 ? bad[next / 2] : good);
    });
    for (size_t i = 0; i < bad.size(); ++i) {
        char record[] = "abcd";
        EXPECT_EQ(-1, zu_ipc_call("one_call", record, 4)) << i;
        EXPECT_STREQ("abcd", record) << i;
        EXPECT_EQ(3, zu_ipc_call("one_call", record, 2)) << i;
        EXPECT_STREQ("12cd", record) << "no more than there is room for";
    }
}

TEST_F(HostileServiceTest, AnswersNobodyAskedForAreNotTakenForLaterOnes) {
    int sent[2];
    ASSERT_EQ(0, pipe(sent));
    serve([sent](const RawSocket& caller) {
        static int32_t connection = 0;
        ++connection;
        while (!caller.receive().empty()) {
            for (const int32_t result : {10 * connection, 10 * connection + 1})
                caller.send_message(reply_message(result, ""));
            if (write(sent[1], "", 1) != 1) _exit(1);
        }
    });
    const std::pair<const char*, int32_t> calls[] = {
        {"one_call", 10}, {"two_call", 20}, {nullptr, 0}, {"one_call", 40}};
    for (const auto& [name, result] : calls) {
        char token;
        EXPECT_EQ(result,
                  name ? zu_ipc_call(name, nullptr, 0) : zu_ipc_asyn_call("one_call", nullptr, 0));
        EXPECT_EQ(1, read(sent[0], &token, 1));
    }
    close(sent[0]);
    close(sent[1]);
}

TEST_F(HostileServiceTest, ServiceThatDiesInMidCallFailsThatCallOnly) {
    serve([](const RawSocket& caller) {
        static int calls = 0;
        if (caller.receive().empty() || ++calls == 1) return;
        caller.send_message(reply_message(0, ""));
        caller.receive();
    });
    EXPECT_EQ(-1, zu_ipc_call("one_call", nullptr, 0));
    EXPECT_EQ(0, zu_ipc_call("one_call", nullptr, 0));
}

TEST_F(HostileServiceTest, QueuedCallsToAServiceThatDoesNotReadFailInTimeAndLoseNothingQueued) {
    int gate[2];
    ASSERT_EQ(0, pipe(gate));
    serve([gate](const RawSocket& caller) {
        static char go = 0;
        while (!go && read(gate[0], &go, 1) != 1)
            continue;
        int32_t queued = 0;
        for (auto request = caller.receive(); !request.empty(); request = caller.receive())
            request[5] == kIpcAsynchronous ? void(++queued)
                                           : void(caller.send_message(reply_message(queued, "")));
    });
    const std::string record(8192, 'x');
    int32_t accepted = 0;
    const auto begin = std::chrono::steady_clock::now();
    {
        const base::RequestPatience request;
        while (zu_ipc_asyn_call("one_call", record.data(), 8192) == 0)
            ++accepted;
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(-1, zu_ipc_asyn_call("one_call", record.data(), 8192));
    }
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_GT(accepted, 0);
    ASSERT_EQ(1, write(gate[1], "g", 1));
    EXPECT_EQ(accepted, zu_ipc_call("two_call", nullptr, 0));
    close(gate[0]);
    close(gate[1]);
}

}  // namespace
