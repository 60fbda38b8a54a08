#include "platform/linux/enforce/applier.h"

extern "C" {
#include <libubox/uloop.h>
}

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>

#include "base/clock.h"
#include "platform/linux/enforce/links.h"
#include "platform/linux/enforce/marks.h"
#include "platform/linux/enforce/nft.h"
#include "platform/linux/enforce/rules.h"
#include "platform/linux/enforce/shape.h"
#include "platform/linux/enforce/tc.h"
#include "platform/linux/enforce/watch.h"
#include "platform/linux/platformd/memory.h"
#include "platform/linux/platformd/service.h"

namespace platform::platformd::enforce {

namespace {

using base::now_ms;

constexpr int64_t kPauseMs = 10;
constexpr int64_t kLongestMs = 100;
/// The same for what takes something away.
constexpr int64_t kLongPauseMs = 50;
constexpr int64_t kPatienceMs = 500;
constexpr int64_t kFirstRetryMs = 1000;
constexpr int64_t kLastRetryMs = 60'000;
constexpr int64_t kBetweenRepairsMs = 1000;

using Texts = std::map<std::string_view, std::string>;  // by service

bool g_on;
uloop_timeout g_timer;
/// When the oldest change that waits was made; 0: none waits.
int64_t g_since;
int64_t g_last_change;
int64_t g_retry_ms;
int64_t g_last_repair;
std::string g_error;
std::string g_said;
Texts g_in_force;
/// Nothing is known of what our tables hold: they are replaced as a whole.
bool g_start_over;

void set_timer(int64_t milliseconds) {
    uloop_timeout_set(&g_timer, static_cast<int>(std::max<int64_t>(milliseconds, 0)));
}

/// What is wanted and not in force.
Texts differences() {
    Texts texts;
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next) {
        const auto& service = owner->service;
        if (!service.rules) continue;
        auto text = replacement(*service.rules);
        const auto held = g_in_force.find(service.name);
        if (held == g_in_force.end() || held->second != text) texts[service.name] = std::move(text);
    }
    return texts;
}

/// Behind the first such line from `from` on; npos if there is none.
size_t find_line(std::string_view text, std::string_view line, size_t from) {
    for (size_t at = from; (at = text.find(line, at)) != text.npos; ++at)
        if (at == 0 || text[at - 1] == '\n') return at + line.size();
    return text.npos;
}

// Lines mostly stand in the same order.
bool has_all_lines(std::string_view text, std::string_view lines) {
    size_t behind = 0;
    while (!lines.empty()) {
        const auto line = lines.substr(0, lines.find('\n') + 1);
        behind = find_line(text, line, behind);
        if (behind == text.npos) behind = find_line(text, line, 0);
        if (behind == text.npos) return false;
        lines.remove_prefix(line.size());
    }
    return true;
}

/// Whether a rule that is in force would be no more.
bool takes_away(const Texts& texts) {
    return std::ranges::any_of(texts, [](const auto& wanted) {
        return !has_all_lines(wanted.second, g_in_force[wanted.first]);
    });
}

bool commit(const std::string& tables, const Texts& texts) {
    auto whole = tables;
    for (const auto& [service, text] : texts)
        whole += text;
    if (!nft_run(whole, g_error)) return false;
    for (const auto& [service, text] : texts)
        g_in_force[service] = text;
    return true;
}

// What the kernel refuses one service must not keep the others from theirs, and is to be said by
// its name. Each comes with all that were taken before it, for the tables may be emptied in front.
bool commit_one_by_one(const std::string& tables, const Texts& texts) {
    std::string error;
    Texts taken;
    for (const auto& [service, text] : texts) {
        auto tried = taken;
        tried[service] = text;
        if (commit(tables, tried))
            taken = std::move(tried);
        else
            error = std::string(service) + ": " + g_error;
    }
    g_error = error;
    return error.empty();
}

bool commit_all() {
    if (g_start_over) g_in_force.clear();
    const auto texts = differences();
    if (texts.empty() && !g_start_over) return true;
    const auto tables = g_start_over ? tables_emptied() : tables_as_they_are();
    const bool done = commit(tables, texts) || commit_one_by_one(tables, texts);
    g_start_over = g_start_over && !done && g_in_force.empty();
    return done;
}

bool shape_all() {
    std::string error;
    if (shape_follow(error)) return true;
    g_error = g_error.empty() ? error : g_error + "; " + error;
    return false;
}

// What stays refused is said once. What has changed meanwhile does not wait for it.
void retry_later() {
    if (g_error != g_said) fprintf(stderr, "platformd: not in force: %s\n", g_error.c_str());
    g_said = g_error;
    g_retry_ms = std::clamp(g_retry_ms * 2, kFirstRetryMs, kLastRetryMs);
    if (!is_waiting()) set_timer(g_retry_ms);
}

void follow_outside() {
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.outside) owner->service.outside->follow();
}

