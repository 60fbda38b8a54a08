#include "platform/linux/platformd/service.h"

namespace platform::platformd::qos {

ServiceRegistration g_registration({.name = "qos", .init = "zu_qos_init"});

}  // namespace platform::platformd::qos
