// The bus library and its tool against the real broker, and against an independent client and
// provider, both in the roles of caller and of called.

#include <gtest/gtest.h>
#include <json-c/json.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kPatience = 5000;

class Message {
  public:
    Message() { blob_buf_init(&buffer_, 0); }
    explicit Message(const std::string& json) : Message() {
        EXPECT_TRUE(blobmsg_add_json_from_string(&buffer_, json.c_str())) << json;
    }
    ~Message() { blob_buf_free(&buffer_); }
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    blob_buf* buffer() { return &buffer_; }
    blob_attr* head() { return buffer_.head; }

  private:
    blob_buf buffer_{};
};

std::string to_json(blob_attr* message) {
    char* text = blobmsg_format_json(message, true);
    std::string json = text;
    free(text);
    return json;
}

void collect(ubus_request* request, int, blob_attr* message) {
    static_cast<std::vector<std::string>*>(request->priv)->push_back(to_json(message));
}

struct Reply {
    int status;
    std::vector<std::string> data;
};

Reply invoke(ubus_context* context, const char* object, const char* method,
             const std::string& arguments = "{}", int timeout = kPatience) {
    Reply reply{};
    uint32_t id = 0;
    reply.status = ubus_lookup_id(context, object, &id);
    if (reply.status != UBUS_STATUS_OK) return reply;
    Message message(arguments);
    reply.status = ubus_invoke(context, id, method, message.head(), collect, &reply.data, timeout);
    return reply;
}

// The provider that the tests run in processes of its own.

int calls_served = 0;

int echo(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
         blob_attr* message) {
    ++calls_served;
    return ubus_send_reply(context, request, message);
}

int refuse(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
           blob_attr*) {
    Message reply(R"({"reason":"closed"})");
    ubus_send_reply(context, request, reply.head());
    return UBUS_STATUS_PERMISSION_DENIED;
}

int stay_silent(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    ubus_request_data kept;
    ubus_defer_request(context, request, &kept);
    return UBUS_STATUS_OK;
}

struct Answer : uloop_timeout {
    ubus_context* context;
    ubus_request_data request;

    void send(const char* json) {
        Message reply(json);
        ubus_send_reply(context, &request, reply.head());
    }
};

/// Replies at once, and again half a second later.
int answer_late(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    auto* answer = new Answer{};
    answer->context = context;
    ubus_defer_request(context, request, &answer->request);
    answer->send(R"({"late":false})");
    answer->cb = [](uloop_timeout* timeout) {
        auto* due = static_cast<Answer*>(timeout);
        due->send(R"({"late":true})");
        ubus_complete_deferred_request(due->context, &due->request, UBUS_STATUS_NO_DATA);
        delete due;
    };
    uloop_timeout_set(answer, 500);
    return UBUS_STATUS_OK;
}

int return_what_is_no_status(ubus_context*, ubus_object*, ubus_request_data*, const char*,
                             blob_attr*) {
    return 256;
}

enum { kPath, kTimeout, kRelayArguments };
const blobmsg_policy kRelayPolicy[] = {{"path", BLOBMSG_TYPE_ARRAY},
                                       {"timeout", BLOBMSG_TYPE_INT32}};

/// Calls the first object of the path, which calls the next one with half the time and so on, and
/// replies with what came of it.
int relay(ubus_context* context, ubus_object* self, ubus_request_data* request, const char* method,
          blob_attr* message) {
    ++calls_served;
    blob_attr* arguments[kRelayArguments];
    blobmsg_parse(kRelayPolicy, kRelayArguments, arguments, blob_data(message), blob_len(message));
    auto timeout = static_cast<int>(blobmsg_get_u32(arguments[kTimeout]));
    Message next;
    void* rest = blobmsg_open_array(next.buffer(), "path");
    const char* target = nullptr;
    blob_attr* name;
    size_t left;
    blobmsg_for_each_attr(name, arguments[kPath], left) {
        if (target) blobmsg_add_string(next.buffer(), nullptr, blobmsg_get_string(name));
        if (!target) target = blobmsg_get_string(name);
    }
    blobmsg_close_array(next.buffer(), rest);
    blobmsg_add_u32(next.buffer(), "timeout", static_cast<uint32_t>(timeout / 2));

    Message reply;
    blobmsg_add_string(reply.buffer(), "by", self->name);
    uint32_t id;
    if (target && ubus_lookup_id(context, target, &id) == UBUS_STATUS_OK) {
        std::vector<std::string> replies;
        int status = ubus_invoke(context, id, method, next.head(), collect, &replies, timeout);
        blobmsg_add_u32(reply.buffer(), "status", static_cast<uint32_t>(status));
        for (auto& text : replies)
            blobmsg_add_string(reply.buffer(), "reply", text.c_str());
    }
    return ubus_send_reply(context, request, reply.head());
}

