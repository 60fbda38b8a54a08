#pragma once

#include <cstdint>

#include "core/table.h"

struct ubus_object;

// Loopback detection sends probe frames out of the gateway's ports and reports a LAN port on which
// its own probes come back: somebody has plugged a cable loop. The stored settings are what counts;
// they are handed to the platform for every port at start-up and whenever they are set.
//
// Operations return 0, IGD_CM_OPERATE_FAIL, IGD_CM_GLOBAL_INPUT_PARA_ERROR or what the platform
// said.

/// The settings, one row at position 0. Periods and rate are in the platform's own units.
struct __attribute__((packed)) IgdSysmngLoopdetectAttrConfTab {
    /// Bits of `ulBitmap`.
    enum : uint32_t {
        Enable = 1u << 0,
        ExistPeriod = 1u << 1,
        CancelPeriod = 1u << 2,
        Vlans = 1u << 3,
        EtherType = 1u << 4,
        Rate = 1u << 5,
        All = (1u << 6) - 1,
    };

    uint32_t ulReserved;          ///< 0
    uint8_t ucLoopbackEnable;     ///< 0 off, 1 on
    uint32_t ucPkgPerSec;         ///< probe frames per second
    uint8_t aucReserved[2];       ///< 0
    uint32_t ucLoopExistPeriod;   ///< a loop seen for so long is there
    uint32_t ucLoopCancelPeriod;  ///< a loop missed for so long is gone
    /// VLANs to probe, separated by commas: decimal numbers, or "untagged". Up to 8 are used and 31
    /// characters stored.
    char aucVlanTag[48];
    char aucLoopEthType[8];  ///< ethertype of the probes, hexadecimal; what is not means 0
    uint32_t ulBitmap;
};
static_assert(sizeof(IgdSysmngLoopdetectAttrConfTab) == 79);

/// The loop state of one LAN port.
struct IgdSysmngLoopbackStateInfoTab {
    uint8_t ucPortId;      ///< 1 to 4
    uint8_t ucLoopStatus;  ///< out: as the platform tells it, 0 no loop
};

inline constexpr uint32_t IGD_SYSMNG_LOOPDETECT_ATTR_TAB = 557;

/// Changes the selected settings, hands all of them to the platform (timing once, then a start per
/// port) and stores them, whatever the platform said. An enable flag above 1 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR and changes nothing; otherwise the result is that of the last
/// port's start. A row that cannot be read is IGD_CM_OPERATE_FAIL and stored empty. The last
/// character of a text in `request` becomes its end.
int32_t igdCmSysmngLoopbackAttrSet(IgdSysmngLoopdetectAttrConfTab* request, uint32_t size);

/// Copies the stored settings out; IGD_CM_OPERATE_FAIL if they cannot be read.
int32_t igdCmSysmngLoopbackAttrGet(IgdSysmngLoopdetectAttrConfTab* settings, uint32_t size);

/// Asks the platform for the loop state of `state->ucPortId`. A port other than 1 to 4 is
/// IGD_CM_GLOBAL_INPUT_PARA_ERROR; otherwise the result is the platform's.
int32_t igdCmSysmngLoopbackStateGet(IgdSysmngLoopbackStateInfoTab* state, uint32_t size);

/// Checks the stored settings and hands them to the platform; results as of the Set.
int32_t igdCmSysmngLoopbackAttrInit();

namespace appcfg {

extern const TableOf<IgdSysmngLoopdetectAttrConfTab> loopback_table;

/// Enters the table into the registry.
int32_t register_loopback_tables();

/// The bus object `app_netapp`.
ubus_object* loopback_bus_object();

}  // namespace appcfg
