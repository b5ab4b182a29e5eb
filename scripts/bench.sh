#!/usr/bin/env bash
# bench.sh [warm|cold|counts]...: builds the release library and its benchmarks, runs them and says
# which targets hold. Without an argument: all three. `counts` are instructions, which repeat exactly.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

modes=("$@")
[ ${#modes[@]} -gt 0 ] || modes=(warm cold counts)

need "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" valgrind
build bench calibmap-bench
bench=build/bench/bench/calibmap-bench

# Instructions of one run of a case, and for each of its units.
count() {
    local log
    log=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect=measuredRun \
        "$bench" --once="$1" 2>&1)
    awk -v name="$1" '
        index($0, name ": ") == 1 { units = $(NF - 1); unit = $NF }
        /Collected/ { instructions = $NF }
        END {
            printf "%-40s %12d instructions %10.2f a %s\n", name, instructions,
                instructions / units, unit
        }' <<<"$log"
}

status=0
for mode in "${modes[@]}"; do
    echo "== $mode"
    case $mode in
    warm | cold)
        "$bench" --mode="$mode" || status=1
        ;;
    counts)
        for size in 320x240 640x480 1280x960; do
            for contender in calibmap GSL Eigen floor; do
                count "map $size/$contender"
            done
        done
        for job in 'collocationMatrix 1120 sites' 'collocationMatrix 17920 sites' spcol; do
            for contender in calibmap GSL; do
                count "$job/$contender"
            done
        done
        ;;
    *)
        echo "usage: $0 [warm|cold|counts]..." >&2
        exit 2
        ;;
    esac
    echo
done
exit $status
