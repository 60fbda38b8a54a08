#include "platform/linux/platformd/service.h"

namespace {

ServiceRegistration g_registration({.name = "qos", .init = "zu_qos_init"});

}  // namespace
