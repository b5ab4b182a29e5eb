#!/usr/bin/env bash
# test.sh [--all]: sets up, builds and runs the tests, optimised and under the sanitizers. With --all
# it goes on with everything that CI checks. It runs every step, whatever the others say, and closes
# with a count of steps; STEP... after --all runs only those.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

all=false
options=()
if [ "${1:-}" = --all ]; then
    all=true
    # Here a warning is an error; with a compiler that nobody has tried yet it is only a warning.
    options=(-DCALIBMAP_WERROR=ON)
    shift
fi

# runTests PRESET: builds everything and runs every test.
runTests() {
    cmake --preset "$1" "${options[@]}" >/dev/null
    cmake --build --preset "$1" -- --quiet
    ctest --preset "$1" --no-tests=error --quiet -O "build/$1/tests.log" -j "$(nproc)" || {
        grep -v ' Passed ' "build/$1/tests.log"
        return 1
    }
    tail -n 4 "build/$1/tests.log"
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

sources() {
    git ls-files '*.cpp' '*.h' '*.c'
}

format() {
    need clang-format shellcheck
    sources | xargs clang-format --dry-run -Werror
    git ls-files '*.sh' .ci/run | xargs shellcheck -x
}

# What the benchmarks and the fuzz targets consist of is read with the options of this build, too.
tidy() {
    need clang clang-tidy libclang-rt-dev libbenchmark-dev libgsl-dev
    cmake --preset clang -B build/tidy -DCALIBMAP_BUILD_BENCH=ON -DCALIBMAP_BUILD_FUZZ=ON >/dev/null
    sources | grep -E '\.(cpp|c)$' | grep -v '^tests/consumers/' |
        xargs -P "$(nproc)" -n 4 clang-tidy -p build/tidy --quiet 2>/dev/null
}

# Memory errors and leaks that the sanitizers cannot see. The tests that measure time and memory
# themselves stay out.
valgrind() {
    need valgrind
    cmake --preset release "${options[@]}" >/dev/null
    cmake --build --preset release -- --quiet
    local test
    for test in arithmetic calibration faults golden grid spline transcript; do
        echo "$test"
        command valgrind --quiet --error-exitcode=1 --leak-check=full --show-leak-kinds=all \
            --errors-for-leak-kinds=definite,possible "build/release/tests/${test}_test" \
            --gtest_brief=1
    done
}

bits() {
    scripts/bits.sh
}

fuzz() {
    scripts/fuzz.sh 30
}

coverage() {
    scripts/coverage.sh
}

abi() {
    scripts/abi.sh
}

consumers() {
    scripts/consumers.sh
}

package() {
    scripts/package.sh
}

steps=(release asan)
if $all; then
    steps+=(clang format tidy valgrind bits fuzz coverage abi consumers package)
    [ $# = 0 ] || steps=("$@")
fi

need "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${TOOL_PACKAGES[@]}"
passed=0
failed=()
for step in "${steps[@]}"; do
    echo "== $step"
    SECONDS=0
    # A shell of its own, so that the first command that fails ends the step and not the run.
    set +e
    (
        set -e
        "$step"
    )
    status=$?
    set -e
    if [ $status = 0 ]; then
        passed=$((passed + 1))
    else
        failed+=("$step")
    fi
    echo "   $SECONDS s"
done
[ ${#failed[@]} = 0 ] || echo "failed: ${failed[*]}"
echo "steps: $passed passed, ${#failed[@]} failed"
[ ${#failed[@]} = 0 ]
