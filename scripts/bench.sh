#!/usr/bin/env bash
# bench.sh [PART]...: builds the release library and its benchmarks, runs them and says
# which promises hold. Parts are
#   standard   maps and toolkit against the contenders, with the heap as the C library gives it
#   keeping    the same with a heap that keeps its memory
#   shapes     our maps of every shape, from ordinary and from hostile files, with either heap
#   counts     instructions, which repeat exactly
#   pipes      the inner loop of a map on two arm64 processors, by a model of their pipes
# and all of them without an argument.
# ROUNDS in the environment says how often each case has its turn (15).
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=(standard keeping shapes counts pipes)

need "${BUILD_PACKAGES[@]}" "${BENCH_PACKAGES[@]}" valgrind
build bench calibmap-bench
bench=build/bench/bench/calibmap-bench

# Instructions of one run of a case, and for each of its units.
count() {
    local log
    log=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --toggle-collect=measuredRun \
        "$bench" --once="$1" 2>&1) || {
        echo "$log"
        return 1
    }
    awk -v name="$1" '
        index($0, name ": ") == 1 { units = $(NF - 1); unit = $NF }
        /Collected/ { instructions = $NF }
        END {
            printf "| %s | %d | %.2f a %s |\n", name, instructions, instructions / units, unit
        }' <<<"$log"
}

standard() {
    echo "## The heap as the C library gives it"
    echo
    "$bench" --heap=standard --rounds="${ROUNDS:-15}"
}

keeping() {
    echo "## A heap that keeps its memory"
    echo
    "$bench" --heap=keeping --rounds="${ROUNDS:-15}"
}

shapes() {
    local heap
    for heap in standard keeping; do
        echo "## Shapes of maps, $heap heap"
        echo
        "$bench" --heap="$heap" --rounds="${ROUNDS:-15}" --filter=shape
        echo
    done
}

counts() {
    echo "## Instructions of a run"
    echo
    printf '| case | instructions | each |\n|---|---:|---:|\n'
    local size contender
    for size in 320x240 640x480 1280x960 '640x480 ratio 6'; do
        for contender in calibmap GSL Eigen OpenCV; do
            count "map $size/$contender"
        done
    done
    for contender in calibmap GSL; do
        count "collocationMatrix 1120 sites/$contender"
    done
    count spcol/calibmap
}

pipes() {
    echo "## The inner loop on arm64"
    echo
    scripts/pipes.sh
}

for part in "${parts[@]}"; do
    case $part in standard | keeping | shapes | counts | pipes) ;; *)
        sed -n 's/^# \(bench.sh\)/usage: \1/p' "$0" >&2
        exit 2
        ;;
    esac
done
failed=0
for part in "${parts[@]}"; do
    "$part" || failed=1
    echo
done
[ $failed = 0 ]
