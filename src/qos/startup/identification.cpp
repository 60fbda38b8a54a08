#include <charconv>
#include <cstring>

#include "core/bounded.h"
#include "core/log.h"
#include "core/rows.h"
#include "qos/startup/settings.h"
#include "qos/startup/startup.h"
#include "records/qos.h"

using namespace platform;

namespace appcfg::qos {
namespace {

/// The third word of a URL, which is its port if it tells one; null if there are fewer. The URL is
/// cut at its first separator.
const char* third_word(char* url) {
    constexpr char kSeparators[] = "/:";
    char* rest = nullptr;
    const char* word = strtok_s(url, kSeparators, &rest);
    for (int more = 2; more > 0 && word; --more)
        word = strtok_s(nullptr, kSeparators, &rest);
    return word;
}

/// The number that a text begins with, 0 if it does not or is too large.
uint32_t leading_number(const char* text) {
    uint32_t number = 0;
    std::from_chars(text, text + std::strlen(text), number);
    return number;
}

}  // namespace

void identify_tr069(const char* operation) {
    IgdTr069AttrTab TR069entry{};
    static_cast<void>(read_row(tr069_table, 0, TR069entry));
    QOS_LOG_AS(operation, "############ TR069entry.aucAcsUrl [%s] ############\r\n\r\n",
               TR069entry.aucAcsUrl);
    st_tr069_identify record;
    zero(record);
    int32_t lRet = 0;
    if (const char* port = third_word(TR069entry.aucAcsUrl)) {
        record.ui_enable = 1;
        record.ui_port = leading_number(port);
        lRet = call(kTr069IdentifySet, record);
    }
    QOS_LOG_AS(operation,
               "############ TR069entry.aucAcsUrl [%s] ui_port [%d] ############\r\n\r\n",
               TR069entry.aucAcsUrl, record.ui_port);
    QOS_LOG_AS(operation, "############ lRet [%d] ############\r\n\r\n", lRet);
}

void identify_voip(const char* operation) {
    IgdVoipAttrTab row{};
    static_cast<void>(read_row(voip_table, 0, row));
    st_voip_identify voip;
    zero(voip);
    voip.st_ctrl.em_kind = kVoipControl;
    voip.st_ctrl.ui_dscp = row.ucCtrlDscp;
    voip.st_data[0].em_kind = kVoipData;
    voip.st_data[0].ui_dscp = row.ucDataDscp;
    QOS_LOG_AS(operation,
               "############ voip.st_ctrl.ui_dscp [%d] st_data[0].ui_dscp [%d] "
               "############\r\n\r\n",
               voip.st_ctrl.ui_dscp, voip.st_data[0].ui_dscp);
    if (const int32_t lRet = call(kVoipIdentifySet, voip); lRet != 0)
        QOS_LOG_AS(operation, "############ lRet [%d] ############\r\n\r\n", lRet);
}

}  // namespace appcfg::qos
