#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string_view>

#include "libubus.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

// The gateway's command-line tool for the bus, as far as people and test scripts use it here.

namespace {

constexpr int kNoBroker = 255;
constexpr int kPollMicroseconds = 50000;

/// What programs that read JSON on the gateways accept; it also bounds the formatter's recursion.
constexpr int kDeepest = 32;

struct Options {
    const char* socket = nullptr;
    int seconds = 30;
    bool simple = false;
    bool verbose = false;
};

struct Free {
    void operator()(char* text) const { free(text); }
};
using Text = std::unique_ptr<char, Free>;

/// Whether other programs' data are well-formed all through and may be given to the formatter.
bool well_formed(void* attributes, size_t length, int depth) {
    blob_attr* attribute;
    __blob_for_each_attr(attribute, attributes, length) {
        if (!blobmsg_check_attr_len(attribute, false, length)) return false;
        int type = blobmsg_type(attribute);
        if (type != BLOBMSG_TYPE_TABLE && type != BLOBMSG_TYPE_ARRAY) continue;
        if (depth == kDeepest) return false;
        if (!well_formed(blobmsg_data(attribute), blobmsg_len(attribute), depth + 1)) return false;
    }
    return length == 0;
}

const char* argument_type(void*, blob_attr* attribute) {
    if (blobmsg_type(attribute) != BLOBMSG_TYPE_INT32) return nullptr;
    switch (blobmsg_get_u32(attribute)) {
        case BLOBMSG_TYPE_ARRAY:
            return "\"Array\"";
        case BLOBMSG_TYPE_TABLE:
            return "\"Table\"";
        case BLOBMSG_TYPE_STRING:
            return "\"String\"";
        case BLOBMSG_TYPE_INT64:
        case BLOBMSG_TYPE_INT32:
        case BLOBMSG_TYPE_INT16:
            return "\"Integer\"";
        case BLOBMSG_TYPE_BOOL:
            return "\"Boolean\"";
        case BLOBMSG_TYPE_DOUBLE:
            return "\"Double\"";
        default:
            return "\"(unknown)\"";
    }
}

void print_object(ubus_context*, ubus_object_data* object, void* priv) {
    if (!static_cast<const Options*>(priv)->verbose) {
        std::printf("%s\n", object->path);
        return;
    }
    std::printf("'%s' @%08" PRIx32 "\n", object->path, object->id);
    if (!object->signature) return;
    blob_attr* method;
    size_t length;
    if (!well_formed(blob_data(object->signature), blob_len(object->signature), 0)) return;
    blob_for_each_attr(method, object->signature, length) {
        Text text(blobmsg_format_json_with_cb(method, false, argument_type, nullptr, -1));
        if (text) std::printf("\t%s\n", text.get());
    }
}

int list(ubus_context* context, const Options& options, char** arguments, int count) {
    const char* path = count == 1 ? arguments[0] : nullptr;
    return ubus_lookup(context, path, print_object, const_cast<Options*>(&options));
}

struct Call {
    bool simple;
    bool readable = true;
};

void print_reply(ubus_request* request, int, blob_attr* reply) {
    auto& call = *static_cast<Call*>(request->priv);
    if (!well_formed(blob_data(reply), blob_len(reply), 0)) {
        call.readable = false;
        return;
    }
    Text text(blobmsg_format_json_indent(reply, true, call.simple ? -1 : 0));
    if (text) std::printf("%s\n", text.get());
}

int invoke(ubus_context* context, const Options& options, char** arguments, blob_attr* message) {
    uint32_t id;
    int status = ubus_lookup_id(context, arguments[0], &id);
    if (status != UBUS_STATUS_OK) return status;
    Call call{options.simple};
    status =
        ubus_invoke(context, id, arguments[1], message, print_reply, &call, options.seconds * 1000);
    return status == UBUS_STATUS_OK && !call.readable ? UBUS_STATUS_PARSE_ERROR : status;
}

int call(ubus_context* context, const Options& options, char** arguments, int count) {
    blob_buf message{};
    blob_buf_init(&message, 0);
    int status = UBUS_STATUS_PARSE_ERROR;
    if (count == 2 || blobmsg_add_json_from_string(&message, arguments[2]))
        status = invoke(context, options, arguments, message.head);
    blob_buf_free(&message);
    return status;
}

int wait_for(ubus_context* context, const Options& options, char** arguments, int count) {
    using Clock = std::chrono::steady_clock;
    auto end = Clock::now() + std::chrono::seconds(options.seconds);
    for (int i = 0; i < count;) {
        uint32_t id;
        int status = ubus_lookup_id(context, arguments[i], &id);
        if (status == UBUS_STATUS_OK) {
            ++i;
            continue;
        }
        if (status != UBUS_STATUS_NOT_FOUND) return status;
        if (options.seconds != 0 && Clock::now() >= end) return UBUS_STATUS_TIMEOUT;
        usleep(kPollMicroseconds);
    }
    return UBUS_STATUS_OK;
}

struct Command {
    const char* name;
    int least;
    int most;
    int (*run)(ubus_context* context, const Options& options, char** arguments, int count);
};
constexpr Command kCommands[] = {
    {"list", 0, 1, list}, {"call", 2, 3, call}, {"wait_for", 1, INT_MAX, wait_for}};

int usage(const char* program) {
    std::fprintf(stderr,
                 "Usage: %s [OPTIONS] COMMAND\n"
                 "  list [PATH]                  objects on the bus\n"
                 "  call PATH METHOD [JSON]      call a method, print its replies\n"
                 "  wait_for PATH...             wait until the objects are on the bus\n"
                 "Options:\n"
                 "  -s SOCKET   the broker's socket (%s)\n"
                 "  -t SECONDS  how long to wait, 0: for ever (30)\n"
                 "  -S          replies on one line, no word about failures\n"
                 "  -v          list: with id and methods\n",
                 program, UBUS_UNIX_SOCKET);
    return 1;
}

bool read_seconds(std::string_view text, int& seconds) {
    auto [end, error] = std::from_chars(text.begin(), text.end(), seconds);
    return error == std::errc() && end == text.end() && seconds >= 0 && seconds <= INT_MAX / 1000;
}

bool read_options(Options& options, int argc, char** argv) {
    int option;
    while ((option = getopt(argc, argv, "s:t:Sv")) != -1) {
        switch (option) {
            case 's':
                options.socket = optarg;
                break;
            case 't':
                if (!read_seconds(optarg, options.seconds)) return false;
                break;
            case 'S':
                options.simple = true;
                break;
            case 'v':
                options.verbose = true;
                break;
            default:
                return false;
        }
    }
    return optind < argc;
}

int report(const Options& options, int status) {
    if (status == UBUS_STATUS_OK) return EXIT_SUCCESS;
    if (!options.simple) std::fprintf(stderr, "Command failed: %s\n", ubus_strerror(status));
    return status > 0 && status < kNoBroker ? status : static_cast<int>(UBUS_STATUS_UNKNOWN_ERROR);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    if (!read_options(options, argc, argv)) return usage(argv[0]);
    std::string_view name = argv[optind++];
    int count = argc - optind;
    auto command = std::ranges::find(kCommands, name, &Command::name);
    if (command == std::end(kCommands) || count < command->least || count > command->most)
        return usage(argv[0]);
    ubus_context* context = ubus_connect(options.socket);
    if (!context) {
        std::fprintf(stderr, "Failed to connect to ubus\n");
        return kNoBroker;
    }
    int status = command->run(context, options, argv + optind, count);
    ubus_free(context);
    return report(options, status);
}
