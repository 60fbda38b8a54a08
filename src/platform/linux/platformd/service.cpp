#include "platform/linux/platformd/service.h"

#include <cstdarg>
#include <cstdio>

#include "platform/linux/record_text.h"

namespace platform::platformd {

namespace {

constinit ServiceRegistration* g_first = nullptr;

}  // namespace

ServiceRegistration::ServiceRegistration(const Service& registered)
    : service(registered), next(g_first) {
    g_first = this;
}

ServiceRegistration* ServiceRegistration::first() {
    return g_first;
}

bool is_unenforceable(std::string_view line) {
    return line.substr(0, line.find('"')).find(kNotEnforced) != line.npos;
}

void state_line(std::string& out, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(nullptr, 0, format, arguments);
    std::string line(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    vsnprintf(line.data(), line.size() + 1, format, again);
    va_end(again);
    va_end(arguments);
    out += "  " + line + '\n';
}

void state_record(std::string& out, const std::string& label, const RecordLayout& layout,
                  const void* record) {
    out += "  " + label;
    append_record(out, layout, {static_cast<const uint8_t*>(record), layout.size});
    out += '\n';
}

}  // namespace platform::platformd