// The file comes first: whoever is killed in between finds in it what the kernel is to hold.
void apply() {
    g_since = 0;
    if (g_start_over) g_last_repair = now_ms();
    memory_rewrite();
    g_error.clear();
    const bool ruled = commit_all();
    const bool shaped = shape_all();
    follow_outside();
    if (!ruled || !shaped) return retry_later();
    g_said.clear();
    g_retry_ms = 0;
}

// A replay begins by taking everything away, and on a busy machine the caller may pause in it.
void on_timer(uloop_timeout*) {
    const auto now = now_ms();
    const bool may_go_on = now < g_last_change + kLongPauseMs && now < g_since + kPatienceMs;
    if (may_go_on && takes_away(differences())) return set_timer(kPauseMs);
    apply();
}

void repair() {
    if (g_start_over) return;
    g_start_over = true;
    g_since = now_ms();
    set_timer(g_last_repair + kBetweenRepairsMs - g_since);
}

void devices_changed() {
    shape_look_again();
    changed();
}

/// Of a listing the lines with a counter, each without what surrounds it.
void append_counting(std::string& out, const std::string& listing) {
    for (size_t begin = 0; begin < listing.size();) {
        const auto end = std::min(listing.find('\n', begin), listing.size());
        std::string_view line(listing.data() + begin, end - begin);
        begin = end + 1;
        if (line.find("counter packets ") == line.npos) continue;
        constexpr std::string_view kElements = "elements = {";
        const auto elements = line.find(kElements);
        if (elements != line.npos) line.remove_prefix(elements + kElements.size());
        line.remove_prefix(line.find_first_not_of(" \t"));
        line = line.substr(0, line.find_last_not_of(" ,}") + 1);
        state_line(out, "  %.*s", static_cast<int>(line.size()), line.data());
    }
}

void print(std::string& out) {
    settle();
    state_line(out, "on=%d waiting=%d%s%s", g_on, g_since != 0,
               g_error.empty() ? "" : " not in force: ", g_error.c_str());
    if (!g_on) return;
    for (const auto family : kFamilies)
        append_counting(out,
                        nft_list(std::string("list table ") + family_name(family) + ' ' + kTable));
    tc_list(out);
}

ServiceRegistration g_registration({.name = "enforcement", .print = print});

}  // namespace

bool start(std::string& error) {
    if (!nft_check(tables_as_they_are(), error)) return false;
    if (!watch_start(repair) || !links_start(devices_changed)) {
        watch_stop();
        error = "the kernel does not tell of changes";
        return false;
    }
    g_on = g_start_over = true;
    g_timer.cb = on_timer;
    apply();
    return true;
}

bool is_on() {
    return g_on;
}

void changed() {
    if (!g_on) return;
    g_last_change = now_ms();
    if (g_since == 0) g_since = g_last_change;
    set_timer(std::min(kPauseMs, g_since + kLongestMs - g_last_change));
}

void settle() {
    if (!g_on || g_since == 0 || takes_away(differences())) return;
    uloop_timeout_cancel(&g_timer);
    apply();
}

bool is_waiting() {
    return g_since != 0;
}

const std::string& refusal() {
    return g_error;
}

bool release(std::string& error) {
    stop();
    for (auto* owner = ServiceRegistration::first(); owner; owner = owner->next)
        if (owner->service.outside && owner->service.outside->release)
            owner->service.outside->release();
    const bool shaped = tc_release(error);
    if (!nft_run(tables_gone() + scratch_gone(), error) || !shaped) return false;
    memory_forget();
    return true;
}

void stop() {
    if (!g_on) return;
    uloop_timeout_cancel(&g_timer);
    watch_stop();
    links_stop();
    g_since = 0;
    g_on = false;
}

}  // namespace platform::platformd::enforce
