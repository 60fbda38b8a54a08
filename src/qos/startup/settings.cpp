#include "qos/startup/settings.h"

namespace appcfg::qos {
namespace {

constexpr Column kTr069Columns[] = {COLUMN(IgdTr069AttrTab, aucAcsUrl)};

constexpr Column kVoipColumns[] = {
    COLUMN(IgdVoipAttrTab, ucCtrlDscp),
    COLUMN(IgdVoipAttrTab, ucDataDscp),
};

}  // namespace

constexpr TableOf<IgdTr069AttrTab> tr069_table =
    make_table<IgdTr069AttrTab>(IGD_TR069_ATTR_TAB, "tr069", "IGD_TR069_ATTR_TAB", kTr069Columns);

constexpr TableOf<IgdVoipAttrTab> voip_table =
    make_table<IgdVoipAttrTab>(IGD_VOIP_ATTR_TAB, "voip", "IGD_VOIP_ATTR_TAB", kVoipColumns);

int32_t register_settings() {
    static constexpr TableDescriptor kDescriptors[] = {
        read_only_table<tr069_table>,
        read_only_table<voip_table>,
    };
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg::qos
