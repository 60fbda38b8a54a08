#include "platform/linux/platformd/service.h"

namespace platform::platformd::wlan_isolation {

ServiceRegistration g_registration({.name = "wlan_isolation",
                                    .init = "zu_sec_wlan_isolation_init"});

}  // namespace platform::platformd::wlan_isolation
