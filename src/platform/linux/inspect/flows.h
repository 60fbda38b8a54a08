#pragma once

#include <list>
#include <unordered_map>
#include <vector>

#include "platform/linux/inspect/lists.h"
#include "platform/linux/inspect/packet.h"

namespace platform::inspect {

/// What becomes of a packet and its connection. The numbers are those of the packet's mark.
enum class Verdict : uint32_t {
    Look = 0,  ///< it passes, and more is to be seen of the connection
    Pass = 1,  ///< all of the connection passes from now on
    Stop = 2,  ///< nothing of the connection passes from now on
};

/// How much of a client's stream is kept until a name is found in it.
inline constexpr uint32_t kWindow = 8192;

/// The beginning of a stream, of pieces in any order. What came first counts.
class Window {
  public:
    void put(uint32_t offset, Bytes piece);
    /// As far as there is no gap.
    Bytes contiguous() const;
    bool is_full() const { return ready_ == kWindow; }
    void drop(size_t size);
    /// How many bytes of it the window takes.
    size_t memory() const { return bytes_.capacity() + there_.capacity(); }

  private:
    std::vector<uint8_t> bytes_;
    std::vector<uint8_t> there_;  ///< 1: that byte has come
    size_t ready_ = 0;
};

/// A client's side of one connection.
struct Flow {
    FlowKey key;
    uint32_t next;      ///< number of the first byte that has not been understood
    uint64_t skip = 0;  ///< how many from there on are a body
    /// Where the next request begins is not known: with any packet that looks like one.
    bool lost = false;
    Window window = {};  ///< from `next` on
};

/// All connections in which a name may still come, those of the least recent packet first to go.
class Flows {
  public:
    /// What to do with a packet of that client's that has something to say.
    Verdict judge(const Segment& segment, const Mac& client, const Lists& lists);

    size_t size() const { return flows_.size(); }

  private:
    struct Hash {
        size_t operator()(const FlowKey& key) const;
    };

    Flow& flow_of(const Segment& segment);
    void remove(const FlowKey& key);
    void make_room();

    std::list<Flow> flows_;
    std::unordered_map<FlowKey, std::list<Flow>::iterator, Hash> by_key_;
    size_t memory_ = 0;
};

}  // namespace platform::inspect
