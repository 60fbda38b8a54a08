// The bus library and its tool against the real broker, and against an independent client and
// provider, both in the roles of caller and of called.

#include <cstdlib>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

#include "support/scratch.h"

namespace {

// The provider that the tests run in a process of its own.

int echo(ubus_context* bus, ubus_object*, ubus_request_data* call, const char*, blob_attr* data) {
    return ubus_send_reply(bus, call, data);
}

int refuse(ubus_context* bus, ubus_object*, ubus_request_data* call, const char*, blob_attr* data) {
    ubus_send_reply(bus, call, data);
    return UBUS_STATUS_PERMISSION_DENIED;
}

int stay_silent(ubus_context* bus, ubus_object*, ubus_request_data* call, const char*, blob_attr*) {
    ubus_request_data kept;
    ubus_defer_request(bus, call, &kept);
    return UBUS_STATUS_OK;
}

/// Answers with what the object of the method's name echoes.
int relay(ubus_context* bus, ubus_object*, ubus_request_data* call, const char* method,
          blob_attr* data) {
    uint32_t id = 0;
    int status = ubus_lookup_id(bus, method, &id);
    auto pass_on = [](ubus_request* inner, int, blob_attr* reply) {
        ubus_send_reply(inner->ctx, static_cast<ubus_request_data*>(inner->priv), reply);
    };
    return status ? status : ubus_invoke(bus, id, "echo", data, pass_on, call, 2000);
}

const blobmsg_policy kEchoPolicy[] = {{"text", BLOBMSG_TYPE_STRING}};
const ubus_method kMethods[] = {
    UBUS_METHOD("echo", echo, kEchoPolicy),   UBUS_METHOD_NOARG("refuse", refuse),
    UBUS_METHOD_NOARG("ours", relay),         UBUS_METHOD_NOARG("theirs", relay),
    UBUS_METHOD_NOARG("silent", stay_silent),
};

/// Serves until the test ends.
int provide(const char* socket, const char* name) {
    uloop_init();
    ubus_context* context = ubus_connect(socket);
    ubus_add_uloop(context);
    ubus_object_type type = UBUS_OBJECT_TYPE("tested", kMethods);
    ubus_object object{};
    object.name = name;
    object.type = &type;
    object.methods = kMethods;
    object.n_methods = ARRAY_SIZE(kMethods);
    int status = ubus_add_object(context, &object);
    if (status == UBUS_STATUS_OK) uloop_run();
    return status;
}

struct Output {
    int status;
    std::string out, error;
    bool operator==(const Output&) const = default;
};

void PrintTo(const Output& output, std::ostream* out) {
    *out << output.status << ": " << output.out << output.error;
}

/// A broker with the objects "ours" and "theirs".
struct Bus : ScratchFolderTest {
    Bus() {
        broker_ = Child::execute({UBUSD_PATH, "--socket", socket_});
        EXPECT_TRUE(eventually([this] { return tool("list").status == 0; }));
        ours_ = Child::run([this] { _exit(provide(socket_.c_str(), "ours")); });
        theirs_ = Child::execute(
            {UBUS_CLIENT_PATH, "-s", socket_, "serve", "theirs", "echo", "--", "/bin/cat"});
        EXPECT_EQ(tool("-t 5 wait_for ours theirs").status, 0);
    }

    Output run(const char* program, const std::string& arguments) {
        const auto out = directory() / "out", error = directory() / "error";
        const int status = std::system((program + (" -s " + socket_) + " " + arguments + " >" +
                                        out.string() + " 2>" + error.string())
                                           .c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(out), read_file(error)};
    }
    Output tool(const std::string& arguments) { return run(UBUS_TOOL_PATH, arguments); }
    Output foreign_client(const std::string& arguments) { return run(UBUS_CLIENT_PATH, arguments); }

    const std::string socket_ = directory() / "ubus.sock";
    Child broker_, ours_, theirs_;
};

TEST_F(Bus, ToolPrintsWhatTheBusAnswers) {
    const std::string data =
        R"({"big":5000000000,"flag":true,"items":[1,{"x":null}],"number":-7,"text":"a \"b\""})";
    const std::string indented =
        "{\n\t\"big\": 5000000000,\n\t\"flag\": true,\n\t\"items\": [\n\t\t1,\n\t\t{\n"
        "\t\t\t\"x\": null\n\t\t}\n\t],\n\t\"number\": -7,\n\t\"text\": \"a \\\"b\\\"\"\n}\n";
    auto negated = [](int status) { return 256 - status; };  // for who does not read on a terminal
    const std::string failed = "Command failed: ";
    const std::pair<std::string, Output> cases[] = {
        {"list", {0, "ours\ntheirs\n"}},
        {"call theirs echo '" + data + "'", {0, indented}},
        {"-S call ours theirs '{\"a\":1}'", {0, "{\"a\":1}\n"}},
        {"call none echo", {UBUS_STATUS_NOT_FOUND, "", failed + "Not found\n"}},
        {"call ours refuse '{\"a\":1}'",
         {negated(UBUS_STATUS_PERMISSION_DENIED), "{\n\t\"a\": 1\n}\n",
          failed + "ubus call ours refuse {\"a\":1} (Permission denied)\n"}},
        {"-S -t 1 call ours silent", {UBUS_STATUS_TIMEOUT}},
        {"-t 1 wait_for ours none", {UBUS_STATUS_TIMEOUT, "", failed + "Request timed out\n"}},
    };
    for (const auto& [arguments, output] : cases)
        EXPECT_EQ(tool(arguments), output) << arguments;
    EXPECT_EQ(tool("call ours").status, negated(2));
    EXPECT_EQ(foreign_client("call ours echo '" + data + "'").out, data + "\n");
    EXPECT_EQ(foreign_client("call ours refuse").status, UBUS_STATUS_PERMISSION_DENIED);
}

// A handler's call of its own object cannot be answered while the handler runs: it ends in its
// timeout, and all that was put aside meanwhile is still served.
TEST_F(Bus, CallsThatArriveDuringANestedCallAreServedAfterIt) {
    auto blocked = Child::execute({UBUS_TOOL_PATH, "-S", "-s", socket_, "call", "ours", "ours"});
    usleep(200000);
    Output output = foreign_client(R"(-t 5 call ours echo '{"a":1}')");
    EXPECT_EQ(WEXITSTATUS(blocked.end()), UBUS_STATUS_TIMEOUT);
    EXPECT_EQ(output.out, "{\"a\":1}\n") << output.error;
}

// The relay takes and gives the text both as the called one and as the caller.
TEST_F(Bus, LargeMessagesPassBothWays) {
    const std::string text = R"({"text":")" + std::string(900 * 1024, 'x') + R"("})";
    write_file(directory() / "large", text);
    Output output = foreign_client("call ours theirs - < " + (directory() / "large").string());
    EXPECT_TRUE(output.out == text + "\n") << output.error;
}

}  // namespace
