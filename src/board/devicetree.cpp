#include "board/devicetree.h"

#include <cerrno>
#include <cstdio>

namespace board {

Property read_property(const char* name) {
    Property property;
    char path[64];
    std::snprintf(path, sizeof(path), "/sys/firmware/devicetree/base/%s", name);
    std::FILE* file = std::fopen(path, "re");
    if (!file) {
        property.open_error = errno;
        return property;
    }
    errno = 0;
    property.size = std::fread(property.text, 1, Property::kMost, file);
    if (std::ferror(file)) property.read_error = errno ? errno : EIO;
    std::fclose(file);
    return property;
}

}  // namespace board
