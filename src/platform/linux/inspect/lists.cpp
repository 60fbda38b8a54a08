#include "platform/linux/inspect/lists.h"

#include <algorithm>
#include <cstring>

#include "platform/linux/inspect/list_message.h"

namespace platform::inspect {

namespace {

constexpr std::string_view kHostCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-_.:";

template <size_t N>
bool text_of(const char (&member)[N], std::string_view& text) {
    text = {member, strnlen(member, N)};
    return text.size() < N;
}

/// [SCHEME://][*.]HOST[:PORT][/PATH]
void parse_url(std::string_view text, Entry& entry) {
    text = trimmed(text);
    const auto scheme = text.find("://");
    if (scheme != text.npos) text.remove_prefix(scheme + 3);
    if (text.starts_with("*.")) text.remove_prefix(1);
    if (text.starts_with('.')) text.remove_prefix(1);
    const auto host = std::min(text.find_first_of("/?#"), text.size());
    entry.host = host_in(text.substr(0, host));
    entry.path = decoded(text.substr(host));
    if (!entry.path.empty() && entry.path[0] != '/') entry.path.insert(0, 1, '/');
    if (entry.path == "/") entry.path.clear();
}

/// The host itself, and all below it.
bool covers_host(std::string_view listed, std::string_view host) {
    if (!host.ends_with(listed)) return false;
    host.remove_suffix(listed.size());
    return host.empty() || host.ends_with('.');
}

/// The path itself, and all below it.
bool covers_path(std::string_view listed, std::string_view path) {
    if (!path.starts_with(listed)) return false;
    path.remove_prefix(listed.size());
    return path.empty() || listed.ends_with('/') ||
           std::string_view("/?#&;").find(path[0]) != path.npos;
}

}  // namespace

bool parse(const st_url_address& address, Entry& entry) {
    std::string_view url, mac;
    if (!text_of(address.url_name, url) || !text_of(address.host_mac, mac)) return false;
    parse_url(url, entry);
    entry.protocols = address.proto_mask & kAllProtocols;
    entry.for_one_host = !mac.empty();
    const bool is_host = entry.host.find_first_not_of(kHostCharacters) == entry.host.npos;
    return !entry.host.empty() && is_host && (mac.empty() || base::parse_mac(mac, entry.mac));
}

bool Lists::take(Bytes message) {
    ListHeader header;
    if (message.size() < sizeof(header)) return false;
    memcpy(&header, message.data(), sizeof(header));
    auto rest = message.subspan(sizeof(header));
    if (header.magic != kListMagic || header.list_type > kUrlFilterWhiteList ||
        header.count > kMaxAddresses || rest.size() != header.count * sizeof(st_url_address))
        return false;
    std::vector<Entry> entries(header.count);
    for (auto& entry : entries) {
        st_url_address address;
        memcpy(&address, rest.data(), sizeof(address));
        if (!parse(address, entry)) return false;
        rest = rest.subspan(sizeof(address));
    }
    white_ = header.list_type == kUrlFilterWhiteList;
    id_ = list_id(message);
    entries_ = std::move(entries);
    return true;
}

// Of TLS only the host is seen: what lists a path of it does not stop it, but lets it pass.
bool Lists::is_listed(const Entry& entry, const Asked& asked) const {
    const bool by_path = !entry.path.empty();
    if (asked.host.empty() || !covers_host(entry.host, asked.host)) return false;
    return asked.protocol == kHttp ? !by_path || covers_path(entry.path, asked.path)
                                   : !by_path || white_;
}

bool Lists::stops(const Asked& asked) const {
    const auto counts = [&asked](const Entry& entry) {
        const bool is_its = !entry.for_one_host || entry.mac == asked.client;
        return is_its && (entry.protocols & asked.protocol) != 0;
    };
    const auto is_hit = [&](const Entry& entry) {
        return counts(entry) && is_listed(entry, asked);
    };
    const bool listed = std::ranges::any_of(entries_, is_hit);
    return white_ ? !listed && std::ranges::any_of(entries_, counts) : listed;
}

}  // namespace platform::inspect
