#pragma once

// How QoS starts: igdCmQosModuleInit (qos/qos.h) and what comes before it.

namespace appcfg::qos {

/// Tells the platform by what remote management is recognised, the port in the server's URL, and by
/// what voice is, its DSCPs. Failures show in the log only, in the name of `operation`.
void identify_tr069(const char* operation);
void identify_voip(const char* operation);

/// Starts all of QoS: makes the packet chains, to each of which all forwarded traffic of the LAN
/// jumps once, however often this is run, sets the platform's service up, and plays host limits and
/// all that is stored into it. No failure ends it.
void libqos_init();

}  // namespace appcfg::qos
