#!/bin/bash
# The first process of a box, already in namespaces of its own: makes the gateway's file tree and
# network, starts the services and runs the command. When it ends the kernel ends all the rest.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
STATE=$1
shift
. "$ROOT/host/box/environment.sh"
. "$ROOT/host/box/network.sh"

# What the daemon's package puts on a gateway beside the programs.
DELIVERED="$ROOT/packaging/appcfgd/files"

# Empty in every box, whatever the host has there.
PRIVATE=(tmp run var/log etc/config etc/init.d config rom)

# Where the programs of a machine may stand on file systems of their own.
PROGRAM_PLACES='^/(usr|opt|nix|home|root)/'

# The host's folders, each below a layer that is gone with the box, so that any path can be made.
make_root() {
    local layers="$STATE/root"
    mount -t tmpfs -o mode=755 box "$layers"
    cd "$layers"
    mkdir -p upper/usr/local/sbin work tree
    mount -t tmpfs -o mode=755 box tree
    # Folders that already stand in the layer can be written to without privilege, too.
    cp -r "$DELIVERED/." "$ROOT/host/box/root/." upper
    add_host_folders
    cd tree
    mkdir -p proc sys dev old
    add_nested_mounts
    make_private
    mkdir -p ".$ROOT"
    mount --bind "$ROOT" ".$ROOT"
    mount -t proc proc proc
    mount -t sysfs sysfs sys
    mount --rbind /dev dev
    pivot_root . old
    cd /
    umount -l old
    rmdir old
}

# Folder by folder, because without privilege a root with mounts below it cannot be layered.
add_host_folders() {
    local path name
    for path in /*; do
        name=${path#/}
        if [ -L "$path" ]; then
            cp -P "$path" tree
            continue
        fi
        case $name in proc | sys | dev | tmp | run | old | lost+found) continue ;; esac
        [ -d "$path" ] || continue
        add_layer "$name" 2>/dev/null || mount --rbind -o ro "$path" "tree/$name"
    done
}

add_layer() {
    local name=$1
    mkdir -p "upper/$name" "work/$name" "tree/$name"
    mount -t overlay -o "lowerdir=/$name,upperdir=upper/$name,workdir=work/$name" box "tree/$name"
}

# A layer shows one file system only.
add_nested_mounts() {
    local target last=/
    while read -r _ _ _ _ target _; do
        printf -v target '%b' "${target//\\0/\\00}"
        [[ $target =~ $PROGRAM_PLACES && -d .$target && $target/ != "$last"/* ]] || continue
        mount --rbind -o ro "$target" ".$target"
        last=$target
    done </proc/self/mountinfo
}

make_private() {
    local place
    for place in "${PRIVATE[@]}"; do
        mkdir -p "$place"
        mount -t tmpfs -o mode=755 box "$place"
    done
    chmod 1777 tmp
    mkdir -p run/lock run/ubus run/zu_ipc var/log/box config/work/valueset
}

# The gateway's own files: those this daemon ships, then those of the system around it.
add_files() {
    [ -z "${BOX_CONFIG_DIR-}" ] || mount --bind "$BOX_CONFIG_DIR" /etc/config
    cp -r "$DELIVERED/." "$ROOT/host/box/root/." /
}

add_devicetree() {
    local base=/sys/firmware/devicetree/base
    mount -t tmpfs -o mode=755 box /sys/firmware
    mkdir -p "$base"
    printf '%b' "${BOX_COMPATIBLE-vakor,gateway\\0}" >"$base/compatible"
    printf '%b' "${BOX_BOARD-qm7301_4g\\n}" >"$base/board_name_alias"
    find "$base" -type f -empty -delete
}

# Kernels differ in which of the two netfilter interfaces they have.
choose_netfilter() {
    local tool
    for tool in iptables ip6tables ebtables; do
        "$tool" -t nat -L -n >/dev/null 2>&1 && continue
        "$tool" -t nat -L >/dev/null 2>&1 && continue
        ln -sf "/usr/sbin/$tool-legacy" "/usr/local/sbin/$tool"
    done
}

box_environment
make_root
add_files
add_devicetree
add_network
choose_netfilter
trap : INT QUIT TERM
read -ra services <<<"${BOX_START-ubusd platformd appcfgd}"
[ "${#services[@]}" = 0 ] || box-service start "${services[@]}"
[ "${BOX_SHARED-}" != 1 ] || touch "$STATE/ready"
cd "$BOX_CWD" 2>/dev/null || cd "$ROOT"

status=0
"$@" || status=$?
exit "$status"