int count_calls(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    Message reply;
    blobmsg_add_u32(reply.buffer(), "served", static_cast<uint32_t>(calls_served));
    return ubus_send_reply(context, request, reply.head());
}

int nest_deeply(ubus_context* context, ubus_object*, ubus_request_data* request, const char*,
                blob_attr*) {
    Message reply;
    std::vector<void*> open(100000);
    for (void*& array : open)
        array = blobmsg_open_array(reply.buffer(), "");
    for (; !open.empty(); open.pop_back())
        blobmsg_close_array(reply.buffer(), open.back());
    return ubus_send_reply(context, request, reply.head());
}

const blobmsg_policy kEchoPolicy[] = {
    {"text", BLOBMSG_TYPE_STRING},  {"number", BLOBMSG_TYPE_INT32}, {"flag", BLOBMSG_TYPE_BOOL},
    {"items", BLOBMSG_TYPE_ARRAY},  {"table", BLOBMSG_TYPE_TABLE},  {"big", BLOBMSG_TYPE_INT64},
    {"ratio", BLOBMSG_TYPE_DOUBLE},
};
const ubus_method kTimeoutShown = {.name = "calls",
                                   .handler = count_calls,
                                   .mask = 1 << kTimeout,
                                   .tags = 0,
                                   .policy = kRelayPolicy,
                                   .n_policy = kRelayArguments};
const ubus_method kMethods[] = {
    UBUS_METHOD("echo", echo, kEchoPolicy), UBUS_METHOD("relay", relay, kRelayPolicy),
    UBUS_METHOD_NOARG("refuse", refuse),    UBUS_METHOD_NOARG("silent", stay_silent),
    UBUS_METHOD_NOARG("late", answer_late), kTimeoutShown,
    UBUS_METHOD_NOARG("deep", nest_deeply), UBUS_METHOD_NOARG("odd", return_what_is_no_status),
};
ubus_object_type object_type = UBUS_OBJECT_TYPE("tested", kMethods);

ubus_object make_object(const char* name) {
    ubus_object object{};
    object.name = name;
    object.type = &object_type;
    object.methods = kMethods;
    object.n_methods = ARRAY_SIZE(kMethods);
    return object;
}

/// Serves until the broker goes; the exit status tells how.
int provide(const char* socket, const char* name) {
    uloop_init();
    ubus_context* context = ubus_connect(socket);
    if (!context) return 1;
    ubus_add_uloop(context);
    ubus_object object = make_object(name);
    if (ubus_add_object(context, &object) != UBUS_STATUS_OK) return 2;
    uloop_run();
    ubus_free(context);
    uloop_done();
    return 0;
}

struct Output {
    int status;
    std::string out;
    std::string error;
};

class Bus : public testing::Test {
  protected:
    void SetUp() override {
        object_type.id = 0;  // it was another broker's
        char name[] = "/tmp/ubus_test.XXXXXX";
        directory_ = mkdtemp(name);
        socket_ = directory_ / "ubus.sock";
        broker_ = start([this] {
            freopen("/dev/null", "w", stderr);
            return execl(UBUSD_PATH, UBUSD_PATH, "--socket", socket_.c_str(), nullptr);
        });
        for (int i = 0; i < 100 && !context_; ++i) {
            context_ = ubus_connect(socket_.c_str());
            if (!context_) usleep(20000);
        }
        ASSERT_TRUE(context_);
    }

    void TearDown() override {
        if (context_) ubus_free(context_);
        for (; !children_.empty(); children_.pop_back()) {
            kill(children_.back(), SIGKILL);
            waitpid(children_.back(), nullptr, 0);
        }
        std::filesystem::remove_all(directory_);
    }

