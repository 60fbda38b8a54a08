#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

#include "base/names.h"
#include "platform/include/zu_os.h"

namespace {

const char* or_empty(const char* text) {
    return text ? text : "";
}

int hex_digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

extern "C" int32_t zu_os_strcmp(const char* a, const char* b) {
    return strcmp(or_empty(a), or_empty(b));
}

extern "C" uint32_t zu_os_strlen(const char* text) {
    return static_cast<uint32_t>(strlen(or_empty(text)));
}

extern "C" int32_t zu_os_strtol(const char* text, char** end, int32_t base) {
    using Limits = std::numeric_limits<int32_t>;
    const auto value = strtoll(or_empty(text), end, base);
    return static_cast<int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

extern "C" int32_t zu_mac_pton(const char* text, uint8_t mac[6]) {
    text = or_empty(text);
    uint8_t parsed[6];
    for (size_t i = 0; i < sizeof(parsed); ++i, text += 3) {
        const int high = hex_digit(text[0]);
        const int low = high < 0 ? -1 : hex_digit(text[1]);
        if (low < 0 || text[2] != (i + 1 < sizeof(parsed) ? ':' : '\0')) return -1;
        parsed[i] = static_cast<uint8_t>(high * 16 + low);
    }
    memcpy(mac, parsed, sizeof(parsed));
    return 0;
}

// Interfaces are configured by the names that the kernel gives them.
extern "C" int32_t igd_cm_interface_name_to_interface_name(const char* name, char* mapped,
                                                           uint32_t size) {
    const std::string_view known = or_empty(name);
    if (!base::is_interface_name(known) || known.size() >= size) return -1;
    mapped[known.copy(mapped, known.size())] = '\0';
    return 0;
}
