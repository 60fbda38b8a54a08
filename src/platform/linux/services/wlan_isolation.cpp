#include "platform/linux/platformd/service.h"

namespace {

ServiceRegistration g_registration({.name = "wlan_isolation",
                                    .init = "zu_sec_wlan_isolation_init"});

}  // namespace
