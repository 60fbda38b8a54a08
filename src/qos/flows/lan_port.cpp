#include "qos/flows/lan_port.h"

#include <cstring>

#include "core/log.h"
#include "securec.h"

using namespace appcfg;

int32_t igdCmUtlLanportName2Portid(const char* name) {
    QOS_LOG("portName:%s\n\r\n", name);
    if (!std::strstr(name, "LAN") && !std::strstr(name, "lan")) {
        // Log collectors match the text, which names a former operation.
        QOS_LOG("igdCmQosElanName2Portid port name[%s] invalid\n\r\n", name);
        return -1;
    }
    int32_t linkid = 0;
    sscanf_s(name, "%*[LAN|lan]%d", &linkid);
    QOS_LOG("linkid=%d\n\r\n", linkid);
    // The number may be any.
    return static_cast<int32_t>(static_cast<uint32_t>(linkid) - 1);
}
