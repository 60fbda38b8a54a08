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

call() { shown ubus call app_ipfilter "$@"; }

# The state of one service only; platformctl shows them all, each below its name.
ip_filter_state() { platformctl state | awk '/^[^ ]/ { on = /^ip_filter/ } on'; }

platform_holds() {
    echo "$ platformctl state    (ip_filter only)"
    ip_filter_state | sed 's/^/    /'
}

kept() {
    shown uci show app_ipfilter
    platform_holds
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
call ip_filter_basic_set '{"ucIPFilterEnable":1,"ucIPFilterUpMode":0,"ucIPFilterDownMode":0}'
kept

heading "Keep one host from one web server, then another from a whole address"
call ip_filter_list_add "$(rule 1 1 192.168.1.20 203.0.113.7 443)"
kept
call ip_filter_list_add "$(rule 1 0 192.168.1.21 203.0.113.8 0)"
kept

heading "An address that is none is refused, and nothing changes"
call ip_filter_list_add "$(rule 1 1 10.0.0.300 203.0.113.7 443)"

heading "Restart the platform, which forgets all, and the daemon, which hands it the same again"
before=$(ip_filter_state)
shown box-service restart platformd
platform_holds
shown box-service restart appcfgd
platform_holds
if [ "$(ip_filter_state)" != "$before" ]; then
    echo "The platform holds something else now."
    exit 1
fi
echo "The platform holds what it held before."

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
