# shellcheck shell=bash
# The project is for two releases of Debian, and a machine is only one of them: a bare root of the
# other one under build/, and commands that run in it on a copy of the sources. What they install
# and build stays there for the next time; nothing but debootstrap comes onto the machine itself.

RELEASES=(bookworm trixie)

own_release() { sed -n 's/^VERSION_CODENAME=//p' /etc/os-release; }

# The newest release that this machine does not have.
other_release() {
    local own release other=
    own=$(own_release)
    for release in "${RELEASES[@]}"; do
        [ "$release" = "$own" ] || other=$release
    done
    echo "$other"
}

# Whether this user may make a root and enter it. Cheaper ways to tell are all wrong somewhere.
can_enter_debian() { [ "$(id -u)" = 0 ] && unshare --mount --pid --fork true 2>/dev/null; }

debian_root() { echo "$BUILD/debian/$1"; }

has_debian() { [ -e "$(debian_root "$1").made" ]; }

# The archive that this machine gets its own packages from.
debian_archive() {
    local archives
    # shellcheck disable=SC2016 # apt's own placeholder
    mapfile -t archives < <(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' \
        'Component: main' 'Label: Debian' | sort -u)
    [ "${#archives[@]}" -gt 0 ] || die "apt knows no archive of Debian; run apt-get update"
    echo "${archives[0]}"
}

provide_debian() {
    local release=$1 root
    root=$(debian_root "$release")
    with_lock_of "$root.lock" make_debian "$release"
    bring_up_to_date "$root"
}

# A bare root, and the packages in it: minutes of network and disk. What fails here is tried again
# by whoever needs it.
make_debian() {
    local release=$1 root archive
    ! has_debian "$release" || return 0
    root=$(debian_root "$release")
    provide_packages debootstrap
    archive=$(debian_archive)
    say "debian: making a bare $release"
    rm -rf "$root"
    mkdir -p "$root"
    logged "debootstrap-$release" unshare --mount \
        debootstrap --variant=minbase "$release" "$root" "$archive"
    # It can be made again, so nothing in it need wait for the disk.
    echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/unsafe-io"
    bring_up_to_date "$root"
    # shellcheck disable=SC2016 # for the shell in there
    in_debian "$release" bash -c 'set -e; ROOT=/src; . host/gw/common.sh; . host/gw/packages.sh
        provide_packages "${PACKAGES[@]}"; provide_cargo'
    touch "$root.made"
}

# Makes it beside the steps of a run that needs it in the end; what is still under way when the run
# ends, ends with it: all of the job, as it is a process group of its own.
begin_debian() {
    local release
    release=$(other_release)
    ! has_debian "$release" && can_enter_debian || return 0
    with_lock provide_packages debootstrap
    set -m
    (with_lock_of "$(debian_root "$release").lock" make_debian "$release") >/dev/null 2>&1 </dev/null &
    set +m
    trap 'kill %1 2>/dev/null || true' EXIT
}

bring_up_to_date() {
    copy_access "$1"
    copy_sources "$1/src"
}

# What this machine knows of the way to archives: proxies, names, certificates.
copy_access() {
    local root=$1
    apt-config dump Acquire | sed -En '/^Acquire::(https?|Check-[A-Za-z-]+)(::| )/p' \
        >"$root/etc/apt/apt.conf.d/00machine"
    cp -L /etc/resolv.conf /etc/hosts "$root/etc"
    mkdir -p "$root/etc/ssl/certs"
    cp -r /etc/ssl/certs/. "$root/etc/ssl/certs"
}

# File times are kept, so that only what has changed is compiled again.
copy_sources() {
    local to=$1
    mkdir -p "$to"
    find "$to" -mindepth 1 -maxdepth 1 ! -name build -exec rm -rf {} +
    tar -C "$ROOT" --exclude=./build --exclude=./.git -cf - . | tar -C "$to" -xf -
}

# Runs a command in the other release. It and all it has started end with this process, and the
# mounts with them: the first process of a namespace is deaf to what a terminal sends, so it is
# killed. Downloads of crates are shared, because they are the same everywhere.
in_debian() (
    cargo=${CARGO_HOME:-$HOME/.cargo}
    root=$(debian_root "$1")
    shift
    mkdir -p "$cargo"
    setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child bash -c \
        "set -e; $(declare -f enter_debian); enter_debian \"\$@\"" enter "$root" "$cargo" "$@" &
    inner=$!
    trap 'kill -KILL "$inner"; exit 130' INT TERM HUP
    wait "$inner"
)

enter_debian() {
    local root=$1 cargo=$2
    shift 2
    mount --make-rprivate /
    mount --bind "$root" "$root"
    cd "$root"
    mount -t proc proc proc
    mount -t sysfs sysfs sys
    mount --rbind /dev dev
    mkdir -p root/.cargo old
    mount --bind "$cargo" root/.cargo
    pivot_root . old
    cd /src
    umount -l /old
    exec env -i HOME=/root TERM=dumb PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        "$@"
}
