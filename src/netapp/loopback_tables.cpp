#include "netapp/loopback.h"

namespace {

using Settings = IgdSysmngLoopdetectAttrConfTab;

constexpr Column kColumns[] = {
    COLUMN(Settings, ulReserved).unstored(),
    COLUMN(Settings, ucLoopbackEnable).bit(0).at_most(1),
    COLUMN(Settings, ucPkgPerSec).bit(5),
    FILLER(Settings, aucReserved),
    COLUMN(Settings, ucLoopExistPeriod).bit(1),
    COLUMN(Settings, ucLoopCancelPeriod).bit(2),
    COLUMN(Settings, aucVlanTag).bit(3).keeps(31),
    COLUMN(Settings, aucLoopEthType).bit(4),
};

}  // namespace

constexpr Table loopback_table = make_table<Settings>(
    IGD_SYSMNG_LOOPDETECT_ATTR_TAB, "app_netapp", "IGD_SYSMNG_LOOPDETECT_ATTR_TAB", kColumns, 63);

int32_t register_loopback_tables() {
    static constexpr TableDescriptor kDescriptors[] = {single_row_table<loopback_table>};
    return mib_chain_register(kDescriptors, std::size(kDescriptors));
}
