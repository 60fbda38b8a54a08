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

# Configures a preset when that is due and builds it; silent when there is nothing to do.
build_preset() {
    local preset=$1 tree="$BUILD/$1"
    cd "$ROOT"
    # A checkout that has moved: CMake refuses a tree made elsewhere.
    grep -qsxF "CMAKE_HOME_DIRECTORY:INTERNAL=$ROOT" "$tree/CMakeCache.txt" || rm -rf "$tree"
    if [ ! -e "$tree/build.ninja" ] || [ CMakePresets.json -nt "$tree/build.ninja" ]; then
        say "build: configuring $preset"
        # A failed configuration may leave a build file behind; the next run must not trust it.
        logged "configure-$preset" cmake --preset "$preset" || { rm -rf "$tree" && exit 1; }
    fi
    logged "build-$preset" compile "$preset" 3>&2
}

# Its output goes to a log; what the user sees on descriptor 3 is that there is something to do.
compile() {
    local preset=$1 line told=
    cmake --build --preset "$preset" -j "$JOBS" | while IFS= read -r line; do
        printf '%s\n' "$line"
        [[ -z $told && $line == *"] Building"* ]] || continue
        told=1
        say "build: compiling $preset" 2>&3
    done
}

make_native() {
    native_machine
    build_preset "$1"
}

make_arm() {
    native_machine
    arm_machine
    build_preset arm
}
