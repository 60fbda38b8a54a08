#pragma once

#include "records/qos.h"

// The texts of flow limits, taken apart into the platform's tables. "/", "," (and "-" for
// addresses) separate alike, empty fields do not count. Rates are read as by atof, VLANs as by
// atoi. 127 characters of a text and 10 limits count, the rest is not looked at. `limits` must be
// all zeros.

/// "LAN1/100,SSID2/50": LAN1 to LAN4, SSID1 to SSID4. Of several ports in front of a rate the last
/// one counts; what is no port is a rate.
void igdCmQosUniLimitResolveFromString(const char* text, st_qos_port_limit (&limits)[10]);

/// "45/100,46/50": VLAN and rate.
void igdCmQosVlanLimitResolveFromString(const char* text, st_qos_vlan_limit (&limits)[10]);

/// "192.168.1.2-192.168.1.9/100": first address, last address, rate.
void igdCmQosIpLimitResolveFromString(const char* text, st_qos_ip_limit (&limits)[10]);
