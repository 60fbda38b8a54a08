#include <string_view>

#include "base/tokens.h"
#include "core/bounded.h"
#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "netapp/loopback.h"
#include "records/loopback.h"
#include "zu_os.h"

using namespace appcfg;
using namespace platform;

namespace {

using Settings = IgdSysmngLoopdetectAttrConfTab;

/// The number ends where the piece does, at a comma at the latest.
uint32_t vlan_of(std::string_view piece) {
    if (piece == "untagged") return 0;
    return static_cast<uint32_t>(zu_os_strtol(piece.data(), nullptr, 10));
}

/// Fills the tags from the NUL-terminated list `text`.
void igdCmSysmngResolveLbdtVlanList(const char* text, st_loopback_detection_attr& attr) {
    base::Tokens pieces(text, ",");
    for (std::string_view piece; pieces.next(piece);) {
        if (attr.tagnum == std::size(attr.tag)) {
            LOOPBACK_LOG("VlanList is full, [%s] is left out.\t\n\r\n", piece.data());
            return;
        }
        attr.tag[attr.tagnum] = vlan_of(piece);
        LOOPBACK_LOG("VlanList[%d] = [%08x].\t\n\r\n", attr.tagnum, attr.tag[attr.tagnum]);
        ++attr.tagnum;
    }
}

st_loopback_detection_attr attr_of(const Settings& settings) {
    st_loopback_detection_attr attr{};
    attr.enable = settings.ucLoopbackEnable;
    igdCmSysmngResolveLbdtVlanList(settings.aucVlanTag, attr);
    sscanf_s(settings.aucLoopEthType, "%x", &attr.ethtype);
    return attr;
}

void set_time(const char* operation, const Settings& settings) {
    st_loopback_detection_time time{.exist = settings.ucLoopExistPeriod,
                                    .cancel = settings.ucLoopCancelPeriod,
                                    .pkt_per_sec = settings.ucPkgPerSec};
    LOOPBACK_LOG_AS(operation,
                    "=============================== zu_loopback_detection_time info start "
                    "===============================\t\n\r\n");
    LOOPBACK_LOG_AS(operation, "loopback_detection_time.exist [%d].\t\n\r\n", time.exist);
    LOOPBACK_LOG_AS(operation, "loopback_detection_time.cancel [%d].\t\n\r\n", time.cancel);
    LOOPBACK_LOG_AS(operation, "loopback_detection_time.pkt_per_sec [%d].\t\n\r\n",
                    time.pkt_per_sec);
    LOOPBACK_LOG_AS(operation,
                    "=============================== zu_loopback_detection_time info end "
                    "===============================\t\n\r\n");
    const int32_t lRet = call(kLoopbackTimeSet, time);
    if (lRet != 0)
        LOOPBACK_LOG_AS(operation,
                        "call zu_loopback_detection_time_set() with lRet [%08x].\t\n\r\n", lRet);
}

int32_t start_port(const char* operation, st_loopback_detection_attr attr) {
    for (uint32_t i = 0; i < attr.tagnum; ++i)
        LOOPBACK_LOG_AS(operation, "loopback_detection_attr.tag[%d]: %d.\t\n\r\n", i, attr.tag[i]);
    LOOPBACK_LOG_AS(operation,
                    "=============================== zu_loopback_detection_attr info start "
                    "===============================\t\n\r\n");
    LOOPBACK_LOG_AS(operation, "loopback_detection_attr.enable [%d].\t\n\r\n", attr.enable);
    LOOPBACK_LOG_AS(operation, "loopback_detection_attr.port [%d].\t\n\r\n", attr.port);
    LOOPBACK_LOG_AS(operation, "loopback_detection_attr.ethtype [%08x].\t\n\r\n", attr.ethtype);
    LOOPBACK_LOG_AS(operation, "loopback_detection_attr.tagnum [%d].\t\n\r\n", attr.tagnum);
    LOOPBACK_LOG_AS(operation,
                    "=============================== zu_loopback_detection_attr info end "
                    "===============================\t\n\r\n");
    const int32_t lRet = call(kLoopbackStart, attr);
    if (lRet != 0)
        LOOPBACK_LOG_AS(operation, "call zu_loopback_detection_start() with lRet [%08x].\t\n\r\n",
                        lRet);
    return lRet;
}

/// Result of the last port; the others are only logged.
int32_t start_ports(const char* operation, const Settings& settings) {
    st_loopback_detection_attr attr = attr_of(settings);
    int32_t last = 0;
    for (attr.port = 0; attr.port < kLoopbackPorts; ++attr.port)
        last = start_port(operation, attr);
    return last;
}

}  // namespace

