# shellcheck shell=bash
# Brings what a gateway has and this machine lacks into one prefix: build/deps for this machine,
# build/deps-arm for the cross build. An installed library or program always comes first. Each
# component is kept under a key made of all that went into it and is rebuilt only when that changes.

DEPS="$ROOT/host/deps"

# The state of one pass, set by build_deps.
PREFIX=
OBJECTS=
CMAKE_TARGET=()
RECIPE=

deps_native() {
    PREFIX="$BUILD/deps"
    OBJECTS="$BUILD/deps-obj/native"
    CMAKE_TARGET=()
    RECIPE=$(recipe_key "${CC:-cc}")
    provide libubox
    provide uci
    provide ubusd
    provide ubus-client
    provide ubus
}

deps_arm() {
    PREFIX="$BUILD/deps-arm"
    OBJECTS="$BUILD/deps-obj/arm"
    CMAKE_TARGET=(-DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/arm-toolchain.cmake")
    RECIPE=$(recipe_key arm-linux-gnueabihf-gcc)
    provide libubox
    provide uci
    provide ubus
}

# The prefix is part of the recipe: the build trees of a checkout that has moved are of no use.
recipe_key() {
    {
        echo "$PREFIX"
        "$1" --version
        cat "$ROOT/host/gw/components.sh" "$DEPS/Cargo.lock" "$ROOT/cmake/arm-toolchain.cmake"
    } | hash_of
}

provide() {
    local name=$1 key stamp="$PREFIX/.built/$1"
    [ -n "${CMAKE_TARGET[*]}" ] || ! installed "$name" || return 0
    key=$RECIPE
    [ "$name" != ubus ] || key+=-$(tree_hash "$ROOT/host/ubus")
    [ "$(cat "$stamp" 2>/dev/null)" != "$key" ] || return 0
    say "deps: building $name${CMAKE_TARGET[*]:+ for arm}"
    rm -f "$stamp"
    "build_$name"
    mkdir -p "$PREFIX/.built"
    echo "$key" >"$stamp"
}

# Whether a component is there: libraries in the system or in CMAKE_PREFIX_PATH, programs on PATH.
installed() {
    case $1 in
    libubox) has_library libubox/uloop.h libubox.so ;;
    uci) has_library uci.h libuci.so && has_program uci ;;
    ubus) has_library libubus.h libubus.so && has_program ubus ;;
    *) has_program "$1" ;;
    esac
}

installed_prefixes() {
    tr ':;' '\n' <<<"${CMAKE_PREFIX_PATH-}"
    printf '/usr/local\n/usr\n'
}

has_library() {
    local prefix
    while read -r prefix; do
        [[ -n $prefix && -e $prefix/include/$1 ]] || continue
        compgen -G "$prefix/lib*/$2" >/dev/null && return
        compgen -G "$prefix/lib/*/$2" >/dev/null && return
    done < <(installed_prefixes)
    return 1
}

# What this checkout has built itself is not an installed program.
has_program() {
    local path
    path=$(command -v "$1") && [[ $path != "$ROOT"/* ]]
}

# Everything but host/ubus comes through cargo.
needs_cargo() {
    local name
    for name in libubox uci ubusd ubus-client; do
        installed "$name" || return 0
    done
    return 1
}

build_libubox() { crate_component libubox libubox-sys vendor/libubox; }
build_uci() { crate_component uci libuci-sys uci; }
build_ubus() { cmake_component ubus "$ROOT/host/ubus"; }
build_ubusd() { cargo_component ubusd; }
build_ubus-client() { cargo_component ubus-client; }

# Upstream C sources that a crate carries, built from a copy, because uci's own CMake writes into
# its source folder. They set -Werror for compilers of their day.
crate_component() {
    local name=$1 crate=$2 below=$3 copy="$OBJECTS/$1-source" source
    logged deps-fetch fetch_crates
    source=$(crate_source "$crate")/$below
    rm -rf "$copy"
    mkdir -p "$OBJECTS"
    cp -r "$source" "$copy"
    cmake_component "$name" "$copy" -DBUILD_LUA=OFF -DBUILD_EXAMPLES=OFF -DCMAKE_C_FLAGS=-w \
        -DCMAKE_POLICY_VERSION_MINIMUM=3.5
}

cmake_component() {
    local name=$1 source=$2 objects="$OBJECTS/$1"
    shift 2
    rm -rf "$objects"
    logged "deps-$(basename "$OBJECTS")-$name" cmake_install "$source" "$objects" "$@"
}

cmake_install() {
    local source=$1 objects=$2
    shift 2
    cmake -G Ninja -S "$source" -B "$objects" "${CMAKE_TARGET[@]}" \
        -DCMAKE_INSTALL_PREFIX="$PREFIX" -DCMAKE_PREFIX_PATH="$PREFIX" \
        -DCMAKE_INSTALL_RPATH="\$ORIGIN/../lib" -DCMAKE_INSTALL_LIBDIR=lib "$@" &&
        cmake --build "$objects" -j "$JOBS" &&
        cmake --install "$objects"
}

host_triple() { rustc -vV | sed -n 's/^host: //p'; }

fetch_crates() {
    cargo fetch --locked --manifest-path "$DEPS/Cargo.toml" --target "$(host_triple)"
}

crate_source() {
    cargo metadata --locked --offline --format-version 1 --filter-platform "$(host_triple)" \
        --manifest-path "$DEPS/Cargo.toml" 2>/dev/null |
        jq -er --arg name "$1" '.packages[] | select(.name == $name) | .manifest_path' |
        xargs -r -d '\n' dirname
}

cargo_component() {
    local objects="$BUILD/deps-obj/cargo"
    logged "deps-$1" cargo build --release --locked -j "$JOBS" --manifest-path "$DEPS/Cargo.toml" \
        --target-dir "$objects" -p "$1" --bin "$1"
    install -D "$objects/release/$1" "$PREFIX/bin/$1"
}
