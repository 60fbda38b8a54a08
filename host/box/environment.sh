# shellcheck shell=bash
# What a process in the box finds in its environment. Expects ROOT, the repository.

box_environment() {
    export BOX_BIN=${BOX_BIN:-$ROOT/build/bin}
    local system=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
    export PATH="$BOX_BIN:$ROOT/build/deps/bin:$ROOT/host/box/bin:$system:$PATH"
    # The daemon registers its objects one by one; with the last one it serves.
    export BOX_LAST_OBJECT=${BOX_LAST_OBJECT:-app_uplink}
    unset TMPDIR
}
