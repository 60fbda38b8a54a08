#include <cstring>

#include "core/bounded.h"
#include "core/record_log.h"
#include "core/row_queries.h"
#include "qos/flows/direction.h"
#include "qos/qos.h"
#include "records/qos.h"

using namespace appcfg;
using namespace appcfg::qos;
using namespace platform;

namespace {

zu_sal_qos_apps_queue_s record_of(const App& app) {
    zu_sal_qos_apps_queue_s record;
    zero(record);
    static_assert(sizeof(record.ac_app_name) > sizeof(app.aucAppName));
    std::memcpy(record.ac_app_name, app.aucAppName, sizeof(app.aucAppName));
    record.ui_queue = app.ucClassQueue;
    return record;
}

int32_t bind(const App& app) {
    zu_sal_qos_apps_queue_s record = record_of(app);
    return call(kQosAppSet, record);
}

int32_t unbind(const App& app) {
    zu_sal_qos_apps_queue_s record = record_of(app);
    return call(kQosAppDel, record);
}

int32_t find_app(uint8_t index, App& app) {
    return find_index(app_table, app, &App::ucAppIndex, index);
}

int32_t distribute_app(const App& app, Action action, const char* operation) {
    const zu_sal_qos_apps_queue_s record = record_of(app);
    LOG_RECORD(kQosLog, operation, "st_qos_apps_queue", kAppQueueLayout, record);
    int32_t lRet = 0;
    switch (action) {
        case Action::None:
            break;
        case Action::Add:
            lRet = bind(app);
            if (lRet != 0)
                QOS_LOG_AS(operation, "zu_qos_apps_queue_set failed with lRet [%08x].\r\n\r\n",
                           static_cast<uint32_t>(lRet));
            break;
        case Action::Delete:
            lRet = unbind(app);
            if (lRet != 0)
                QOS_LOG_AS(operation, "zu_qos_apps_queue_del failed with lRet [%08x].\r\n\r\n",
                           static_cast<uint32_t>(lRet));
            break;
        case Action::Reapply:
            QOS_LOG_AS(operation, " do nothing action is 3!\r\n\r\n");
            break;
    }
    return lRet;
}

}  // namespace

int32_t igdCmQosAppAttrAdd(App* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    if (count_rows(app_table) >= kMostApps) return IGD_CM_OPERATE_FULL;
    const uint8_t index = next_index(app_table, &App::ucAppIndex);
    App row{};
    if (request->ulBitmap != 0) {
        if (bind(*request) != 0) return IGD_CM_OPERATE_FAIL;
        row = *request;
    } else {
        row.ucClassQueue = index;
    }
    row.ucAppIndex = index;
    if (!add_row(app_table, row)) return IGD_CM_OPERATE_FAIL;
    request->ucAppIndex = index;
    return 0;
}

int32_t igdCmQosAppAttrSet(App* request, uint32_t size) {
    if (!is_record(request, size) || request->ucAppIndex > kMostApps)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    App app{};
    const int32_t position = find_app(request->ucAppIndex, app);
    if (position < 0) return IGD_CM_OPERATE_FAIL;
    if (const int32_t lRet = unbind(app); lRet != 0)
        QOS_LOG("First, Remove App from queue failed with lRet [%08x].\r\n\r\n",
                static_cast<uint32_t>(lRet));
    merge_selected(app_table, app, *request);
    if (bind(app) != 0) return IGD_CM_OPERATE_FAIL;
    return write_row(app_table, position, app) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosAppAttrDel(App* request, uint32_t size) {
    if (!is_record(request, size) || request->ucAppIndex > kMostApps)
        return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    App app{};
    const int32_t position = find_app(request->ucAppIndex, app);
    if (position < 0 || unbind(app) != 0) return IGD_CM_OPERATE_FAIL;
    return delete_row(app_table, position) ? 0 : IGD_CM_OPERATE_FAIL;
}

int32_t igdCmQosAppAttrGet(App* request, uint32_t size) {
    if (!is_record(request, size)) return IGD_CM_GLOBAL_INPUT_PARA_ERROR;
    App app{};
    if (find_app(request->ucAppIndex, app) < 0) return IGD_CM_OPERATE_FAIL;
    copy_record(*request, app);
    return 0;
}

int32_t igdCmQosAppEntryNumGet(uint32_t* count, uint32_t size) {
    return report_count(app_table, count, size);
}

int32_t igdCmQosAppGetallIndex(uint32_t* indexes, uint32_t size) {
    return report_indexes(app_table, &App::ucAppIndex, indexes, size);
}

int32_t igdCmQosAppGetallConfigInfo(App* rows, uint32_t size) {
    return report_rows(app_table, rows, size);
}

int32_t igdCmQosAppAttrDistribute(uint32_t action) {
    constexpr const char* operation = __func__;
    int32_t lRet = 0;
    for_each_row(app_table, [&](const App& app, int32_t) {
        lRet = distribute_app(app, static_cast<Action>(action), operation);
    });
    return lRet;
}

int32_t igdCmQosAppAttrInit() {
    QOS_LOG("############ QoS Module App Attribute Table Init Start ############\r\n\r\n");
    QOS_LOG("App lTotalNum [%d].\r\n\r\n", count_rows(app_table));
    constexpr const char* operation = __func__;
    int32_t lRet = 0;
    for_each_row(app_table, [&](App& app, int32_t position) {
        lRet = igdCmQosAppAttrSet(&app, sizeof(app));
        if (lRet != 0)
            QOS_LOG_AS(operation,
                       "############ QoS Module App Attribute Table[%d] distribure Failed "
                       "############\r\n\r\n",
                       position);
    });
    QOS_LOG("############ QoS Module App Attribute Table Init End ############\r\n\r\n");
    return lRet;
}
