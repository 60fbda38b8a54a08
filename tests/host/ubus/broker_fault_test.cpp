// The bus library against a broker that sends what it should not.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

extern "C" {
#include <libubus.h>
}

namespace {

enum Type : uint8_t { kHello, kStatus, kData, kPing, kLookup, kInvoke, kAddObject };
enum Attribute : uint8_t {
    kStatusCode = 1,
    kObjectPath,
    kObjectId,
    kMethod,
    kObjectType,
    kSignature,
    kContents,
    kNoReply = 10,
};

std::string word(uint32_t value) {
    value = htonl(value);
    return std::string(reinterpret_cast<char*>(&value), sizeof(value));
}

std::string padded(std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string attribute(uint8_t id, const std::string& value) {
    return padded(word(uint32_t{id} << 24 | static_cast<uint32_t>(value.size() + 4)) + value);
}

struct Message {
    uint8_t type;
    uint16_t sequence;
    uint32_t peer;
    std::string attributes;
};

std::string header(const Message& message, uint8_t version = 0) {
    return std::string{static_cast<char>(version), static_cast<char>(message.type)} +
           word(message.sequence).substr(2) + word(message.peer);
}

std::string encode(const Message& message) {
    auto length = static_cast<uint32_t>(message.attributes.size() + 4);
    return header(message) + word(length) + message.attributes;
}

/// One connection's other end: greets and then does what the test says.
class Broker {
  public:
    using Script = std::function<void(Broker&)>;

    explicit Broker(Script script, std::string greeting = encode({kHello, 0, 77, ""})) {
        char name[] = "/tmp/ubus_fault.XXXXXX";
        directory_ = mkdtemp(name);
        path_ = directory_ + "/ubus.sock";
        sockaddr_un address{AF_UNIX, {}};
        path_.copy(address.sun_path, sizeof(address.sun_path) - 1);
        listener_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        EXPECT_EQ(listen(listener_, 1), 0);
        thread_ = std::thread([this, script, greeting] {
            peer_ = accept(listener_, nullptr, nullptr);
            write(greeting);
            script(*this);
            close(peer_);
        });
    }
    ~Broker() {
        thread_.join();
        close(listener_);
        std::filesystem::remove_all(directory_);
    }

    ubus_context* connect() const { return ubus_connect(path_.c_str()); }

    void write(const std::string& bytes) {
        for (size_t sent = 0; sent < bytes.size();) {
            ssize_t count = ::send(peer_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) return;
            sent += static_cast<size_t>(count);
        }
    }

    /// The next message of the client; type 255 when it has gone.
    Message read() {
        std::string head = read_bytes(12);
        if (head.size() < 12) return {255, 0, 0, ""};
        return {static_cast<uint8_t>(head[1]), static_cast<uint16_t>(number(head, 0) & 0xffff),
                number(head, 4), read_bytes((number(head, 8) & 0xffffff) - 4)};
    }

    static uint32_t number(const std::string& bytes, size_t offset) {
        uint32_t value;
        memcpy(&value, bytes.data() + offset, sizeof(value));
        return ntohl(value);
    }

  private:
    std::string read_bytes(size_t count) {
        std::string bytes(count, '\0');
        ssize_t got = count ? recv(peer_, bytes.data(), count, MSG_WAITALL) : 0;
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
        return bytes;
    }

    std::string directory_;
    std::string path_;
    int listener_;
    int peer_ = -1;
    std::thread thread_;
};

struct Client {
    explicit Client(const Broker& broker) : context(broker.connect()) {
        uloop_init();
        lost = 0;
        if (!context) return;
        context->connection_lost = [](ubus_context*) {
            ++lost;
            uloop_end();
        };
        ubus_add_uloop(context);
    }
    ~Client() {
        if (context) ubus_free(context);
        uloop_done();
    }

    /// Runs until the connection is lost, but not for longer.
    void loop(int milliseconds) {
        uloop_timeout end{};
        end.cb = [](uloop_timeout*) { uloop_end(); };
        uloop_timeout_set(&end, milliseconds);
        uloop_run();
        uloop_timeout_cancel(&end);
    }

    ubus_context* context;
    static inline int lost;
};

const std::string kStatusOk = attribute(kStatusCode, word(0));

std::string good_answer(uint16_t sequence) {
    return encode({kData, sequence, 0, attribute(kObjectId, word(5))}) +
           encode({kStatus, sequence, 0, kStatusOk});
}

// What comes before a good answer to a lookup, and what then becomes of the lookup.
struct Fault {
    const char* name;
    std::function<std::string(uint16_t sequence)> bytes;
    int status;
};

const Fault kFaults[] = {
    {"other version",
     [](uint16_t s) {
         return header({kData, s, 0, ""}, 1) + word(4);
     },
     UBUS_STATUS_CONNECTION_FAILED},
    {"no length",
     [](uint16_t s) {
         return header({kData, s, 0, ""}) + word(0);
     },
     UBUS_STATUS_CONNECTION_FAILED},
    {"length too short",
     [](uint16_t s) {
         return header({kData, s, 0, ""}) + word(3);
     },
     UBUS_STATUS_CONNECTION_FAILED},
    {"length beyond 1 MiB",
     [](uint16_t s) {
         return header({kData, s, 0, ""}) + word(1024 * 1024 + 1);
     },
     UBUS_STATUS_CONNECTION_FAILED},
    {"exactly 1 MiB",
     [](uint16_t s) {
         return encode({kData, s, 0, attribute(kContents, std::string(1024 * 1024 - 8, 0))});
     },
     UBUS_STATUS_OK},
    {"attribute longer than its message",
     [](uint16_t s) {
         return encode({kData, s, 0, word(kObjectId << 24 | 4000) + word(9)});
     },
     UBUS_STATUS_OK},
    {"attribute shorter than its header",
     [](uint16_t s) {
         return encode({kData, s, 0, word(kObjectId << 24 | 2) + word(9)});
     },
     UBUS_STATUS_OK},
    {"bytes that are no attribute",
     [](uint16_t s) {
         return encode({kData, s, 0, "abc"});
     },
     UBUS_STATUS_OK},
    {"number of a wrong width",
     [](uint16_t s) {
         return encode({kStatus, s, 0, attribute(kStatusCode, "\1")});
     },
     UBUS_STATUS_PARSE_ERROR},
    {"status without its number",
     [](uint16_t s) {
         return encode({kStatus, s, 0, ""});
     },
     UBUS_STATUS_PARSE_ERROR},
    {"unknown type",
     [](uint16_t s) {
         return encode({200, s, 0, kStatusOk});
     },
     UBUS_STATUS_OK},
    {"second greeting",
     [](uint16_t s) {
         return encode({kHello, s, 0, ""});
     },
     UBUS_STATUS_OK},
    {"unknown sequence",
     [](uint16_t s) {
         auto other = static_cast<uint16_t>(s + 1);
         return encode({kData, other, 0, attribute(kObjectId, word(9))}) +
                encode({kStatus, other, 0, attribute(kStatusCode, word(4))});
     },
     UBUS_STATUS_OK},
    {"status from another sender",
     [](uint16_t s) {
         return encode({kStatus, s, 3, attribute(kStatusCode, word(4))});
     },
     UBUS_STATUS_OK},
    {"call of nothing",
     [](uint16_t s) {
         return encode({kInvoke, s, 8, ""});
     },
     UBUS_STATUS_OK},
};

TEST(BrokerFault, MalformedFrameFailsARequestAndEndsTheConnection) {
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        Broker broker([&](Broker& self) {
            uint16_t sequence = self.read().sequence;
            self.write(fault.bytes(sequence));
            if (fault.status == UBUS_STATUS_OK) self.write(good_answer(sequence));
            self.read();
        });
        Client client(broker);
        ASSERT_TRUE(client.context);
        EXPECT_EQ(client.context->local_id, 77u);
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(client.context, "x", &id), fault.status);
        EXPECT_EQ(id, fault.status == UBUS_STATUS_OK ? 5u : 0u);
        bool fatal = fault.status == UBUS_STATUS_CONNECTION_FAILED;
        client.loop(fatal ? 2000 : 20);
        EXPECT_EQ(client.lost, fatal);
    }
}

