# shellcheck shell=bash
# The steps of ./gw test, cheapest first. Each is a function that prints what it finds and fails
# when something is wrong; the number of cases is read from what it printed.

STEPS=(format lint unit symbols box box_asan torture tsan vendor arm box_arm other_debian)
# Runs only when it is named: it takes minutes.
EXTRA_STEPS=(tidy)
# What runs in the other release of Debian unless told otherwise: what compilers and libraries may get
# wrong in the programs. The unit tests would take as long again to compile.
OTHER_STEPS=(symbols box)
LEFT_OUT=77

# Some steps need hundreds of megabytes that the others do not: they run where those are, and where
# they are asked for: by name, or all of them by GW_ALL=1.
ASKED=()

asked_for() { [ "${GW_ALL-}" = 1 ] || [[ " ${ASKED[*]} " == *" $1 "* ]]; }

# Releases of clang-format disagree about details; this is the one the sources are formatted with.
FORMAT_RELEASE=14

formatter() {
    local tool
    for tool in "clang-format-$FORMAT_RELEASE" clang-format; do
        [[ $("$tool" --version 2>/dev/null) == *"version $FORMAT_RELEASE."* ]] || continue
        echo "$tool"
        return
    done
    return 1
}

step_format() {
    local tool
    with_lock provide_packages "${FORMAT_PACKAGES[@]}"
    cd "$ROOT"
    if ! tool=$(formatter); then
        echo "the sources are formatted with clang-format $FORMAT_RELEASE; this machine has another"
        return "$LEFT_OUT"
    fi
    find src host tests bench \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
        xargs -0 -r "$tool" --dry-run -Werror
}

# Each script with all that it reads in.
step_lint() {
    with_lock provide_packages "${LINT_PACKAGES[@]}"
    cd "$ROOT"
    all_sources_listed
    grep -rlZE --exclude-dir=build --exclude-dir=.git '^#!/bin/(ba)?sh$' . |
        xargs -0 -r shellcheck --check-sourced
}

# One that no list names would not be compiled, and nobody would notice.
all_sources_listed() {
    local source unlisted=0
    while read -r source; do
        grep -qwF "${source#tests/}" CMakeLists.txt tests/CMakeLists.txt && continue
        echo "$source stands in no CMakeLists.txt"
        unlisted=1
    done < <(find src tests -name '*.cpp')
    return "$unlisted"
}

# Older releases cannot read C++20 as it is used here. It needs to know how the sources are compiled,
# not that they are.
step_tidy() {
    with_lock provide_packages "${TIDY_PACKAGES[@]}"
    if [ "$(tidy_release)" -lt 16 ]; then
        echo "clang-tidy is too old here; ./gw test other_debian -- tidy"
        return "$LEFT_OUT"
    fi
    with_lock make_compile_commands
    cd "$ROOT"
    find src -name '*.cpp' ! -path 'src/platform/vendor/*' -print0 |
        xargs -0 -r -n 1 -P "$JOBS" clang-tidy -p build/asan --quiet
}

tidy_release() { clang-tidy --version | sed -n 's/.*version \([0-9]*\)\..*/\1/p'; }

step_unit() {
    with_lock make_native asan
    run_ctest asan
}

# The daemon's tests: nothing else has threads. GCC's thread sanitizer does not know the wider address
# randomisation of newer kernels.
step_tsan() {
    local fixed=()
    with_lock make_native tsan --target modules_test
    ! setarch --addr-no-randomize true 2>/dev/null || fixed=(setarch --addr-no-randomize)
    cd "$ROOT"
    "${fixed[@]}" ctest --preset tsan -j "$JOBS" --no-tests=error --exclude-regex NOT_BUILT
}

# The daemon as a device's makers link it, against libraries that have the declared functions only.
step_vendor() { with_lock make_vendor; }

step_arm() {
    may_be_arm arm || return
    with_lock make_arm
    run_ctest arm
}

# The golden cases once more with the daemon of the gateway's processor. All around it is of this
# machine, so that a record which the two lay out differently shows.
step_box_arm() {
    may_be_arm box_arm || return
    with_lock make_native release
    with_lock make_arm
    with_lock make_arm_programs "$BUILD/arm-box"
    BOX_BIN="$BUILD/arm-box" box_cases "$@" < <(quick_cases)
}

# The files of all golden cases but those that measure rates: how fast a checked or an emulated program
# is means nothing.
quick_cases() { find "$ROOT/tests/box/cases" -name '*.case' ! -path '*/traffic/*' | LC_ALL=C sort; }
traffic_cases() { find "$ROOT/tests/box/cases/traffic" -name '*.case' | LC_ALL=C sort; }