    pid_t start(const std::function<int()>& run) {
        pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            _exit(run());
        }
        children_.push_back(child);
        return child;
    }

    int exit_status(pid_t child) {
        int status = 0;
        waitpid(child, &status, 0);
        std::erase(children_, child);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t start_provider(const char* name) {
        pid_t child = start([&] { return provide(socket_.c_str(), name); });
        EXPECT_EQ(tool("-t 5 wait_for " + std::string(name)).status, 0);
        return child;
    }

    void start_foreign_provider(const char* name, const char* method) {
        start([&] {
            return execl(UBUS_CLIENT_PATH, UBUS_CLIENT_PATH, "-s", socket_.c_str(), "serve", name,
                         method, "--", "cat", nullptr);
        });
        EXPECT_EQ(tool("-t 5 wait_for " + std::string(name)).status, 0);
    }

    Output shell(const std::string& command) {
        std::filesystem::path out = directory_ / "out", error = directory_ / "error";
        std::string line = command + " >" + out.string() + " 2>" + error.string();
        int status = std::system(line.c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(out), contents(error)};
    }
    Output tool(const std::string& arguments) {
        return shell(UBUS_TOOL_PATH " -s " + socket_.string() + " " + arguments);
    }
    Output foreign_client(const std::string& arguments) {
        return shell(UBUS_CLIENT_PATH " -s " + socket_.string() + " " + arguments);
    }

    static std::string contents(const std::filesystem::path& file) {
        std::ifstream stream(file);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::filesystem::path directory_;
    std::filesystem::path socket_;
    ubus_context* context_ = nullptr;
    pid_t broker_ = 0;

  private:
    std::vector<pid_t> children_;
};

using Json = std::unique_ptr<json_object, decltype(&json_object_put)>;

Json parse(const std::string& text) {
    return Json(json_tokener_parse(text.c_str()), json_object_put);
}

/// {"'PATH' @ID": {METHOD: {ARGUMENT: TYPE}}} from what the tool lists.
Json listing_of_tool(const std::string& text) {
    std::string json = "{";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        bool method = line.starts_with('\t');
        if (!method && json.size() > 1) json += "},";
        if (method && !json.ends_with('{')) json += ",";
        json += method ? line : "\"" + line + "\":{";
    }
    return parse(json + "}}");
}

/// The same from what the foreign client lists, which has the types as numbers.
Json listing_of_client(const std::string& text) {
    static const char* const kTypes[] = {"?",       "Array",   "Table",   "String", "Integer",
                                         "Integer", "Integer", "Boolean", "Double"};
    Json objects = parse(text);
    json_object* listing = json_object_new_object();
    for (size_t i = 0; i < json_object_array_length(objects.get()); ++i) {
        json_object* object = json_object_array_get_idx(objects.get(), i);
        char head[64];
        snprintf(head, sizeof(head), "'%s' @%08x",
                 json_object_get_string(json_object_object_get(object, "path")),
                 json_object_get_int(json_object_object_get(object, "id")));
        json_object* methods = json_object_object_get(object, "methods");
        json_object_object_foreach(methods, method, arguments) {
            (void)method;
            json_object_object_foreach(arguments, name, type) {
                const char* word = kTypes[json_object_get_int(type)];
                json_object_object_add(arguments, name, json_object_new_string(word));
            }
        }
        json_object_object_add(listing, head, json_object_get(methods));
    }
    return Json(listing, json_object_put);
}

TEST_F(Bus, ListsObjectsAndSignatures) {
    EXPECT_EQ(tool("list").out, "");
    start_provider("app.one");
    start_provider("app.two");
    start_foreign_provider("net.three", "show");
    EXPECT_EQ(tool("list").out, "app.one\napp.two\nnet.three\n");
    EXPECT_EQ(tool("list 'app*'").out, "app.one\napp.two\n");

    Output none = tool("list nothing");
    EXPECT_EQ(none.status, UBUS_STATUS_NOT_FOUND);
    EXPECT_EQ(none.error, "Command failed: Not found\n");

    uint32_t id = 0;
    ASSERT_EQ(ubus_lookup_id(context_, "app.one", &id), UBUS_STATUS_OK);
    char head[32];
    snprintf(head, sizeof(head), "'app.one' @%08x\n", id);
    EXPECT_EQ(
        tool("-v list app.one").out,
        head + std::string("\t\"echo\":{\"text\":\"String\",\"number\":\"Integer\","
                           "\"flag\":\"Boolean\",\"items\":\"Array\",\"table\":\"Table\","
                           "\"big\":\"Integer\",\"ratio\":\"Double\"}\n"
                           "\t\"relay\":{\"path\":\"Array\",\"timeout\":\"Integer\"}\n"
                           "\t\"refuse\":{}\n\t\"silent\":{}\n\t\"late\":{}\n"
                           "\t\"calls\":{\"timeout\":\"Integer\"}\n\t\"deep\":{}\n\t\"odd\":{}\n"));
}

