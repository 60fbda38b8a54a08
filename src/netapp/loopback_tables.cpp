#include "netapp/loopback.h"

namespace appcfg {
namespace {

using Settings = IgdSysmngLoopdetectAttrConfTab;

constexpr Column kColumns[] = {
    COLUMN(Settings, ulReserved).unstored(),
    COLUMN(Settings, ucLoopbackEnable).bit(Settings::Enable).at_most(1),
    COLUMN(Settings, ucPkgPerSec).bit(Settings::Rate),
    FILLER(Settings, aucReserved),
    COLUMN(Settings, ucLoopExistPeriod).bit(Settings::ExistPeriod),
    COLUMN(Settings, ucLoopCancelPeriod).bit(Settings::CancelPeriod),
    COLUMN(Settings, aucVlanTag).bit(Settings::Vlans).keeps(31),
    COLUMN(Settings, aucLoopEthType).bit(Settings::EtherType),
};

}  // namespace

constexpr TableOf<Settings> loopback_table =
    make_table<Settings>(IGD_SYSMNG_LOOPDETECT_ATTR_TAB, "app_netapp",
                         "IGD_SYSMNG_LOOPDETECT_ATTR_TAB", kColumns, Settings::All);

int32_t register_loopback_tables() {
    static constexpr TableDescriptor kDescriptors[] = {single_row_table<loopback_table>};
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}

}  // namespace appcfg
