#pragma once

#include <cstdint>

#include "base/export.h"
#include "qos/qos_records.h"

// Limited rates for single LAN hosts, known by their MAC addresses. For each direction that is
// limited the platform makes a profile and says by which queue it goes (`up_qid`, `dn_qid`); a rule
// of ebtables' table nat hands the host's frames to the forwarding engine with that queue. Upstream
// rules stand in chain ZU_DEVSPEED_PREROUTING, downstream ones in ZU_DEVSPEED_POSTROUTING.
//
// A row is found by its address, in either letter case. Where the address of a host is no address,
// its row is kept as any other, but no rule is made of it.

namespace appcfg::qos {

/// What an operation does with the host's row.
enum class HostRow : uint32_t { Keep = 0, Add = 1, Update = 2, Delete = 3 };

/// No host of that address.
inline constexpr int32_t kNoSuchHost = 0x70000000;
/// A rule cannot be told, or the chains are not as they should be.
inline constexpr int32_t kBandwidthRuleError = static_cast<int32_t>(0x90000000);

inline constexpr char kUpChain[] = "ZU_DEVSPEED_PREROUTING";
inline constexpr char kDownChain[] = "ZU_DEVSPEED_POSTROUTING";

/// What front ends ask for. They are not told how it ended.
void lanhost_bw_set(LanHost& host);
void lanhost_bw_add(LanHost& host);
void lanhost_bw_del(LanHost& host);

}  // namespace appcfg::qos

// --- Steps (lanhost/bandwidth.cpp)

/// Appends (`op` "-A") or deletes ("-D") the rule of one direction (0 up, 1 down).
/// kBandwidthRuleError for an address that is none, else the platform's result.
int32_t bandwidth_cmd_operate(uint32_t direction, const char* op, const char* mac, int32_t qid);

/// Makes a profile; its queue, 0 if the platform has none.
int32_t alloc_bandwidth_qos_profile_id(uint32_t rate);
/// Gives the queue of a profile back.
void free_bandwidth_qos_profile_id(int32_t qid);

extern "C" {

/// Lets the forwarding engine learn a host anew, so that its frames meet rules made meanwhile. -1,
/// with nothing sent, for a text that is no MAC address, else the platform's result.
APPCFGD_EXPORT int32_t flush_lrn_tbl_by_mac(const char* mac);
}

// --- Hosts (lanhost/hosts.cpp)

/// Makes profiles and rules for the rates that are not 0, then adds or updates the row; the queues
/// are written back. With HostRow::Add a known host is left alone, and one without rates not
/// stored; 0 or -1 then tells of the row, otherwise the rules' results are added up.
int32_t add_dev_node_bandwidth(appcfg::qos::LanHost& host, appcfg::qos::HostRow row);

/// Takes back rules and profiles of the directions that have a rate in the request or a queue in
/// the row; rates and queues of the request are 0 afterwards. The row is deleted with
/// HostRow::Delete or if the request has no rates. 0 or kNoSuchHost.
int32_t del_dev_node_bandwidth(appcfg::qos::LanHost& host, appcfg::qos::HostRow row);

/// Gives a known host other rates; both 0 delete it. As the add, or kNoSuchHost.
int32_t lanhost_bw_modify(appcfg::qos::LanHost& host);

/// Makes profiles and rules of all stored hosts anew, without taking back older ones; always 0.
int32_t lanhost_bw_replay();

// --- Chains (lanhost/chains.cpp)

/// Makes both chains and lets PREROUTING and POSTROUTING jump to them first. 0, or
/// kBandwidthRuleError if one of these steps fails; all are tried.
int32_t init_dev_bandwidth_xtables();
/// Empties the chains and takes them out.
void exit_dev_bandwidth();