TEST_F(Bus, ToolAndForeignClientSeeTheSameObjects) {
    start_provider("app.one");
    start_foreign_provider("net.three", "show");
    Json ours = listing_of_tool(tool("list -v").out);
    Json theirs = listing_of_client(foreign_client("list").out);
    ASSERT_EQ(json_object_object_length(ours.get()), 2);
    EXPECT_TRUE(json_object_equal(ours.get(), theirs.get()))
        << json_object_to_json_string(ours.get()) << json_object_to_json_string(theirs.get());
}

TEST_F(Bus, CallsPassBetweenBothImplementations) {
    start_provider("ours");
    start_foreign_provider("theirs", "echo");
    const std::string arguments =
        R"('{"text":"a \"b\"","number":-7,"flag":true,"items":[1,{"x":null}],"big":5000000000}')";
    const std::string printed =
        "{\n\t\"text\": \"a \\\"b\\\"\",\n\t\"number\": -7,\n\t\"flag\": true,\n\t\"items\": [\n"
        "\t\t1,\n\t\t{\n\t\t\t\"x\": null\n\t\t}\n\t],\n\t\"big\": 5000000000\n}\n";

    Output ours = tool("call ours echo " + arguments);
    EXPECT_EQ(ours.out, printed);
    EXPECT_EQ(ours.status, 0);
    Json expected = parse(printed);
    for (const Output& output : {tool("-S call theirs echo " + arguments),
                                 foreign_client("call ours echo " + arguments)}) {
        EXPECT_EQ(output.status, 0) << output.error;
        EXPECT_EQ(std::ranges::count(output.out, '\n'), 1);
        EXPECT_TRUE(json_object_equal(parse(output.out).get(), expected.get())) << output.out;
    }
}

TEST_F(Bus, FailedCallsGiveTheirStatus) {
    start_provider("app");
    struct {
        const char* arguments;
        int status;
        const char* error;
    } cases[] = {
        {"call none echo", UBUS_STATUS_NOT_FOUND, "Command failed: Not found\n"},
        {"call app none", UBUS_STATUS_METHOD_NOT_FOUND, "Command failed: Method not found\n"},
        {"call app odd", UBUS_STATUS_UNKNOWN_ERROR, "Command failed: Unknown error\n"},
        {"call app echo '[1]'", UBUS_STATUS_PARSE_ERROR,
         "Command failed: Parsing message data failed\n"},
        {"-t 1 call app silent", UBUS_STATUS_TIMEOUT, "Command failed: Request timed out\n"},
        {"-t 1 wait_for app none", UBUS_STATUS_TIMEOUT, "Command failed: Request timed out\n"},
        {"call app deep", UBUS_STATUS_PARSE_ERROR, "Command failed: Parsing message data failed\n"},
    };
    for (const auto& example : cases) {
        Output output = tool(example.arguments);
        EXPECT_EQ(output.status, example.status) << example.arguments;
        EXPECT_EQ(output.error, example.error) << example.arguments;
        EXPECT_EQ(output.out, "") << example.arguments;
    }
    for (const char* misuse : {"", "call app", "list a b", "wait_for", "nonsense", "-t x list"})
        EXPECT_TRUE(tool(misuse).error.starts_with("Usage:")) << misuse;
    EXPECT_EQ(shell(UBUS_TOOL_PATH " -s /nonexistent list").error, "Failed to connect to ubus\n");
}

