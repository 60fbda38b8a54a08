#pragma once

#include "core/table.h"

// Settings that belong to other programs of the gateway and that QoS reads to recognise their
// traffic. Here stands by which names; a package that is missing reads as empty. Nothing of them is
// ever written.

/// Remote management: package tr069, the one row of section IGD_TR069_ATTR_TAB.
struct IgdTr069AttrTab {
    char aucAcsUrl[256];  ///< where the management server is reached
};

/// Voice: package voip, the one row of section IGD_VOIP_ATTR_TAB.
struct IgdVoipAttrTab {
    uint8_t ucCtrlDscp;  ///< DSCP of signalling
    uint8_t ucDataDscp;  ///< DSCP of speech
};

inline constexpr uint32_t IGD_VOIP_ATTR_TAB = 474;
inline constexpr uint32_t IGD_TR069_ATTR_TAB = 525;

namespace appcfg::qos {

extern const TableOf<IgdTr069AttrTab> tr069_table;
extern const TableOf<IgdVoipAttrTab> voip_table;

/// Enters both tables into the registry, for reading only.
int32_t register_settings();

}  // namespace appcfg::qos
