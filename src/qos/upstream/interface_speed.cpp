#include "qos/upstream/interface_speed.h"

#include "core/bounded.h"
#include "core/log.h"
#include "core/rows.h"
#include "qos/qos.h"
#include "records/qos.h"
#include "zu_os.h"

using namespace appcfg;
using namespace appcfg::qos;

int32_t interface_speed_set(const InterfaceSpeed& entry) {
    st_interface_speed record;
    zero(record);
    char name[sizeof(entry.aucInterfaceName)];
    cut_text(name, entry.aucInterfaceName);
    int32_t lRet = igd_cm_interface_name_to_interface_name(name, record.ac_interface,
                                                           sizeof(record.ac_interface));
    if (lRet != 0) {
        QOS_LOG("igd_cm_interface_name_to_interface_name[%s] failed 0x%x\n\r\n", name,
                static_cast<uint32_t>(lRet));
        return lRet;
    }
    record.ui_speed[0] = entry.ulUpSpeed;
    record.ui_speed[1] = entry.ulDownSpeed;
    lRet = call(platform::kInterfaceSpeedSet, record);
    if (lRet != 0)
        QOS_LOG("zu_qos_interface_speed_attr_set failed 0x%x\n\r\n", static_cast<uint32_t>(lRet));
    return lRet;
}

void appcfg::qos::replay_interface_speeds() {
    for_each_row(interface_speed_table, [](const InterfaceSpeed& entry, int32_t) {
        static_cast<void>(interface_speed_set(entry));
    });
}
