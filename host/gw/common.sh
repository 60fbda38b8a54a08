# shellcheck shell=bash
# What every script here shares: messages, logged steps, keys. Expects ROOT, the repository.

BUILD="$ROOT/build"
JOBS=$(nproc)

say() { printf '%s\n' "$*" >&2; }

die() {
    say "gw: $*"
    exit 1
}

# Runs a command with its output in build/log/NAME.log and shows the end of that file if it fails.
logged() {
    local name=$1 log="$BUILD/log/$1.log"
    shift
    mkdir -p "$BUILD/log"
    "$@" >"$log" 2>&1 </dev/null && return
    say "--- the end of $log:"
    tail -n 30 "$log" >&2
    say "---"
    say "gw: $name failed; the whole output is in $log"
    return 1
}

# One set-up at a time in one checkout: a second one waits and then finds the work done.
with_lock() { with_lock_of "$BUILD/.lock" "$@"; }

with_lock_of() {
    local lock=$1
    shift
    mkdir -p "${lock%/*}"
    (
        flock 9
        "$@" 9>&-
    ) 9>"$lock"
}

hash_of() { sha256sum | cut -c1-32; }

# The hash of all files below a folder: names and contents.
tree_hash() {
    (cd "$1" && find . -type f -print0 | LC_ALL=C sort -z | xargs -0 -r sha256sum) | hash_of
}
