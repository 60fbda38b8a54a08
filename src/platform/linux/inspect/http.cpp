#include "platform/linux/inspect/http.h"

#include <strings.h>

#include <algorithm>
#include <charconv>

namespace platform::inspect {

namespace {

constexpr std::string_view kTokenCharacters =
    "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr size_t kMaxMethod = 32;
constexpr std::string_view kVersion = "HTTP/1.";
constexpr std::string_view kConnect = "CONNECT";

bool same_name(std::string_view one, std::string_view other) {
    return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

Reading read_method(std::string_view text, std::string_view& method) {
    const auto end = std::min(text.find_first_not_of(kTokenCharacters), text.size());
    if (end > kMaxMethod) return Reading::Other;
    if (end == text.size()) return Reading::More;
    method = text.substr(0, end);
    return end > 0 && text[end] == ' ' ? Reading::Done : Reading::Other;
}

// Whoever asks a proxy says the whole address; its host counts more than the header's.
void take_target(std::string_view method, std::string_view target, Request& request) {
    const auto scheme = target.find("://");
    if (method == kConnect) {
        request.host = host_in(target);
        request.boundless = true;
        target = {};
    } else if (!target.starts_with('/') && scheme != target.npos) {
        target.remove_prefix(scheme + 3);
        const auto path = std::min(target.find_first_of("/?#"), target.size());
        request.host = host_in(target.substr(0, path));
        target.remove_prefix(path);
    }
    request.path = decoded(target);
    if (!request.path.starts_with('/')) request.path.insert(0, 1, '/');
}

Reading read_first_line(std::string_view text, size_t& size, Request& request) {
    std::string_view method;
    const auto reading = read_method(text, method);
    if (reading != Reading::Done) return reading;
    const auto end = text.find('\n');
    if (end == text.npos) return Reading::More;
    const auto line = trimmed(text.substr(0, end));
    const auto version = line.rfind(' ');
    if (version <= method.size() || version == line.npos ||
        !line.substr(version + 1).starts_with(kVersion))
        return Reading::Other;
    take_target(method, trimmed(line.substr(method.size(), version - method.size())), request);
    size = end + 1;
    return Reading::Done;
}

void take_length(std::string_view value, Request& request) {
    uint64_t length = 0;
    const auto* end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, length);
    const bool contradicts = request.body != 0 && request.body != length;
    if (error != std::errc() || stop != end || contradicts) request.boundless = true;
    request.body = length;
}

void take_header(std::string_view header, Request& request) {
    const auto colon = std::min(header.find(':'), header.size());
    const auto name = trimmed(header.substr(0, colon));
    const auto value = trimmed(header.substr(std::min(colon + 1, header.size())));
    if (same_name(name, "host") && request.host.empty())
        request.host = host_in(value);
    else if (same_name(name, "content-length"))
        take_length(value, request);
    else if (same_name(name, "transfer-encoding") || same_name(name, "upgrade"))
        request.boundless = true;
}

/// Behind the header's line end, which is one that no blank follows.
size_t end_of_header(std::string_view text) {
    auto end = text.find('\n');
    while (end != text.npos && end + 1 < text.size() &&
           (text[end + 1] == ' ' || text[end + 1] == '\t'))
        end = text.find('\n', end + 1);
    return end == text.npos || end + 1 == text.size() ? text.npos : end + 1;
}

/// How much of the text is an empty line.
size_t empty_line(std::string_view text) {
    if (text.starts_with("\r\n")) return 2;
    return text.starts_with('\n') ? 1 : 0;
}

}  // namespace

// Servers pass over line ends before a request.
Reading read_request(Bytes stream, Request& request) {
    request = {};
    const std::string_view text(reinterpret_cast<const char*>(stream.data()), stream.size());
    size_t at = std::min(text.find_first_not_of("\r\n"), text.size());
    size_t line = 0;
    const auto reading = read_first_line(text.substr(at), line, request);
    if (reading != Reading::Done) return reading;
    at += line;
    while (empty_line(text.substr(at)) == 0) {
        const auto end = end_of_header(text.substr(at));
        if (end == text.npos) return Reading::More;
        take_header(text.substr(at, end), request);
        at += end;
    }
    request.size = at + empty_line(text.substr(at));
    return Reading::Done;
}

}  // namespace platform::inspect