TEST_F(Bus, ReplyIsDeliveredTogetherWithStatus) {
    start_provider("app");
    Reply refused = invoke(context_, "app", "refuse");
    EXPECT_EQ(refused.status, UBUS_STATUS_PERMISSION_DENIED);
    EXPECT_EQ(refused.data, std::vector<std::string>{R"({"reason":"closed"})"});
    Reply late = invoke(context_, "app", "late");
    EXPECT_EQ(late.status, UBUS_STATUS_NO_DATA);
    EXPECT_EQ(late.data, (std::vector<std::string>{R"({"late":false})", R"({"late":true})"}));

    Output output = tool("call app refuse");
    EXPECT_EQ(output.out, "{\n\t\"reason\": \"closed\"\n}\n");
    EXPECT_EQ(output.error, "Command failed: Permission denied\n");
    EXPECT_EQ(output.status, UBUS_STATUS_PERMISSION_DENIED);
    EXPECT_EQ(foreign_client("call app refuse").status, UBUS_STATUS_PERMISSION_DENIED);
}

TEST_F(Bus, RequestMadeOnAReplyLeavesTheOuterRequestWaiting) {
    start_provider("app");
    uint32_t id;
    ASSERT_EQ(ubus_lookup_id(context_, "app", &id), UBUS_STATUS_OK);
    static Reply inner;
    auto ask_more = [](ubus_request* request, int, blob_attr*) {
        inner = invoke(request->ctx, "app", "echo", R"({"text":"more"})");
    };
    EXPECT_EQ(ubus_invoke(context_, id, "late", nullptr, ask_more, nullptr, kPatience),
              UBUS_STATUS_NO_DATA);
    EXPECT_EQ(inner.status, UBUS_STATUS_OK);
    EXPECT_EQ(inner.data, std::vector<std::string>{R"({"text":"more"})"});
}

TEST_F(Bus, UnansweredCallTimesOutAndItsLateReplyIsNotTakenForAnother) {
    start_provider("app");
    auto begin = Clock::now();
    EXPECT_EQ(invoke(context_, "app", "late", "{}", 100).status, UBUS_STATUS_TIMEOUT);
    auto taken = Clock::now() - begin;
    EXPECT_GE(taken, std::chrono::milliseconds(100));
    EXPECT_LT(taken, std::chrono::milliseconds(450));
    EXPECT_EQ(invoke(context_, "app", "silent", "{}", 600).status, UBUS_STATUS_TIMEOUT);
    Reply reply = invoke(context_, "app", "echo", R"({"text":"x"})");
    EXPECT_EQ(reply.status, UBUS_STATUS_OK);
    EXPECT_EQ(reply.data, std::vector<std::string>{R"({"text":"x"})"});
}

TEST_F(Bus, HandlerCallsOtherObjects) {
    for (const char* name : {"a", "b", "c"})
        start_provider(name);
    Reply reply = invoke(context_, "a", "relay", R"({"path":["b","c"],"timeout":4000})");
    EXPECT_EQ(reply.status, UBUS_STATUS_OK);
    ASSERT_EQ(reply.data.size(), 1u);
    EXPECT_EQ(reply.data[0], R"({"by":"a","status":0,"reply":"{\"by\":\"b\",\"status\":0,)"
                             R"(\"reply\":\"{\\\"by\\\":\\\"c\\\"}\"}"})");
}

// The inner call cannot be answered while the outer one runs. It must end in its timeout and leave
// everybody in working order, and the call that was put aside must still be served.
TEST_F(Bus, HandlersThatCallEachOtherEndInTimeout) {
    start_provider("a");
    start_provider("b");
    Reply reply = invoke(context_, "a", "relay", R"({"path":["b","a"],"timeout":1000})");
    EXPECT_EQ(reply.status, UBUS_STATUS_OK);
    ASSERT_EQ(reply.data.size(), 1u);
    EXPECT_EQ(reply.data[0], R"({"by":"a","status":0,"reply":"{\"by\":\"b\",\"status\":7}"})");
    EXPECT_EQ(invoke(context_, "a", "calls").data, std::vector<std::string>{R"({"served":2})"});
    EXPECT_EQ(invoke(context_, "b", "calls").data, std::vector<std::string>{R"({"served":1})"});
}

