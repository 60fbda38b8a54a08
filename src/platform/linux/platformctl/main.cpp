#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/linux/platformctl/commands.h"
#include "platform/linux/run_directory.h"

namespace platform::platformctl {

namespace {

struct Command {
    const char* name;
    const char* words;
    const char* help;
    int (*run)(Words words);
};

constexpr Command kCommands[] = {
    {"state", "[SERVICE]", "what the services hold", show_state},
    {"audit", "[-j] [SERVICE]", "where tables, platform and kernel differ; -j: a line of JSON each",
     audit},
    {"trace", "[--once | --clear]", "the calls so far and as they come; only so far; forget them",
     show_trace},
    {"call", "NAME [HEX]", "call a name with a record, print what comes back", call_name},
    {"list", "", "the names that can be called and who answers them", list_names},
    {"log", "MODULE LEVEL", "set a log level; security, loopback, qos, lanhost or a number",
     set_level},
    {"fail", "NAME [COUNT [RESULT]] | --clear", "let the next calls fail (1, -1); end all faults",
     make_fail},
    {"release", "", "take out of the kernel all that platformd enforces", release},
    {"die", "NAME", "let platformd end in the next call", make_die},
    {"hang", "NAME SECONDS", "let the next call be answered late", make_hang},
};

int print_usage() {
    fputs("usage: platformctl [-d RUN_DIRECTORY] COMMAND\n", stderr);
    for (const auto& command : kCommands)
        fprintf(stderr, "  %-7s %-31s  %s\n", command.name, command.words, command.help);
    return kUsageStatus;
}

int run(const Command& command, Words words) {
    const int status = command.run(words);
    if (status == kUsageStatus)
        fprintf(stderr, "usage: platformctl %s %s\n", command.name, command.words);
    return status;
}

}  // namespace

int complain(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("platformctl: ", stderr);
    vfprintf(stderr, format, arguments);
    fputc('\n', stderr);
    va_end(arguments);
    return EXIT_FAILURE;
}

}  // namespace platform::platformctl

using namespace platform;
using namespace platform::platformctl;

int main(int argc, char** argv) {
    int option;
    while ((option = getopt(argc, argv, "+d:")) != -1)
        if (option != 'd' || !set_run_directory(optarg)) return print_usage();
    const Words words(argv + optind, argv + argc);
    if (words.empty()) return print_usage();
    for (const auto& command : kCommands)
        if (strcmp(command.name, words[0]) == 0) return run(command, words.subspan(1));
    complain("there is no command %s", words[0]);
    return print_usage();
}
