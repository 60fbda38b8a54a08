#pragma once

#include <cstdint>
#include <type_traits>

#include "platform/include/records/url_filter.h"
#include "platform/linux/inspect/names.h"

// What platformd and appcfg-inspect say to each other: sequenced packets in host byte order, each
// answered by one. Neither believes what the other says without looking at it.

namespace platform::inspect {

/// Says what is listed from now on; `count` addresses follow.
inline constexpr uint32_t kListMagic = 0x55524c31;
/// Asks only; nothing follows.
inline constexpr uint32_t kAskMagic = 0x55524c32;
inline constexpr uint32_t kAnswerMagic = 0x55524c33;

inline constexpr uint32_t kMaxAddresses = 1024;

struct ListHeader {
    uint32_t magic;
    uint32_t list_type;  ///< of the URL filter
    uint32_t count;      ///< of st_url_address behind it
    uint32_t reserved;   ///< 0
};
static_assert(sizeof(ListHeader) == 16);

inline constexpr size_t kMaxListMessage =
    sizeof(ListHeader) + kMaxAddresses * sizeof(st_url_address);

struct Answer {
    uint32_t magic;
    uint32_t reserved;
    uint64_t list;     ///< `list_id` of the list message that is held; 0: none
    uint64_t judged;   ///< packets seen since the start
    uint64_t stopped;  ///< those of them that were not let through
};
static_assert(std::has_unique_object_representations_v<Answer>);

/// Tells list messages apart, not against malice (FNV-1a); never 0.
inline uint64_t list_id(Bytes message) {
    uint64_t id = 0xcbf29ce484222325;
    for (const auto byte : message)
        id = (id ^ byte) * 0x100000001b3;
    return id == 0 ? 1 : id;
}

}  // namespace platform::inspect
