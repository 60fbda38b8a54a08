#include <string_view>

#include "base/names.h"
#include "platform/include/vsuci.h"
#include "platform/include/zu_ipc.h"
#include "platform/include/zu_os.h"

// What this repository's own platform adds to the interface and a vendor's libraries lack: there
// every configuration call stands for itself, and registered entries are answered without further
// ado.

extern "C" {

void vsuci_hold(const char*) {}
int32_t vsuci_release(const char*) {
    return 0;
}
void vsuci_alternate(const char*) {}
int32_t vsuci_settle(const char*) {
    return 0;
}
int32_t zu_owal_ipc_append(const void*, uint32_t) {
    return 0;
}
int32_t zu_owal_ipc_serve() {
    return 0;
}
int32_t igd_cm_interface_name_to_interface_name(const char* name, char* mapped, uint32_t size) {
    const std::string_view known = name ? name : "";
    if (!base::is_interface_name(known) || known.size() >= size) return -1;
    mapped[known.copy(mapped, known.size())] = '\0';
    return 0;
}
}
