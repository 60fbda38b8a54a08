#pragma once

#include <cstdint>

/// Number, from 0, of a LAN port that front ends call "LAN1" or "lan1"; -1 if the name is none.
int32_t igdCmUtlLanportName2Portid(const char* name);
