#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "enforcement.h"
#include "figures.h"
#include "floors.h"
#include "startup.h"
#include "uci_tool.h"

// Prints, in microseconds, each figure beside its floor. The two are taken in turns, so that a busy
// machine or a slow disk troubles both alike, and the medians compared.

namespace {

/// The daemon's objects.
constexpr int kObjects = 7;
const BusCall kEmptyMethod{"bench", "empty", "{}"};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

void make(BusClient& bus, const std::vector<BusCall>& calls) {
    for (const BusCall& call : calls)
        bus.call(call);
}

size_t package_size(const char* package) {
    return package ? std::filesystem::file_size(std::filesystem::path("/etc/config") / package) : 0;
}

double time_of(const Figure& figure, BusClient& bus) {
    usleep(figure.quiet_ms * 1000);
    if (figure.rules > 0) return until_in_force(bus, figure.timed);
    if (figure.queues) return until_in_force(bus, figure.timed, InForce::Queues);
    if (figure.entry) return ipc_call(figure.entry, figure.record_size);
    return figure.batch ? uci_batch(figure.batch) : bus.time(figure.timed);
}

template <class Part>
double sum(int times, Part part) {
    double total = 0;
    while (times-- > 0)
        total += part();
    return total;
}

/// What a call cannot do without, by kind.
struct Floor {
    double bus = 0;
    double storage = 0;
    double platform = 0;
    double commands = 0;
    double pause = 0;
    double kernel = 0;

    double total() const { return bus + storage + platform + commands + pause + kernel; }
};

/// The parts of one round's floor, summed as often as the call needs each.
Floor floor_of(const Figure& figure, BusClient& bus) {
    usleep(figure.quiet_ms * 1000);
    Floor floor;
    if (!figure.entry) floor.bus = bus.time(kEmptyMethod);
    for (const BusCall& call : figure.bus_calls)
        floor.bus += bus.time(call);
    const size_t size = package_size(figure.package);
    floor.storage = sum(figure.replacements, [&] { return durable_replacement(size); });
    floor.platform = sum(figure.platform_calls, platform_round_trip);
    for (const Command& needed : figure.commands)
        floor.commands += sum(needed.times, [&] { return command(needed.argv); });
    floor.pause = figure.pause_ms * 1000.0;
    if (figure.rules > 0) floor.kernel = rules_transaction(figure.rules);
    return floor;
}

/// For figures that run programs: what the floor is made of.
void print_shares(const Floor& floor) {
    const double percent = 100 / floor.total();
    std::printf("    of the floor: commands %.0f %%, packages %.0f %%, platform %.0f %%\n",
                floor.commands * percent, floor.storage * percent, floor.platform * percent);
}

void print_row(const char* name, double figure, double floor) {
    std::printf("%-36s %10.0f %10.0f %8.2f\n", name, figure, floor, figure / floor);
}

void measure(const Figure& figure, BusClient& bus) {
    std::vector<double> times, floors;
    Floor last;
    make(bus, figure.set_up);
    for (int round = 0; round < figure.rounds; ++round) {
        make(bus, figure.before_each);
        times.push_back(time_of(figure, bus));
        last = floor_of(figure, bus);
        floors.push_back(last.total());
        make(bus, figure.after_each);
    }
    make(bus, figure.tear_down);
    if (figure.timed.method && std::strcmp(figure.timed.method, "empty") == 0)
        std::printf("%-36s %10.0f %10s %8s\n", figure.name.c_str(), median(times), "-", "-");
    else
        print_row(figure.name.c_str(), median(times), median(floors));
    if (last.commands > 0) print_shares(last);
    if (last.pause > 0)
        std::printf("    of the floor: pause %.0f us, kernel %.0f us\n", last.pause, last.kernel);
    std::fflush(stdout);
}

/// Start-up with whatever is stored. The floor: a process on the same libraries that only offers an
/// object, a round trip on the bus for each further one, and the round trips of the replay.
void measure_startup(BusClient& bus, int platform_calls) {
    constexpr int kStarts = 21;
    const char* const daemon[] = {"appcfgd", nullptr};
    const char* const nothing[] = {"/proc/self/exe", "serve", "bench-startup", nullptr};
    std::vector<double> times, floors;
    long private_kib = 0;
    for (int i = 0; i < kStarts; ++i) {
        const Startup startup = start_and_end(bus, daemon, std::getenv("BOX_LAST_OBJECT"));
        times.push_back(startup.microseconds);
        private_kib = startup.private_kib;
        double floor = start_and_end(bus, nothing, nothing[2]).microseconds;
        for (int object = 1; object < kObjects; ++object)
            floor += bus.time(kEmptyMethod);
        for (int call = 0; call < platform_calls; ++call)
            floor += platform_round_trip();
        floors.push_back(floor);
    }
    print_row("start-up", median(times), median(floors));
    std::printf("%-36s %6ld KiB\n", "private memory after that", private_kib);
}

/// Packets a second, with rules none of which stops them and without, in turns.
void measure_forwarding(BusClient& bus, int rules) {
    constexpr int kRounds = 11;
    std::vector<double> with, without;
    make(bus, ip_filter_rules(rules));
    if (!is_enforced()) return;
    for (int i = 0; i < kRounds; ++i) {
        until_in_force(bus, ip_filter_mode(1));
        with.push_back(forwarding_rate());
        until_in_force(bus, ip_filter_mode(0));
        without.push_back(forwarding_rate());
    }
    std::printf("forwarding, packets/s: %d rules %.0f, none %.0f, ratio %.2f\n", rules,
                median(with), median(without), median(with) / median(without));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "serve") == 0) serve_empty_method(argv[2]);
    BusClient bus;
    if (argc == 3 && std::strcmp(argv[1], "startup") == 0) {
        measure_startup(bus, std::atoi(argv[2]));
        return 0;
    }
    if (argc == 3 && std::strcmp(argv[1], "forwarding") == 0) {
        measure_forwarding(bus, std::atoi(argv[2]));
        return 0;
    }
    const char* wanted = argc == 2 ? argv[1] : "";
    bus.wait_for("bench", true);
    std::printf("%-36s %10s %10s %8s\n", "figure", "us", "floor us", "ratio");
    for (const Figure& figure : figures())
        if (figure.name.find(wanted) != std::string::npos &&
            ((figure.rules == 0 && !figure.queues) || is_enforced()))
            measure(figure, bus);
    return 0;
}
