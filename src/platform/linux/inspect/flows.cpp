#include "platform/linux/inspect/flows.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/linux/inspect/http.h"
#include "platform/linux/inspect/tls.h"

namespace platform::inspect {

namespace {

constexpr size_t kMaxFlows = 4096;
constexpr size_t kMaxMemory = 4 << 20;
/// Packets of one connection are no farther from each other; others are a new one's with the same
/// ports.
constexpr int32_t kReach = 1 << 20;

/// How far one number lies behind the other, all of which go round in a circle.
int32_t distance(uint32_t from, uint32_t to) {
    return static_cast<int32_t>(to - from);
}

void begin_at(Flow& flow, uint32_t sequence) {
    flow.next = sequence;
    flow.skip = 0;
    flow.window = {};
}

void advance(Flow& flow, size_t size) {
    flow.next += static_cast<uint32_t>(size);
    flow.window.drop(size);
}

/// Of one packet in its flow.
struct Look {
    Flow& flow;
    const Segment& segment;
    const Mac& client;
    const Lists& lists;

    uint32_t end() const {
        return segment.sequence + static_cast<uint32_t>(segment.payload.size());
    }
};

void keep(const Look& look) {
    const auto ahead = distance(look.flow.next, look.segment.sequence);
    const auto known = ahead < 0 ? std::min<size_t>(-ahead, look.segment.payload.size()) : 0;
    look.flow.window.put(static_cast<uint32_t>(std::max(ahead, 0)),
                         look.segment.payload.subspan(known));
}

// What runs already when it is first seen goes on. So does what is none of our protocol, unless
// nothing but what is listed may pass.
Verdict judge_tls(const Look& look) {
    keep(look);
    const auto stream = look.flow.window.contiguous();
    std::string host;
    const auto reading = read_hello(stream, host);
    if (reading == Reading::More && !look.flow.window.is_full()) return Verdict::Look;
    if (is_running_tls(stream)) return Verdict::Pass;
    const bool stops = look.lists.stops({kHttps, look.client, host, {}});
    return stops ? Verdict::Stop : Verdict::Pass;
}

/// Goes past what has come of a body. False when that is all.
bool pass_body(const Look& look) {
    const auto come = distance(look.flow.next, look.end());
    if (come <= 0) return false;
    const auto passed = std::min<uint64_t>(look.flow.skip, static_cast<uint32_t>(come));
    look.flow.skip -= passed;
    advance(look.flow, static_cast<size_t>(passed));
    return distance(look.flow.next, look.end()) > 0;
}

/// From the next packet on: any that looks like a request is one.
void lose(const Look& look) {
    look.flow.lost = true;
    begin_at(look.flow, look.end());
}

// A head that does not end within the window is judged by what it has said until then.
Verdict judge_request(const Look& look, bool& again) {
    auto& flow = look.flow;
    keep(look);
    Request request;
    const auto reading = read_request(flow.window.contiguous(), request);
    const bool is_endless = reading == Reading::More && flow.window.is_full();
    if (reading == Reading::More && !is_endless && request.host.empty()) return Verdict::Look;
    const bool is_between = reading == Reading::Other && flow.lost;
    if (!is_between && look.lists.stops({kHttp, look.client, request.host, request.path}))
        return Verdict::Stop;
    if (reading == Reading::Other || is_endless || request.boundless) {
        lose(look);
    } else if (reading == Reading::Done) {
        advance(flow, request.size);
        flow.skip = request.body;
        flow.lost = false;
        again = true;
    }
    return Verdict::Look;
}

// One packet may hold the ends and beginnings of several requests.
Verdict judge_http(const Look& look) {
    auto verdict = Verdict::Look;
    bool again = true;
    if (look.flow.lost && look.flow.window.contiguous().empty())
        begin_at(look.flow, look.segment.sequence);
    while (verdict == Verdict::Look && std::exchange(again, false) && pass_body(look))
        verdict = judge_request(look, again);
    return verdict;
}

}  // namespace

void Window::put(uint32_t offset, Bytes piece) {
    if (offset >= kWindow) return;
    piece = piece.first(std::min<size_t>(piece.size(), kWindow - offset));
    const size_t end = offset + piece.size();
    if (end > bytes_.size()) {
        bytes_.resize(end);
        there_.resize(end);
    }
    for (size_t at = std::max<size_t>(offset, ready_); at < end; ++at) {
        if (there_[at]) continue;
        bytes_[at] = piece[at - offset];
        there_[at] = 1;
    }
    while (ready_ < there_.size() && there_[ready_])
        ++ready_;
}

Bytes Window::contiguous() const {
    return Bytes(bytes_).first(ready_);
}

void Window::drop(size_t size) {
    const auto dropped = static_cast<std::ptrdiff_t>(std::min(size, bytes_.size()));
    bytes_.erase(bytes_.begin(), bytes_.begin() + dropped);
    there_.erase(there_.begin(), there_.begin() + dropped);
    ready_ -= std::min(ready_, size);
    if (bytes_.empty()) *this = {};
}

size_t Flows::Hash::operator()(const FlowKey& key) const {
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(key.data()), key.size()});
}

Verdict Flows::judge(const Segment& segment, const Mac& client, const Lists& lists) {
    if (segment.payload.empty()) return Verdict::Look;
    auto& flow = flow_of(segment);
    const auto before = flow.window.memory();
    const Look look{flow, segment, client, lists};
    const auto verdict = segment.port == kHttpPort ? judge_http(look) : judge_tls(look);
    memory_ += flow.window.memory() - before;
    if (verdict != Verdict::Look) remove(segment.key);
    make_room();
    return verdict;
}

Flow& Flows::flow_of(const Segment& segment) {
    auto found = by_key_.find(segment.key);
    if (found != by_key_.end()) {
        const auto ahead = distance(found->second->next, segment.sequence);
        if (ahead >= -kReach && ahead <= kReach) {
            flows_.splice(flows_.end(), flows_, found->second);
            return flows_.back();
        }
        remove(segment.key);
    }
    flows_.push_back({.key = segment.key, .next = segment.sequence});
    by_key_[segment.key] = std::prev(flows_.end());
    return flows_.back();
}

void Flows::remove(const FlowKey& key) {
    const auto found = by_key_.find(key);
    memory_ -= found->second->window.memory();
    flows_.erase(found->second);
    by_key_.erase(found);
}

void Flows::make_room() {
    while (flows_.size() > kMaxFlows || memory_ > kMaxMemory)
        remove(FlowKey(flows_.front().key));
}

}  // namespace platform::inspect
