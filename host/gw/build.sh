# shellcheck shell=bash
# What stands between a fresh checkout and a built tree: packages, dependencies, CMake presets.

native_machine() {
    provide_packages "${PACKAGES[@]}"
    ! needs_cargo || provide_cargo
    deps_native
}

arm_machine() {
    provide_packages "${ARM_PACKAGES[@]}"
    deps_arm
}

has_arm_tools() { command -v arm-linux-gnueabihf-g++ && command -v qemu-arm; } >/dev/null

# build_preset PRESET [--target TARGET...]: configures it when that is due and builds it, silent when
# there is nothing to do.
build_preset() {
    configure_preset "$1"
    logged "build-$1" compile "$@" 3>&2
}

configure_preset() {
    local preset=$1 tree="$BUILD/$1"
    cd "$ROOT"
    # A checkout that has moved: CMake refuses a tree made elsewhere.
    grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$ROOT" "$tree/CMakeCache.txt" || rm -rf "$tree"
    if [ ! -e "$tree/build.ninja" ] || [ CMakePresets.json -nt "$tree/build.ninja" ]; then
        say "build: configuring $preset"
        # A failed configuration may leave a build file behind; the next run must not trust it.
        logged "configure-$preset" cmake --preset "$preset" || { rm -rf "$tree" && exit 1; }
    fi
}

# Its output goes to a log; what the user sees on descriptor 3 is that there is something to do.
compile() {
    local preset=$1 line told=
    shift
    cmake --build --preset "$preset" -j "$JOBS" "$@" | while IFS= read -r line; do
        printf '%s\n' "$line"
        [[ -z $told && $line == *"] Building"* ]] || continue
        told=1
        say "build: compiling $preset" 2>&3
    done
}

make_native() {
    native_machine
    build_preset "$@"
}

make_compile_commands() {
    native_machine
    configure_preset asan
}

make_arm() {
    native_machine
    arm_machine
    build_preset arm
}

# Programs of the other processor under their own names, each in the emulator; the rest is native.
make_arm_programs() {
    local folder=$1
    rm -rf "$folder"
    mkdir -p "$folder"
    ln -s "$BUILD"/bin/platform* "$folder"
    printf '#!/bin/sh\nexec qemu-arm %q "$@"\n' "$BUILD/arm/appcfgd" >"$folder/appcfgd"
    chmod +x "$folder/appcfgd"
}

# All but the last link, then libraries for that one to be made against.
make_vendor() {
    local main=CMakeFiles/appcfgd.dir/src/main.cpp.o tree="$BUILD/vendor" modules
    native_machine
    configure_preset vendor
    logged build-vendor compile vendor --target appcfgd_modules appcfgd_uci appcfgd_platform "$main" 3>&2
    mapfile -t modules < <(find "$tree/CMakeFiles/appcfgd_modules.dir" -name '*.o')
    make_stand_ins "$tree/stand-ins" "$tree"/*.a "${modules[@]}" "$tree/$main"
    rm -f "$tree/appcfgd"
    logged link-vendor compile vendor 3>&2
}

# The functions that the objects lack and the platform's headers declare, doing nothing, in every
# library of the device's.
make_stand_ins() {
    local folder=$1 name names
    shift
    names=$(comm -12 <(lacking "$@") \
        <(cat "$ROOT"/src/platform/include/*.h | grep -oE '\w+\(' | tr -d '(' | LC_ALL=C sort -u))
    mkdir -p "$folder"
    for name in $names; do
        echo "void $name(void) {}"
    done >"$folder/stand-ins.c"
    for name in $(tr ';' ' ' <"$BUILD/vendor/vendor_libraries"); do
        cc -w -shared -fPIC -o "$folder/lib$name.so" "$folder/stand-ins.c"
    done
}

lacking() {
    comm -23 <(symbol_names --undefined-only "$@") <(symbol_names --defined-only "$@")
}

symbol_names() { nm -P "$@" | awk 'NF > 1 { print $1 }' | LC_ALL=C sort -u; }
