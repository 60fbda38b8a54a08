# shellcheck shell=bash
# The Debian packages behind each task, and how they get onto the machine.

PACKAGES=(ca-certificates git util-linux cmake ninja-build g++ pkg-config jq python3
    libjson-c-dev libsafec-dev libnftables-dev libnl-route-3-dev libnl-nf-3-dev
    libnetfilter-queue-dev libseccomp-dev libgtest-dev
    nftables iptables ebtables bridge-utils iproute2 dnsmasq-base bind9-dnsutils)
FORMAT_PACKAGES=(clang-format)
LINT_PACKAGES=(shellcheck)
TIDY_PACKAGES=(clang-tidy)
ARM_PACKAGES=(g++-arm-linux-gnueabihf qemu-user libstdc++6:armhf
    libjson-c-dev:armhf libsafec-dev:armhf libnftables-dev:armhf libnl-route-3-dev:armhf
    libnl-nf-3-dev:armhf libnetfilter-queue-dev:armhf libseccomp-dev:armhf libgtest-dev:armhf)

# Installs what is missing when it may; otherwise says which line does it, and stops.
provide_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
    [ "${#missing[@]}" -gt 0 ] || return 0
    if [ "$(id -u)" != 0 ]; then
        die "these Debian packages are missing; as root run:
$(foreign_architecture "${missing[@]}")apt-get install -y --no-install-recommends ${missing[*]}"
    fi
    say "packages: installing ${missing[*]}"
    logged apt install_packages "${missing[@]}"
}

provide_cargo() {
    command -v cargo >/dev/null && return
    # Bookworm's own cargo is too old; the one built for browsers is kept current.
    if [ -n "$(apt-cache show cargo-web 2>/dev/null)" ]; then
        provide_packages cargo-web rustc-web
    else
        provide_packages cargo rustc
    fi
}

# Packages of another architecture can only be had once dpkg knows of it.
foreign_architecture() {
    [[ "$*" == *:armhf* ]] || return 0
    grep -qx armhf <<<"$(dpkg --print-foreign-architectures)" ||
        echo "dpkg --add-architecture armhf && apt-get update && "
}

# The lists may be absent (a fresh image) or older than the archive, hence the second try. Nothing
# that is there may go: a foreign library that cannot stand beside the machine's own is an error.
install_packages() {
    local install=(apt-get install -y --no-install-recommends --no-remove "$@")
    export DEBIAN_FRONTEND=noninteractive
    if [ -n "$(foreign_architecture "$@")" ]; then
        dpkg --add-architecture armhf
        apt-get update
    fi
    "${install[@]}" || { apt-get update; "${install[@]}"; }
}

missing_packages() {
    command -v dpkg-query >/dev/null || return 0
    local wanted native
    native=$(dpkg --print-architecture)
    local -A there=()
    while read -r package architecture status; do
        [ "$status" = installed ] || continue
        there["$package:$architecture"]=1
        case $architecture in "$native" | all) there["$package"]=1 ;; esac
    done < <(dpkg-query -W -f '${Package} ${Architecture} ${db:Status-Status}\n' "$@" 2>/dev/null)
    for wanted; do
        [ -n "${there[$wanted]-}" ] || echo "$wanted"
    done
}
