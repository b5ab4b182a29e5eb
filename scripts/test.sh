#!/usr/bin/env bash
# test.sh [--all [STEP...]]: sets up, builds the release and runs its tests. With --all it does
# everything that CI checks, or the named steps of that. It runs every step, whatever the others say,
# and closes with a count of steps.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

# runTests PRESET [PROGRAM TESTS]: builds everything and runs every test, or one program and its tests.
runTests() {
    build "$1" "${@:2:1}"
    local log=build/$1/tests.log
    ctest --preset "$1" --no-tests=error --quiet -O "$log" -j "$(nproc)" ${3:+-R "$3"} || {
        grep -v ' Passed ' "$log"
        return 1
    }
    tail -n 4 "$log"
}

release() {
    runTests release
}

asan() {
    runTests asan
}

clang() {
    need clang
    runTests clang
}

# A race takes two threads.
tsan() {
    runTests tsan threads_test '^Threads'
}

format() {
    need clang-format shellcheck mypy
    sources c cpp h | xargs clang-format --dry-run -Werror
    git ls-files '*.sh' .ci/run | xargs shellcheck -x
    mypy --no-error-summary python/src/calibmap
}

tidy() {
    scripts/tidy.sh
}

# Memory errors and leaks that the sanitizers cannot see. The tests that measure time, memory and
# stacks themselves stay out.
valgrind() {
    need valgrind
    build release
    local test
    for test in arithmetic calibration faults golden grid spline transcript; do
        echo "$test"
        command valgrind --quiet --error-exitcode=1 --leak-check=full --show-leak-kinds=all \
            --errors-for-leak-kinds=definite,possible "build/release/tests/${test}_test" \
            --gtest_brief=1
    done
}

# What is released comes with its own measurements; between releases they may be behind.
measurements() {
    if git describe --tags --exact-match >/dev/null 2>&1; then
        scripts/report.sh --check
    else
        echo "not a release"
    fi
}

# Whatever is not above has a script of its own.
steps=(release)
if [ "${1:-}" = --all ]; then
    # Here a warning is an error; with a compiler that nobody has tried yet it is only a warning.
    export CALIBMAP_WERROR=ON
    steps=(release asan clang tsan format tidy valgrind bits fuzz coverage abi consumers package
        reproducible musl web measurements)
    [ $# = 1 ] || steps=("${@:2}")
elif [ $# -gt 0 ]; then
    echo "usage: test.sh [--all [STEP...]]" >&2
    exit 2
fi

need "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${TOOL_PACKAGES[@]}"
TIMEFORMAT='   %R s, of processors %U s'
passed=0
failed=()
for step in "${steps[@]}"; do
    echo "== $step"
    # A shell of its own, so that the first command that fails ends the step and not the run.
    set +e
    time (
        set -e
        if [ "$(type -t "$step")" = function ]; then
            "$step"
        else
            "scripts/$step.sh"
        fi
    )
    status=$?
    set -e
    if [ $status = 0 ]; then
        passed=$((passed + 1))
    else
        failed+=("$step")
    fi
done
[ ${#failed[@]} = 0 ] || echo "failed: ${failed[*]}"
echo "steps: $passed passed, ${#failed[@]} failed"
[ ${#failed[@]} = 0 ]
