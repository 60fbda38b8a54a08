// The bus library against a broker that sends what it should not.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <iterator>
#include <string>
#include <thread>

extern "C" {
#include <libubus.h>
}

namespace {

enum Type : uint8_t { kHello, kStatus, kData, kInvoke = 5 };
enum Attribute : uint8_t { kStatusCode = 1, kObjectPath, kObjectId, kMethod, kContents = 7 };

std::string word(uint32_t value) {
    value = htonl(value);
    return std::string(reinterpret_cast<char*>(&value), sizeof(value));
}

std::string attribute(uint8_t id, const std::string& value) {
    std::string bytes = word(uint32_t{id} << 24 | static_cast<uint32_t>(value.size() + 4)) + value;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

struct Frame {
    uint8_t type = kData;
    std::string attributes{};
    int length = -1;  // what the frame says of itself; -1: the truth
    uint8_t version = 0;
    uint32_t peer = 0, ahead = 0;  // ahead of the sequence that is due

    std::string bytes(uint32_t sequence) const {
        auto blob = length < 0 ? attributes.size() + 4 : static_cast<size_t>(length);
        return std::string{static_cast<char>(version), static_cast<char>(type)} +
               word(sequence + ahead).substr(2) + word(peer) + word(static_cast<uint32_t>(blob)) +
               attributes;
    }
};

/// Sends the first bytes apart, so that frames arrive in pieces.
void write(int peer, const std::string& bytes) {
    send(peer, bytes.data(), 5, MSG_NOSIGNAL);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    send(peer, bytes.data() + 5, bytes.size() - 5, MSG_NOSIGNAL);
}

/// The sequence of the client's next request, 0 when it has gone.
uint32_t read_sequence(int peer) {
    uint8_t request[4096] = {};
    recv(peer, request, sizeof(request), 0);
    return request[3];
}

const std::string kOk = attribute(kStatusCode, word(0)), kBad = attribute(kStatusCode, word(4));
const std::string kName = attribute(kObjectPath, std::string("x", 2));
const std::string kGreet = attribute(kMethod, std::string("greet", 6));
const std::string kId = attribute(kObjectId, word(5));

std::string good_answer(uint32_t sequence) {
    return Frame{kData, kName + kId}.bytes(sequence) + Frame{kStatus, kOk}.bytes(sequence);
}

// What comes before a good answer to a lookup, and what then becomes of the lookup.
struct Fault {
    const char* name;
    Frame frame;
    int status = UBUS_STATUS_OK;
    bool hang_up = false;
};
const Fault kFaults[] = {
    {"other version", {.version = 1}, UBUS_STATUS_CONNECTION_FAILED},
    {"length too short", {.length = 3}, UBUS_STATUS_CONNECTION_FAILED},
    {"length beyond 1 MiB", {.length = 1024 * 1024 + 1}, UBUS_STATUS_CONNECTION_FAILED},
    {"end within a frame", {.length = 4000}, UBUS_STATUS_CONNECTION_FAILED, true},
    {"attribute too long", {.attributes = kName + word(kObjectId << 24 | 4000) + word(9)}},
    {"no attribute", {.attributes = "abc"}},
    {"object without name", {.attributes = kId}},
    {"name without end", {.attributes = attribute(kObjectPath, "x") + kId}},
    {"narrow number", {kStatus, attribute(kStatusCode, "\1")}, UBUS_STATUS_PARSE_ERROR},
    {"status without number", {kStatus}, UBUS_STATUS_PARSE_ERROR},
    {"status of no request", {.type = kStatus, .attributes = kBad, .ahead = 1}},
    {"status from another sender", {.type = kStatus, .attributes = kBad, .peer = 3}},
    {"call of no method",
     {.type = kInvoke, .attributes = kId + attribute(kContents, ""), .peer = 8}},
    {"call without arguments", {.type = kInvoke, .attributes = kId + kGreet, .peer = 8}},
};

/// The broker's side of one connection: takes an object in and misbehaves, perhaps on a lookup.
void serve(int listener, const Fault& fault, bool on_lookup) {
    int peer = accept(listener, nullptr, nullptr);
    write(peer, Frame{kHello}.bytes(0));
    uint32_t sequence = read_sequence(peer);
    write(peer, good_answer(sequence));
    if (on_lookup) sequence = read_sequence(peer);
    write(peer, fault.frame.bytes(sequence) + good_answer(sequence));
    while (!fault.hang_up && read_sequence(peer) != 0)
        continue;
    close(peer);
}

/// Whether the connection was found lost in this time.
bool is_lost(ubus_context* client, int milliseconds) {
    static bool lost;
    uloop_timeout end{};
    lost = false;
    client->connection_lost = [](ubus_context*) {
        lost = true;
        uloop_end();
    };
    end.cb = [](uloop_timeout*) { uloop_end(); };
    uloop_timeout_set(&end, milliseconds);
    uloop_run();
    uloop_timeout_cancel(&end);
    return lost;
}

void note(ubus_context*, ubus_object_data* object, void* seen) {
    *static_cast<std::string*>(seen) += object->path + std::to_string(object->id);
}

TEST(BrokerFault, MalformedFrameHarmsNothingOrEndsTheConnection) {
    const std::string path = "/tmp/ubus_fault." + std::to_string(getpid());
    const ubus_method methods[] = {UBUS_METHOD_NOARG("greet", nullptr)};
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    for (size_t i = 0; i < 2 * std::size(kFaults); ++i) {
        const Fault& fault = kFaults[i / 2];
        bool waiting = i % 2, fatal = fault.status == UBUS_STATUS_CONNECTION_FAILED;
        SCOPED_TRACE(fault.name + std::string(waiting ? ", waiting" : ", idle"));
        std::thread broker(serve, listener, fault, waiting);
        uloop_init();
        ubus_context* client = ubus_connect(path.c_str());
        ubus_add_uloop(client);
        ubus_object object{};
        object.methods = methods;
        object.n_methods = 1;
        EXPECT_EQ(ubus_add_object(client, &object), UBUS_STATUS_OK);
        std::string seen;
        if (waiting) {
            EXPECT_EQ(ubus_lookup(client, nullptr, note, &seen), fault.status);
            EXPECT_EQ(seen, fault.status == UBUS_STATUS_OK ? "x5" : "");
        }
        EXPECT_EQ(is_lost(client, fatal ? 2000 : 20), fatal);
        ubus_free(client);
        uloop_done();
        broker.join();
    }
    close(listener);
    unlink(path.c_str());
}

}  // namespace
