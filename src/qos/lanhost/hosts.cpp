#include <strings.h>

#include "core/log.h"
#include "core/result.h"
#include "core/rows.h"
#include "qos/lanhost/lanhost.h"
#include "zu_os.h"

using namespace appcfg;
using namespace appcfg::qos;

namespace {

/// One direction of a host.
struct Side {
    uint32_t direction;  ///< as bandwidth_cmd_operate takes it
    const char* name;    ///< as the log tells it
    uint32_t LanHost::*rate;
    int32_t LanHost::*qid;
};

constexpr Side kSides[] = {
    {0, "up", &LanHost::up_bandwidth, &LanHost::up_qid},
    {1, "dn", &LanHost::dn_bandwidth, &LanHost::dn_qid},
};

int32_t find_host(const LanHost& wanted, LanHost& row) {
    return find_row(lan_host_table, row, [&](const LanHost& host) {
        return strncasecmp(host.macstr, wanted.macstr, sizeof(host.macstr)) == 0;
    });
}

bool is_limited(const LanHost& host) {
    return host.up_bandwidth != 0 || host.dn_bandwidth != 0;
}

/// The chains may have been flushed away since the start. Where they are there these lines fail,
/// which means nothing.
void make_host_chains() {
    zu_os_execcmd("ebtables -t nat -N ZU_DEVSPEED_PREROUTING");
    zu_os_execcmd("ebtables -t nat -N ZU_DEVSPEED_POSTROUTING");
}

/// Makes profile and rule of one direction; the rule's result.
int32_t limit(LanHost& host, const Side& side, const char* operation) {
    int32_t& qid = host.*side.qid;
    qid = 0;
    if (host.*side.rate == 0) return 0;
    qid = alloc_bandwidth_qos_profile_id(host.*side.rate);
    if (qid < 1) {
        LANHOST_LOG_AS(operation, "alloc_bandwidth_qos_profile_id in %s dir\n", side.name);
        return 0;
    }
    const int32_t ret = bandwidth_cmd_operate(side.direction, "-A", host.macstr, qid);
    if (ret != 0)
        LANHOST_LOG_AS(operation, "bandwidth_cmd_operate add failed in %s dir\n", side.name);
    return ret;
}

/// Takes rule and profile of one direction back, by the queue that the row told.
void lift(LanHost& host, const Side& side, const char* operation) {
    int32_t& qid = host.*side.qid;
    if (host.*side.rate != 0 || qid >= 1) {
        if (bandwidth_cmd_operate(side.direction, "-D", host.macstr, qid) != 0)
            LANHOST_LOG_AS(operation, "bandwidth_cmd_operate del failed in %s dir\n", side.name);
        free_bandwidth_qos_profile_id(qid);
    }
    host.*side.rate = 0;
    qid = 0;
}

void learn_anew(const LanHost& host, const char* operation) {
    if (flush_lrn_tbl_by_mac(host.macstr) != 0)
        LANHOST_LOG_AS(operation, "flush_lrn_tbl_by_mac failled\n");
}

void update_host(const LanHost& host) {
    LanHost stored{};
    if (const int32_t position = find_host(host, stored); position >= 0)
        write_row(lan_host_table, position, host);
}

}  // namespace

int32_t add_dev_node_bandwidth(LanHost& host, HostRow row) {
    make_host_chains();
    LanHost stored{};
    if (row == HostRow::Add && find_host(host, stored) >= 0) return 0;
    uint32_t results = 0;
    for (const Side& side : kSides)
        results += static_cast<uint32_t>(limit(host, side, __func__));
    if (!is_limited(host)) return 0;
    learn_anew(host, __func__);
    if (row == HostRow::Add) return add_row(lan_host_table, host) ? 0 : IGD_CM_OPERATE_FAIL;
    if (row == HostRow::Update) update_host(host);
    return static_cast<int32_t>(results);
}

int32_t del_dev_node_bandwidth(LanHost& host, HostRow row) {
    LanHost stored{};
    if (find_host(host, stored) < 0) return kNoSuchHost;
    if (!is_limited(host)) row = HostRow::Delete;
    for (const Side& side : kSides) {
        host.*side.qid = stored.*side.qid;
        lift(host, side, __func__);
    }
    if (row != HostRow::Delete) return 0;
    if (const int32_t position = find_host(host, stored); position >= 0)
        static_cast<void>(delete_row(lan_host_table, position));
    return 0;
}

int32_t lanhost_bw_modify(LanHost& host) {
    LanHost wanted = host;
    if (del_dev_node_bandwidth(host, HostRow::Keep) != 0) return kNoSuchHost;
    host.up_bandwidth = wanted.up_bandwidth;
    host.dn_bandwidth = wanted.dn_bandwidth;
    return add_dev_node_bandwidth(host, HostRow::Update);
}

int32_t lanhost_bw_replay() {
    for_each_row(lan_host_table,
                 [](LanHost& host, int32_t) { add_dev_node_bandwidth(host, HostRow::Update); });
    return 0;
}

namespace appcfg::qos {

void lanhost_bw_set(LanHost& host) {
    lanhost_bw_modify(host);
}

void lanhost_bw_add(LanHost& host) {
    add_dev_node_bandwidth(host, HostRow::Add);
}

void lanhost_bw_del(LanHost& host) {
    del_dev_node_bandwidth(host, HostRow::Delete);
}

}  // namespace appcfg::qos