TEST(BrokerFault, MalformedFrameEndsAnIdleConnectionOnce) {
    for (const Fault& fault : kFaults) {
        SCOPED_TRACE(fault.name);
        Broker broker([&](Broker& self) {
            self.write(fault.bytes(1) + good_answer(1));
            self.read();
        });
        Client client(broker);
        ASSERT_TRUE(client.context);
        bool fatal = fault.status == UBUS_STATUS_CONNECTION_FAILED;
        client.loop(fatal ? 2000 : 20);
        client.loop(20);
        EXPECT_EQ(client.lost, fatal);
    }
}

TEST(BrokerFault, AnswerInPiecesIsPutTogetherAndHalfAnAnswerIsALoss) {
    for (bool complete : {true, false}) {
        Broker broker([&](Broker& self) {
            std::string answer = good_answer(self.read().sequence);
            if (!complete) answer.resize(answer.size() - 3);
            for (char byte : answer) {
                self.write(std::string(1, byte));
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
        });
        Client client(broker);
        ASSERT_TRUE(client.context);
        uint32_t id = 0;
        EXPECT_EQ(ubus_lookup_id(client.context, "x", &id),
                  complete ? UBUS_STATUS_OK : UBUS_STATUS_CONNECTION_FAILED);
    }
}

TEST(BrokerFault, LookupShowsOnlyObjectsWithNameAndId) {
    Broker broker([](Broker& self) {
        uint16_t sequence = self.read().sequence;
        std::string id = attribute(kObjectId, word(9)),
                    name = attribute(kObjectPath, std::string("x", 2));
        for (const std::string& answer : {id, name, attribute(kObjectPath, "x") + id, name + id})
            self.write(encode({kData, sequence, 0, answer}));
        self.write(encode({kStatus, sequence, 0, kStatusOk}));
    });
    Client client(broker);
    std::vector<std::string> seen;
    auto note = [](ubus_context*, ubus_object_data* object, void* list) {
        EXPECT_EQ(object->id, 9u);
        static_cast<std::vector<std::string>*>(list)->push_back(object->path);
    };
    EXPECT_EQ(ubus_lookup(client.context, nullptr, note, &seen), UBUS_STATUS_OK);
    EXPECT_EQ(seen, std::vector<std::string>{"x"});
}

TEST(BrokerFault, WithoutAGreetingThereIsNoConnection) {
    for (const std::string& greeting :
         {std::string(), std::string("hello"), encode({kStatus, 0, 77, kStatusOk}),
          header({kHello, 0, 77, ""}, 9) + word(4)}) {
        Broker broker([](Broker&) {}, greeting);
        EXPECT_EQ(broker.connect(), nullptr);
    }
}

TEST(BrokerFault, RefusedObjectStaysOffTheBus) {
    Broker broker([](Broker& self) {
        self.write(encode({kStatus, self.read().sequence, 0, attribute(kStatusCode, word(2))}));
        self.write(encode({kStatus, self.read().sequence, 0, kStatusOk}));
        self.write(good_answer(self.read().sequence));
    });
    Client client(broker);
    ubus_object object{};
    EXPECT_EQ(ubus_add_object(client.context, &object), UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(ubus_add_object(client.context, &object), UBUS_STATUS_NO_DATA);
    EXPECT_EQ(object.id, 0u);
    EXPECT_EQ(ubus_add_object(client.context, &object), UBUS_STATUS_OK);
    EXPECT_EQ(object.id, 5u);
}

int greet(ubus_context*, ubus_object*, ubus_request_data*, const char*, blob_attr*) {
    return 42;
}
const ubus_method kMethods[] = {UBUS_METHOD_NOARG("greet", greet)};

TEST(BrokerFault, CallsThatCannotBeServedAreAnsweredWithTheReason) {
    const std::string object = attribute(kObjectId, word(5)), nothing = attribute(kContents, "");
    const std::string greeting = attribute(kMethod, std::string("greet", 6));
    const std::string calls[] = {
        attribute(kObjectId, word(6)) + greeting + nothing,
        object + nothing,
        object + attribute(kMethod, "greet") + nothing,
        object + greeting,
        object + attribute(kMethod, std::string("gree", 5)) + nothing,
        object + greeting + nothing + attribute(kNoReply, "\1"),
        object + greeting + nothing,
    };
    const uint32_t expected[] = {4, 2, 2, 2, 3, 42};
    std::vector<Message> answers;
    {
        Broker broker([&](Broker& self) {
            self.write(good_answer(self.read().sequence));
            uint16_t sequence = 100;
            for (const std::string& call : calls)
                self.write(encode({kInvoke, sequence++, 8, call}));
            for (size_t i = 0; i < std::size(expected); ++i)
                answers.push_back(self.read());
        });
        Client client(broker);
        ubus_object served{};
        served.methods = kMethods;
        served.n_methods = 1;
        ASSERT_EQ(ubus_add_object(client.context, &served), UBUS_STATUS_OK);
        client.loop(2000);
    }
    ASSERT_EQ(answers.size(), std::size(expected));
    for (size_t i = 0; i < answers.size(); ++i) {
        EXPECT_EQ(answers[i].type, kStatus) << i;
        EXPECT_EQ(answers[i].sequence, i < 5 ? 100 + i : 106) << i;
        EXPECT_EQ(answers[i].peer, 8u) << i;
        EXPECT_EQ(Broker::number(answers[i].attributes, 4), expected[i]) << i;
    }
}

}  // namespace
