#pragma once

#include <vector>

#include "base/mac_address.h"
#include "platform/include/records/url_filter.h"
#include "platform/linux/inspect/names.h"

namespace platform::inspect {

using Mac = base::MacAddress;

/// As the bits of an address's `proto_mask`.
enum Protocol : uint32_t { kHttp = 1, kHttps = 2 };
inline constexpr uint32_t kAllProtocols = kHttp | kHttps;

/// Where they are looked for.
inline constexpr uint16_t kHttpPort = 80;
inline constexpr uint16_t kHttpsPort = 443;

/// What an address of the URL filter means.
struct Entry {
    uint32_t protocols;
    std::string host;
    std::string path;  ///< empty: the whole host
    bool for_one_host;
    Mac mac;  ///< that host's
};

/// False if it names no host or no such network card, or is no record at all.
bool parse(const st_url_address& address, Entry& entry);

/// What a client asks for.
struct Asked {
    Protocol protocol;
    Mac client;
    std::string_view host;  ///< empty: it does not say
    std::string_view path;  ///< of HTTP only
};

/// The list that counts for a client and a protocol are the entries for all clients and its own; an
/// empty one lets everything pass.
class Lists {
  public:
    /// Replaces all by what a list message says. False if it is none: nothing has changed then.
    bool take(Bytes message);

    bool stops(const Asked& asked) const;

    /// `list_id` of the message; 0 before the first one.
    uint64_t id() const { return id_; }

  private:
    bool is_listed(const Entry& entry, const Asked& asked) const;

    bool white_ = false;
    uint64_t id_ = 0;
    std::vector<Entry> entries_;
};

}  // namespace platform::inspect
