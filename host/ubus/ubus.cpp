#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tool.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

// The gateway's command-line tool for the bus: what it prints and its exit statuses, for all but
// subscriptions.

/// What programs that read JSON on the gateways accept; it also bounds the formatter's recursion.
static constexpr int kDeepest = 32;

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

Text one_line(blob_attr* attributes) {
    if (!well_formed(blob_data(attributes), blob_len(attributes))) return nullptr;
    return Text(blobmsg_format_json(attributes, true));
}

namespace {

constexpr int kPollMicroseconds = 50000;

const char* argument_type(void*, blob_attr* attribute) {
    if (blobmsg_type(attribute) != BLOBMSG_TYPE_INT32) return nullptr;
    switch (blobmsg_get_u32(attribute)) {
        case BLOBMSG_TYPE_ARRAY:
            return "\"Array\"";
        case BLOBMSG_TYPE_TABLE:
            return "\"Table\"";
        case BLOBMSG_TYPE_STRING:
            return "\"String\"";
        case BLOBMSG_TYPE_INT32:
            return "\"Integer\"";
        case BLOBMSG_TYPE_BOOL:
            return "\"Boolean\"";
        default:
            return "\"(unknown)\"";
    }
}

void print_object(ubus_context*, ubus_object_data* object, void* priv) {
    const auto& options = *static_cast<const Options*>(priv);
    if (options.simple || !options.verbose) {
        std::printf("%s\n", object->path);
        return;
    }
    std::printf("'%s' @%08" PRIx32 "\n", object->path, object->id);
    if (!object->signature) return;
    blob_attr* method;
    size_t length;
    if (!well_formed(blob_data(object->signature), blob_len(object->signature))) return;
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
    if (!well_formed(blob_data(reply), blob_len(reply))) {
        call.readable = false;
        return;
    }
    Text text(blobmsg_format_json_indent(reply, true, call.simple ? -1 : 0));
    if (text) std::printf("%s\n", text.get());
}

/// What a failed call says, and its exit status: a terminal shows a short line, a log the whole
/// command, with the negated status.
int report_call(const Options& options, char** arguments, int count, int status) {
    if (status == UBUS_STATUS_OK || options.simple || isatty(STDERR_FILENO)) return status;
    std::fprintf(stderr, "Command failed: ubus call ");
    for (int i = 0; i < count; ++i)
        std::fprintf(stderr, "%s ", arguments[i]);
    std::fprintf(stderr, "(%s)\n", ubus_strerror(status));
    return -status;
}

int invoke(ubus_context* context, const Options& options, uint32_t object, const char* method,
           blob_attr* message) {
    Call call{options.simple};
    int status =
        ubus_invoke(context, object, method, message, print_reply, &call, options.seconds * 1000);
    return status == UBUS_STATUS_OK && !call.readable ? UBUS_STATUS_PARSE_ERROR : status;
}

int call(ubus_context* context, const Options& options, char** arguments, int count) {
    uint32_t id;
    blob_buf message{};
    blob_buf_init(&message, 0);
    int status;
    if (count == 3 && !blobmsg_add_json_from_string(&message, arguments[2]))
        status = report_call(options, arguments, count, UBUS_STATUS_PARSE_ERROR);
    else if ((status = ubus_lookup_id(context, arguments[0], &id)) == UBUS_STATUS_OK)
        status = report_call(options, arguments, count,
                             invoke(context, options, id, arguments[1], message.head));
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
        if (Clock::now() >= end) return UBUS_STATUS_TIMEOUT;
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
    {"list", 0, 1, list},           {"call", 2, 3, call}, {"wait_for", 1, INT_MAX, wait_for},
    {"listen", 0, INT_MAX, listen}, {"send", 1, 2, send}, {"monitor", 0, INT_MAX, monitor}};

void print_usage(const char* program) {
    std::fprintf(stderr,
                 "Usage: %s [OPTIONS] COMMAND\n"
                 "  list [PATH]                  objects on the bus\n"
                 "  call PATH METHOD [JSON]      call a method, print its replies\n"
                 "  listen [PATTERN...]          print events\n"
                 "  send TYPE [JSON]             send an event\n"
                 "  wait_for PATH...             wait until the objects are on the bus\n"
                 "  monitor                      print all that goes over the bus\n"
                 "Options:\n"
                 "  -s SOCKET   the broker's socket (%s)\n"
                 "  -t SECONDS  how long to wait (30; listen: for ever)\n"
                 "  -S          replies on one line, no word about failures\n"
                 "  -v          list: with id and methods\n"
                 "  -m TYPE     monitor: messages of this type; may be given more than once\n"
                 "  -M r|t      monitor: only what the broker received, or sent\n",
                 program, UBUS_UNIX_SOCKET);
}

bool read_option(Options& options, int option) {
    switch (option) {
        case 's':
            options.socket = optarg;
            return true;
        case 't':
            options.seconds = options.listen_seconds = std::atoi(optarg);
            return true;
        case 'S':
            return options.simple = true;
        case 'v':
            return options.verbose = true;
        case 'm':
            options.message_types |= message_type_bit(optarg);
            return message_type_bit(optarg) != 0;
        case 'M':
            options.direction = optarg[0];
            return options.direction == 'r' || options.direction == 't';
        default:
            return false;
    }
}

int run(ubus_context* context, const Options& options, char** words, int count) {
    auto command = std::ranges::find_if(
        kCommands, [&](const Command& one) { return std::strcmp(one.name, words[0]) == 0; });
    if (command == std::end(kCommands)) return kUsage;
    if (count - 1 < command->least || count - 1 > command->most) return kUsage;
    return command->run(context, options, words + 1, count - 1);
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    bool good = true;
    for (int option; good && (option = getopt(argc, argv, "m:M:vs:t:S")) != -1;)
        good = read_option(options, option);
    if (!good || optind == argc) {
        print_usage(argv[0]);
        return 1;
    }
    ubus_context* context = ubus_connect(options.socket);
    if (!context) {
        if (!options.simple) std::fprintf(stderr, "Failed to connect to ubus\n");
        return kFailed;
    }
    int status = run(context, options, argv + optind, argc - optind);
    if (status > 0 && !options.simple)
        std::fprintf(stderr, "Command failed: %s\n", ubus_strerror(status));
    if (status == kUsage) print_usage(argv[0]);
    ubus_free(context);
    return status;
}
