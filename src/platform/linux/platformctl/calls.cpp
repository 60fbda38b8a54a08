#include <dirent.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/include/zu_ipc.h"
#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"
#include "platform/linux/platformctl/commands.h"
#include "platform/linux/record_text.h"

namespace {

bool parse_hex(std::string_view digits, std::vector<uint8_t>& bytes) {
    if (digits.size() % 2 != 0 || digits.size() / 2 > kIpcMaxRecord) return false;
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != digits.npos) return false;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::string pair(digits.substr(i, 2));
        bytes.push_back(static_cast<uint8_t>(strtoul(pair.c_str(), nullptr, 16)));
    }
    return true;
}

/// "platformd" for the socket /var/run/zu_ipc/.platformd.
std::string service_of(const sockaddr_un& address) {
    const char* name = strrchr(address.sun_path, '/') + 1;
    return name[0] == '.' ? name + 1 : name;
}

}  // namespace

int call_name(Words words) {
    std::vector<uint8_t> record;
    if (words.empty() || words.size() > 2) return kUsageStatus;
    if (words.size() == 2 && !parse_hex(words[1], record)) return kUsageStatus;
    sockaddr_un service;
    if (!ipc_resolve(words[0], service)) return complain("nobody answers to %s", words[0]);
    const auto result = zu_ipc_call(words[0], record.data(), static_cast<uint32_t>(record.size()));
    printf("result %d\n", result);
    std::string hex;
    platform::append_hex(hex, record);
    if (!record.empty()) printf("record %s\n", hex.c_str());
    return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int list_names(Words words) {
    if (!words.empty()) return kUsageStatus;
    const auto path = ipc_path("");
    DIR* directory = opendir(path.text);
    if (!directory) return complain("%s: %s", path.text, strerror(errno));
    std::map<std::string, std::string> services;
    sockaddr_un service;
    while (const dirent* entry = readdir(directory))
        if (ipc_resolve(entry->d_name, service)) services[entry->d_name] = service_of(service);
    closedir(directory);
    for (const auto& [name, by] : services)
        printf("%s %s\n", name.c_str(), by.c_str());
    return EXIT_SUCCESS;
}