TEST_F(Bus, CallsThatArriveDuringANestedCallAreAllServedAfterIt) {
    start_provider("a");
    std::string call = UBUS_TOOL_PATH " -S -s " + socket_.string() + " call a ";
    std::string arguments = R"('{"path":["a"],"timeout":800}')";
    Output output =
        shell("{ " + call + "relay " + arguments + " & sleep 0.2; for i in 1 2 3 4 5 6 7 8; do " +
              call + R"(echo '{"number":'$i'}' & done; wait; })");
    EXPECT_EQ(output.error, "");
    EXPECT_NE(output.out.find(R"({"by":"a","status":7})"), std::string::npos);
    for (char i = '1'; i <= '8'; ++i)
        EXPECT_NE(output.out.find(std::string(R"({"number":)") + i + "}\n"), std::string::npos)
            << i;
    EXPECT_EQ(invoke(context_, "a", "calls").data, std::vector<std::string>{R"({"served":10})"});
}

TEST_F(Bus, LargeMessagesPassBothWays) {
    start_provider("ours");
    start_foreign_provider("theirs", "echo");
    const std::string arguments = R"({"text":")" + std::string(900 * 1024, 'x') + R"("})";
    for (const char* object : {"ours", "theirs"}) {
        Reply reply = invoke(context_, object, "echo", arguments);
        EXPECT_EQ(reply.status, UBUS_STATUS_OK) << object;
        ASSERT_EQ(reply.data.size(), 1u) << object;
        EXPECT_TRUE(reply.data[0] == arguments) << object;
    }
    std::ofstream(directory_ / "arguments") << arguments;
    Output output = foreign_client("call ours echo - < " + (directory_ / "arguments").string());
    EXPECT_EQ(output.status, 0);
    EXPECT_TRUE(output.out == arguments + "\n");

    std::string excess = R"({"text":")" + std::string(1024 * 1024, 'x') + R"("})";
    EXPECT_EQ(invoke(context_, "ours", "echo", excess).status, UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(invoke(context_, "ours", "echo").status, UBUS_STATUS_OK);
}

TEST_F(Bus, ObjectsComeAndGo) {
    ubus_object first = make_object("first"), second = make_object("second");
    EXPECT_EQ(ubus_remove_object(context_, &first), UBUS_STATUS_NOT_FOUND);
    EXPECT_EQ(ubus_add_object(context_, &first), UBUS_STATUS_OK);
    EXPECT_EQ(ubus_add_object(context_, &second), UBUS_STATUS_OK);
    EXPECT_EQ(ubus_add_object(context_, &first), UBUS_STATUS_INVALID_ARGUMENT);
    ubus_object namesake = make_object("second");
    EXPECT_EQ(ubus_add_object(context_, &namesake), UBUS_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(tool("list").out, "first\nsecond\n");
    EXPECT_EQ(ubus_remove_object(context_, &first), UBUS_STATUS_OK);
    EXPECT_EQ(first.id, 0u);
    EXPECT_EQ(tool("list").out, "second\n");
    EXPECT_EQ(ubus_remove_object(context_, &second), UBUS_STATUS_OK);
    EXPECT_EQ(ubus_add_object(context_, &first), UBUS_STATUS_OK);
    EXPECT_NE(tool("list -v first").out.find("\"relay\":{\"path\":\"Array\""), std::string::npos);
}

TEST_F(Bus, LostBrokerEndsRequestsAndLoops) {
    pid_t idle = start_provider("idle");
    static int lost;
    lost = 0;
    context_->connection_lost = [](ubus_context*) {
        ++lost;
        uloop_end();
    };
    uloop_init();
    ubus_add_uloop(context_);
    start([this] {
        usleep(200000);
        return kill(broker_, SIGKILL);
    });
    EXPECT_EQ(invoke(context_, "idle", "silent").status, UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(invoke(context_, "idle", "echo").status, UBUS_STATUS_CONNECTION_FAILED);
    EXPECT_EQ(lost, 0) << "only the loop tells";
    for (int i = 0; i < 10; ++i)
        uloop_run_timeout(20);
    EXPECT_EQ(lost, 1);
    EXPECT_EQ(exit_status(idle), 0);
    EXPECT_EQ(ubus_connect(socket_.c_str()), nullptr);
    ubus_free(std::exchange(context_, nullptr));
    uloop_done();
}

}  // namespace