# Plays cases, or those whose files are read, in a few boxes at once, for most of a case is waiting: a
# box takes the next four when it has played its own, and then prints what it found.
box_cases() {
    local boxes=$((JOBS + 1)) at_once=4 cases=("$@")
    [ "$#" -gt 0 ] || mapfile -t cases
    # shellcheck disable=SC2016 # for the shell of each box
    printf '%s\0' "${cases[@]}" | xargs -0 -n "$at_once" -P "$boxes" bash -c \
        'status=0; found=$("$@" 2>&1) || status=1; printf "%s\n" "$found"; exit "$status"' \
        played "$BOX" "$ROOT/tests/box/run"
}

may_be_arm() {
    ! asked_for "$1" && ! has_arm_tools || return 0
    echo "no cross tools; ./gw test $1 installs them"
    return "$LEFT_OUT"
}

# Of the checked build, in which hardly anything is inlined, and of the daemon that is delivered.
step_symbols() {
    with_lock make_native asan --target appcfgd platformd
    with_lock make_native release
    "$ROOT/tests/symbols" "$BUILD/asan/CMakeFiles" "$BUILD/bin/appcfgd" \
        "$BUILD/release/exported_functions"
}

# The binaries that a device runs: golden cases, then faults.
step_box() {
    with_lock make_native release
    local status=0
    box_cases "$@" < <(traffic_cases; quick_cases) || status=1
    [ "$#" -gt 0 ] || "$BOX" "$ROOT/tests/box/faults" || status=1
    return "$status"
}

# The golden cases once more on binaries that end at the first misstep.
step_box_asan() {
    with_lock make_native asan
    BOX_BIN="$BUILD/asan" box_cases "$@" < <(quick_cases)
}

# Random calls and disasters for ten seconds, or as many as the argument says, and a thousand calls at
# least; a seed may follow it.
step_torture() {
    with_lock make_native asan
    BOX_BIN="$BUILD/asan" "$BOX" "$ROOT/tests/box/torture" "$@"
}

# What the two releases differ in is compilers and libraries. Indented, because its cases are those
# of the steps above; the last line holds their number.
step_other_debian() {
    local release
    release=$(other_release)
    if ! asked_for other_debian && ! has_debian "$release"; then
        echo "no $release here; ./gw test other_debian makes one"
        return "$LEFT_OUT"
    fi
    can_enter_debian || die "only root can enter another Debian, and only where it may make namespaces"
    with_lock provide_debian "$release"
    [ "$#" -gt 0 ] || set -- "${OTHER_STEPS[@]}"
    in_debian "$release" ./gw test "$@" | sed -u '$!s/^/    /'
}

run_ctest() {
    cd "$ROOT"
    ctest --preset "$1" -j "$JOBS" --no-tests=error
}

# run_steps [STEP...] [-- ARGUMENT...]: all steps by default; the arguments are for the steps.
run_steps() {
    local steps=() name
    while [ "$#" -gt 0 ] && [ "$1" != -- ]; do
        [[ " ${STEPS[*]} ${EXTRA_STEPS[*]} " == *" $1 "* ]] ||
            die "no test step $1; there are: ${STEPS[*]} ${EXTRA_STEPS[*]}"
        steps+=("$1")
        shift
    done
    [ "$#" = 0 ] || shift
    ASKED=("${steps[@]}")
    [ "${#steps[@]}" -gt 0 ] || steps=("${STEPS[@]}")
    [[ " ${steps[*]} " != *" other_debian "* ]] || ! asked_for other_debian || begin_debian
    PASSED=0 FAILED=0
    for name in "${steps[@]}"; do
        run_step "$name" "$@"
    done
    echo "$PASSED passed, $FAILED failed"
    [ "$FAILED" = 0 ]
}

run_step() {
    local name=$1 log="$BUILD/log/test-$1.log" start=$SECONDS status
    shift
    mkdir -p "$BUILD/log"
    echo "== $name"
    set +e
    (
        set -e
        "step_$name" "$@"
    ) </dev/null 2>&1 | tee "$log"
    status=${PIPESTATUS[0]}
    set -e
    if [ "$status" = "$LEFT_OUT" ]; then
        echo "== $name: left out"
        return
    fi
    count_cases "$log" "$status"
    echo "== $name: $([ "$status" = 0 ] && echo passed || echo FAILED) in $((SECONDS - start)) s"
}

# A step that does not count its cases is one case; a failed step has failed at least once.
count_cases() {
    local log=$1 status=$2 passed=0 failed=0 line
    while read -r line; do
        if [[ $line =~ ([0-9]+)\ passed,\ ([0-9]+)\ failed ]]; then
            passed=$((passed + BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[2]))
        elif [[ $line =~ ^[0-9]+%.*\ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
            passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[1]))
        fi
    done < <(grep -E '^[0-9]+ passed, [0-9]+ failed$|^[0-9]+% .*tests failed out of' "$log")
    [ "$status" != 0 ] || [ "$passed" -gt 0 ] || passed=1
    [ "$status" = 0 ] || [ "$failed" -gt 0 ] || failed=1
    PASSED=$((PASSED + passed)) FAILED=$((FAILED + failed))
}
