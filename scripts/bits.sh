#!/bin/bash
# The same bits everywhere: the golden test at -O0, -O2 and -O3 on x86-64 and arm64 with GCC and with
# Clang, the kernels of x86-64 for every vector width, the machine code and the hardening of all four
# libraries, and the whole test suite on arm64 in emulation.

# shellcheck source=scripts/setup.sh
. "$(dirname "$0")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang g++-aarch64-linux-gnu qemu-user googletest \
    blueprint-tools lld

run() {
    local preset=$1 tests=$2
    shift 2
    echo "== $preset"
    local build="build/bits-$preset"
    local log="$build.log"
    {
        cmake --preset "$preset" -B "$build" -DCALIBMAP_BUILD_TOOLS=OFF -DCALIBMAP_WERROR=ON \
            "-DCALIBMAP_GOLDEN_LEVELS=0;2;3" &&
            cmake --build "$build" --target "$@" &&
            ctest --test-dir "$build" --no-tests=error --output-on-failure -j "$(nproc)" -R "$tests"
    } >"$log" 2>&1 || {
        cat "$log"
        return 1
    }
    sed -n -E '/Test +#.*((arithmetic|golden)_test|machine_code|hardened|android_blueprint)/p; /tests passed/p' "$log"
}

library='(arithmetic|golden)_test_.*|golden_test|machine_code|hardened_library'
golden=(calibmap arithmetic_test golden_test golden_test_O0 golden_test_O2 golden_test_O3)
run release "^($library|android_blueprint)$" "${golden[@]}"
run clang "^($library)$" "${golden[@]}"

run arm64-clang "^($library)$" "${golden[@]}"
run arm64 . all
