#!/bin/bash
# Shows the daemon's main job in a running box: a rule set by a front end is stored, handed to the
# platform, and handed to it again after a restart. Then the box stays up for the visitor.
set -euo pipefail

heading() { printf '\n== %s\n\n' "$*"; }

# Shows a command as it can be typed, and what it prints.
shown() {
    local word
    printf '$'
    for word; do
        [[ $word =~ ^[A-Za-z0-9_./-]+$ ]] || word="'$word'"
        printf ' %s' "$word"
    done
    printf '\n'
    "$@" 2>&1 | sed 's/^/    /'
}

call() { shown ubus call "app_$1" "${@:2}"; }

kept() {
    shown uci show app_ipfilter
    shown platformctl state ip_filter
}

rule() {
    local direction=$1 protocol=$2 lan=$3 wan=$4 port=$5
    jq -cn --argjson direction "$direction" --argjson protocol "$protocol" --argjson port "$port" \
        --arg lan "$lan" --arg wan "$wan" '{ucIPFilterDir: $direction,
        ucIPFilterProtocol: $protocol, aucLanIPStart: $lan, aucLanIPEnd: $lan,
        aucWanIPStart: $wan, aucWanIPEnd: $wan, ulLanPortStart: 0, ulLanPortEnd: 65535,
        ulWanPortStart: $port, ulWanPortEnd: $port}'
}

heading "The gateway is up; these objects are on its bus"
shown ubus list

heading "Switch the IP filter on, both directions as black lists"
call ipfilter ip_filter_basic_set '{"ucIPFilterEnable":1,"ucIPFilterUpMode":0,"ucIPFilterDownMode":0}'
kept

heading "Keep one host from one web server, then another from a whole address"
call ipfilter ip_filter_list_add "$(rule 1 1 192.168.1.20 203.0.113.7 443)"
kept
call ipfilter ip_filter_list_add "$(rule 1 0 192.168.1.21 203.0.113.8 0)"
kept

heading "A connection passes, is stopped by a rule, and passes again without it"
shown reach h0 tcp 203.0.113.7 443
call ipfilter ip_filter_list_add "$(rule 1 1 192.168.1.10 203.0.113.7 443)"
shown reach h0 tcp 203.0.113.7 443
shown reach h1 tcp 203.0.113.7 443
shown platformctl state enforcement
call ipfilter ip_filter_list_del '{"ucIndex":3}'
shown reach h0 tcp 203.0.113.7 443

heading "An address that is none is refused, and nothing changes"
call ipfilter ip_filter_list_add "$(rule 1 1 10.0.0.300 203.0.113.7 443)"

heading "The same of a name, of a web address, and of a host"
shown box-service start resolver
shown ask h0 ads.example
call dnsfilter dns_filter_basic_set '{"ucDnsFilterEnable":1}'
call dnsfilter dns_filter_list_add '{"aucFilterDomain":"ads.example"}'
shown await NXDOMAIN ask h0 ads.example
call urlfilter url_filter_basic_set '{"ucUrlFilterEnable":1,"ucFilterMode":0}'
call urlfilter url_filter_list_add '{"enable":1,"protocol_mask":3,"aucFilterUrl":"games.example"}'
shown await blocked web h0 https://games.example/
shown web h0 http://www.games.example/ https://news.example/
call macfilter mac_filter_basic_set '{"ucMacFilterEnable":1,"ucFilterMode":0}'
call macfilter mac_filter_list_add '{"ulEnable":1,"aucFilterMAC":"aa-bb-cc-dd-ee-ff"}'
call macfilter mac_filter_list_add '{"ulEnable":1,"aucFilterMAC":"02-00-00-00-00-10"}'
shown reach h0 udp h1 80
call macfilter mac_filter_list_del '{"ulIndex":2}'
shown reach h0 udp h1 80
for service in dns_filter url_filter mac_filter; do
    shown platformctl state "$service"
done

heading "A cable between two ports: the loop is found, its storm ends, and the port comes back without it"
row="app_netapp.@IGD_SYSMNG_LOOPDETECT_ATTR_TAB[0]"
for option in ucLoopbackEnable=1 ucPkgPerSec=10 ucLoopExistPeriod=1 ucLoopCancelPeriod=2; do
    uci set "$row.$option"
done
uci commit app_netapp
call netapp loopback_detection_start '{"ucLoopbackEnable":1,"ucPkgPerSec":1,"ucLoopExistPeriod":5,"ucLoopCancelPeriod":30,"aucVlanTag":"","aucLoopEthType":""}'
shown box-cable eth2 eth3
sleep 3
call netapp loopback_detection_result_get '{"ucPortId":4}'
shown reach h0 tcp h1 80
shown box-cable pull
sleep 4
call netapp loopback_detection_result_get '{"ucPortId":4}'

heading "The uplink"
call uplink link_aggregation_get

# All but how many packets were stopped.
held() { platformctl state | sed 's/packets [0-9]* bytes [0-9]*//'; }

heading "Restart the platform, which goes on enforcing, and the daemon, which hands it the same again"
before=$(held)
shown box-service restart platformd
shown platformctl state ip_filter
shown box-service restart appcfgd
shown platformctl state ip_filter
diff <(echo "$before") <(held) || {
    echo "The platform holds something else now."
    exit 1
}
echo "All services of the platform hold what they held before."

heading "QoS: what goes first, and how fast a host may be"
call qos qos_basic_attr_set '{"aucMode":"VOIP","ucQosEnable":1,"ucPlan":1,"ucEnableForceWeight":0,"ucEnableDscpMark":1,"ucEnable8021p":0,"ucEnableTcMark":0,"ulBandwidth":20000,"ulTcpSession":0}'
call qos qos_clf_attr_add '{"ucClfIndex":0,"class_queue_enable":1,"ucQueueNum":1,"ucDscpMarkValue":46,"uc8021pValue":0,"ucTcValue":0}'
call qos qos_clf_type_attr_add '{"ucClfIndex":1,"ucTypeIndex":0,"ucProtocolList":2,"ucType":6,"aucMax":"5060","aucMin":"5060"}'
call qos lanhost_bw_add '{"macaddr":"02:00:00:00:00:10","up_bandwidth":5000,"dn_bandwidth":8000}'
call qos libqos_init
shown platformctl state qos
shown rate h0 isp 20 2
shown rate h1 isp 10 2
shown platformctl state enforcement

heading "An audit: do tables, platform and kernel agree?"
shown platformctl audit

heading "The box stays up until Ctrl-C. From a second terminal:"
cat <<'END'
    ./gw shell                                  a shell in this box
    ubus list -v app_ipfilter                   what can be called
    platformctl state                           what all services of the platform hold
    platformctl trace                           the platform's calls as they arrive
    platformctl fail NAME                       make one of them fail
    box-service restart appcfgd                 restart the daemon
END
trap 'exit 0' INT TERM
sleep infinity &
wait
