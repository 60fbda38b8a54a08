# shellcheck shell=bash
# The network of a box: the gateway between a bridge with four ports, a host behind each, and an
# uplink with the provider behind it. Each host is a network namespace, named like it in /run/netns;
# the gateway's own is `gw`. Nobody checks whether another has the same IPv6 address, which would
# take a second. Expects ROOT, the repository.

add_network() {
    local rows
    mapfile -t rows < <(grep -v '^#' "$ROOT/host/box/hosts")
    kernel_settings
    gateway_links "${rows[@]}" | ip -batch -
    add_hosts "${rows[@]}"
}

# A router looks for IPv6 neighbours from its link-local address only, which is to serve at once.
kernel_settings() {
    local settings=/proc/sys/net
    echo 1 >"$settings/ipv4/ip_forward"
    echo 1 >"$settings/ipv6/conf/all/forwarding"
    echo 0 >"$settings/ipv6/conf/all/accept_dad"
    echo 0 >"$settings/ipv6/conf/default/accept_dad"
}

gateway_links() {
    local row name port mac
    echo "netns attach gw $$"
    echo "link set lo up"
    echo "link add br-lan type bridge forward_delay 0"
    for row; do
        read -r name port mac _ <<<"$row"
        echo "netns add $name"
        echo "link add $port type veth peer name eth0 address $mac netns $name"
        [[ $port == wan* ]] || echo "link set $port master br-lan"
        echo "link set $port up"
    done
    echo "addr add 192.168.1.1/24 dev br-lan"
    echo "addr add fd00:1::1/64 dev br-lan"
    echo "link set br-lan up"
    echo "addr add 203.0.113.1/24 dev wan0"
    echo "addr add 2001:db8:1::1/64 dev wan0"
}

# All at the same time, for the sake of a box that starts at once.
add_hosts() {
    local row name addresses adding=() one
    for row; do
        read -r name _ _ addresses <<<"$row"
        host_links "$addresses" | nsenter --net="/run/netns/$name" ip -batch - &
        adding+=($!)
    done
    for one in "${adding[@]}"; do wait "$one"; done
}

# What a host sends comes from its first address, unless it asks for another.
host_links() {
    local address first4='' first6=''
    echo "link set lo up"
    echo "link set eth0 up"
    for address in $1; do
        if [[ $address == *:* ]]; then
            echo "addr add $address dev eth0 nodad"
            first6=${first6:-${address%/*}}
        else
            echo "addr add $address dev eth0"
            first4=${first4:-${address%/*}}
        fi
    done
    echo "route add default via ${first4%.*}.1 src $first4"
    echo "route add default via ${first6%:*}:1 src $first6"
}
