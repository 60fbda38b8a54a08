# shellcheck shell=bash
# The steps of ./gw test, cheapest first. Each is a function that prints what it finds and fails
# when something is wrong; the number of cases is read from what it printed.

STEPS=(format unit box box_asan tsan arm)
LEFT_OUT=77

# Releases of clang-format disagree about details; this is the one the sources are formatted with.
FORMAT_RELEASE=14

step_format() {
    with_lock provide_packages "${TEST_PACKAGES[@]}"
    cd "$ROOT"
    if ! clang-format --version | grep -q "version $FORMAT_RELEASE\."; then
        echo "the sources are formatted with clang-format $FORMAT_RELEASE; this machine has another"
        return "$LEFT_OUT"
    fi
    find src host tests bench \( -name '*.h' -o -name '*.cpp' -o -name '*.c' \) -print0 |
        xargs -0 -r clang-format --dry-run -Werror
}

step_unit() {
    with_lock make_native asan
    run_ctest asan
}

# GCC's thread sanitizer does not know the wider address randomisation of newer kernels.
step_tsan() {
    local fixed=()
    with_lock make_native tsan
    ! setarch --addr-no-randomize true 2>/dev/null || fixed=(setarch --addr-no-randomize)
    run_ctest tsan "${fixed[@]}"
}

# The cross tools are half a gigabyte: they are used where they are, or where they are asked for.
step_arm() {
    if [ "${GW_ARM-}" != 1 ] && ! has_arm_tools; then
        echo "no cross tools; ./gw test arm installs them"
        return "$LEFT_OUT"
    fi
    with_lock make_arm
    run_ctest arm
}

# The binaries that a device runs: golden cases, then faults.
step_box() {
    with_lock make_native release
    local status=0
    "$BOX" "$ROOT/tests/box/run" "$@" || status=1
    [ "$#" -gt 0 ] || "$BOX" "$ROOT/tests/box/faults" || status=1
    return "$status"
}

# The golden cases once more on binaries that end at the first misstep.
step_box_asan() {
    with_lock make_native asan
    BOX_BIN="$BUILD/asan" "$BOX" "$ROOT/tests/box/run" "$@"
}

run_ctest() {
    local preset=$1
    shift
    cd "$ROOT"
    "$@" ctest --preset "$preset" -j "$JOBS" --no-tests=error
}

# run_steps [STEP...] [-- ARGUMENT...]: all steps by default; the arguments are for the steps.
run_steps() {
    local steps=() name
    while [ "$#" -gt 0 ] && [ "$1" != -- ]; do
        [[ " ${STEPS[*]} " == *" $1 "* ]] || die "no test step $1; there are: ${STEPS[*]}"
        steps+=("$1")
        [ "$1" != arm ] || GW_ARM=1
        shift
    done
    [ "$#" = 0 ] || shift
    [ "${#steps[@]}" -gt 0 ] || steps=("${STEPS[@]}")
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
        elif [[ $line =~ ([0-9]+)\ tests\ failed\ out\ of\ ([0-9]+) ]]; then
            passed=$((passed + BASH_REMATCH[2] - BASH_REMATCH[1])) failed=$((failed + BASH_REMATCH[1]))
        fi
    done < <(grep -E '^[0-9]+ passed, [0-9]+ failed$|tests failed out of' "$log")
    [ "$status" != 0 ] || [ "$passed" -gt 0 ] || passed=1
    [ "$status" = 0 ] || [ "$failed" -gt 0 ] || failed=1
    PASSED=$((PASSED + passed)) FAILED=$((FAILED + failed))
}
