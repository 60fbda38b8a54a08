#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/include/zu_ipc.h"
#include "platform/linux/control.h"
#include "platform/linux/ipc_client.h"
#include "platform/linux/ipc_directory.h"
#include "platform/linux/ipc_wire.h"
#include "platform/linux/platformctl/commands.h"
#include "platform/linux/record_text.h"

namespace platform::platformctl {

namespace {

using Bytes = std::span<const uint8_t>;

/// "platformd" for the socket /var/run/zu_ipc/.platformd.
std::string service_of(const sockaddr_un& address) {
    const char* name = strrchr(address.sun_path, '/') + 1;
    return name[0] == '.' ? name + 1 : name;
}

/// The record field by field, if platformd knows what is in it.
bool describe(const char* name, Bytes record, std::string& text) {
    static ControlText request;
    const auto name_size = strlen(name) + 1;
    if (name_size + record.size() > sizeof(request.text)) return false;
    memcpy(request.text, name, name_size);
    std::ranges::copy(record, request.text + name_size);
    request.length = static_cast<uint32_t>(name_size + record.size());
    if (zu_ipc_call(kDescribeCall, &request, sizeof(request)) != 0) return false;
    if (request.length > sizeof(request.text)) return false;
    text.assign(request.text, request.length);
    return true;
}

void print_record(const char* name, Bytes record) {
    std::string text;
    if (!describe(name, record, text)) {
        text = "record ";
        append_hex(text, record);
    }
    printf("%s\n", text.c_str());
}

}  // namespace

int call_name(Words words) {
    std::vector<uint8_t> record;
    if (words.empty() || words.size() > 2) return kUsageStatus;
    if (words.size() == 2 && !parse_hex(words[1], record)) return kUsageStatus;
    if (record.size() > kIpcMaxRecord) return kUsageStatus;
    sockaddr_un service;
    if (!ipc_resolve(words[0], service)) return complain("nobody answers to %s", words[0]);
    IpcReply reply;
    if (!ipc_call(words[0], record, reply)) return complain("%s is not answered", words[0]);
    printf("result %d\n", reply.result);
    record.assign(reply.record.begin(), reply.record.end());
    if (!record.empty()) print_record(words[0], record);
    return reply.result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
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

int release(Words words) {
    if (!words.empty()) return kUsageStatus;
    if (zu_ipc_call(kReleaseCall, nullptr, 0) == 0) return EXIT_SUCCESS;
    return complain("platformd does not answer, or cannot take out what is in force");
}

}  // namespace platform::platformctl
