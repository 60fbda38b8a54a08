#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "base/standard_descriptors.h"
#include "base/unique_fd.h"
#include "platform/linux/inspect/list_message.h"
#include "platform/linux/inspect/queue.h"
#include "platform/linux/inspect/rights.h"

namespace platform::inspect {

namespace {

constexpr int kUsageStatus = 2;

struct Options {
    uint16_t queue = 0;
    const char* socket = nullptr;
};

bool parse(int argc, char** argv, Options& options) {
    if (argc != 3) return false;
    const char* end = argv[1] + strlen(argv[1]);
    const auto [stop, error] = std::from_chars(argv[1], end, options.queue);
    options.socket = argv[2];
    return error == std::errc() && stop == end;
}

// For the user of this process alone.
base::UniqueFd listen_at(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof(address.sun_path)) return base::UniqueFd();
    strcpy(address.sun_path, path);
    base::UniqueFd listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    unlink(path);
    umask(S_IRWXG | S_IRWXO);
    if (!listener ||
        bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener.get(), 1) != 0)
        return base::UniqueFd();
    return listener;
}

/// What is listed, who says so, and what has been done.
struct Inspection {
    base::UniqueFd listener;
    base::UniqueFd teller;
    Lists lists;
    Counters counters;
};

// A list that makes no sense is not taken; the answer says which one counts.
bool answer(Inspection& inspection) {
    alignas(ListHeader) static uint8_t message[kMaxListMessage + 1];
    const auto size = recv(inspection.teller.get(), message, sizeof(message), MSG_DONTWAIT);
    if (size <= 0) return size < 0 && (errno == EAGAIN || errno == EINTR);
    inspection.lists.take({message, static_cast<size_t>(size)});
    const Answer answer{kAnswerMagic, 0, inspection.lists.id(), inspection.counters.judged,
                        inspection.counters.stopped};
    return send(inspection.teller.get(), &answer, sizeof(answer), MSG_DONTWAIT | MSG_NOSIGNAL) ==
           sizeof(answer);
}

// Whoever comes last is heard: an earlier one is a platformd that has ended.
void welcome(Inspection& inspection) {
    base::UniqueFd teller(
        accept4(inspection.listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (teller) inspection.teller = std::move(teller);
}

// What is told counts for all packets that come after it.
bool serve_once(Inspection& inspection) {
    pollfd ready[] = {{inspection.teller.get(), POLLIN, 0},
                      {inspection.listener.get(), POLLIN, 0},
                      {queue_descriptor(), POLLIN, 0}};
    if (poll(ready, std::size(ready), -1) < 0) return errno == EINTR;
    if (ready[0].revents != 0 && !answer(inspection)) inspection.teller.reset();
    if (ready[1].revents != 0) welcome(inspection);
    return ready[2].revents == 0 || queue_take(inspection.lists, inspection.counters);
}

}  // namespace

}  // namespace platform::inspect

using namespace platform::inspect;

int main(int argc, char** argv) {
    base::occupy_standard_descriptors();
    Options options;
    if (!parse(argc, argv, options)) {
        fputs(
            "usage: appcfg-inspect QUEUE SOCKET\n"
            "Gives verdicts on packets of the URL filter. platformd starts it, and tells it by\n"
            "SOCKET what is listed.\n",
            stderr);
        return kUsageStatus;
    }
    Inspection inspection;
    inspection.listener = listen_at(options.socket);
    std::string error = inspection.listener ? "" : std::string("no socket: ") + strerror(errno);
    if (!inspection.listener || !queue_open(options.queue, error) || !limit_rights(error)) {
        fprintf(stderr, "appcfg-inspect: %s\n", error.c_str());
        return EXIT_FAILURE;
    }
    while (serve_once(inspection)) {
    }
    return EXIT_FAILURE;
}