int32_t igdCmSysmngLoopbackAttrSet(Settings* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    end_texts(loopback_table, request);
    LOOPBACK_LOG("ucLoopbackEnable [%d].\t\n\r\n", request->ucLoopbackEnable);
    LOOPBACK_LOG("ucLoopExistPeriod [%d].\t\n\r\n", request->ucLoopExistPeriod);
    LOOPBACK_LOG("ucLoopCancelPeriod [%d].\t\n\r\n", request->ucLoopCancelPeriod);
    LOOPBACK_LOG("aucVlanTag [%s].\t\n\r\n", request->aucVlanTag);
    LOOPBACK_LOG("aucLoopEthType [%s].\t\n\r\n", request->aucLoopEthType);
    LOOPBACK_LOG("ucPkgPerSec [%d].\t\n\r\n", request->ucPkgPerSec);
    if (!selected_in_range(loopback_table, *request)) {
        LOOPBACK_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    int32_t result = IGD_CM_OPERATE_FAIL;
    Settings settings{};
    if (read_row(loopback_table, 0, settings)) {
        merge_selected(loopback_table, settings, *request);
        set_time(__func__, settings);
        result = start_ports(__func__, settings);
    } else {
        LOOPBACK_LOG("mib_chain_get IGD_SYSMNG_LOOPDETECT_ATTR_TAB is fail.\t\n\r\n");
    }
    write_row(loopback_table, 0, settings);
    return result;
}

int32_t igdCmSysmngLoopbackAttrGet(Settings* settings, uint32_t size) {
    if (!is_record(settings, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    Settings stored{};
    if (!read_row(loopback_table, 0, stored)) {
        LOOPBACK_LOG("mib_chain_get IGD_SYSMNG_LOOPDETECT_ATTR_TAB is fail.\t\n\r\n");
        return IGD_CM_OPERATE_FAIL;
    }
    copy_record(*settings, stored);
    return 0;
}

int32_t igdCmSysmngLoopbackStateGet(IgdSysmngLoopbackStateInfoTab* state, uint32_t size) {
    if (!is_record(state, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    LOOPBACK_LOG("pIgdSysmngLoopbackStateInfoTab->ucPortId [%d].\t\n\r\n", state->ucPortId);
    const auto port = static_cast<uint8_t>(state->ucPortId - 1);
    if (port >= kLoopbackLanPorts) {
        LOOPBACK_LOG("error: IGD_CM_GLOBAL_INPUT_PARA_ERROR.\t\n\r\n");
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    }
    st_loopback_detection_result detection_result{.port = port, .status = 0};
    const int32_t lRet = call(kLoopbackResultGet, detection_result);
    if (lRet != 0)
        LOOPBACK_LOG("Call zu_loopback_detection_result_get() with lRet [%08x].\t\n\r\n", lRet);
    LOOPBACK_LOG("detection_result.status [%d].\t\n\r\n", detection_result.status);
    state->ucLoopStatus = static_cast<uint8_t>(detection_result.status);
    return lRet;
}

int32_t igdCmSysmngLoopbackAttrInit() {
    LOOPBACK_LOG(
        "############ System Management LBDT Attribute Table Init Start ############\n\r\n");
    Settings settings{};
    static_cast<void>(read_row(loopback_table, 0, settings));
    const int32_t result = igdCmSysmngLoopbackAttrSet(&settings, sizeof(settings));
    if (result != 0)
        LOOPBACK_LOG(
            "############ System Management LBDT Attribute Table Init Failed ############\n\r\n");
    LOOPBACK_LOG("############ System Management LBDT Attribute Table Init End ############\n\r\n");
    return result;
}
