#!/usr/bin/env bash
# fuzz.sh [SECONDS [TARGET...]]: fuzzes each target for some time, 30 seconds unless told
# otherwise, and fails on a finding. What a run learns stays in build/fuzz/corpus for the next one.

# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" clang libclang-rt-dev llvm

seconds=${1:-30}
targets=("${@:2}")
[ ${#targets[@]} -gt 0 ] || targets=(calibration_file spline_toolkit containers camera_file point_pairs \
    picture inspection)

build fuzz

# fuzzTarget TARGET: fails on a finding.
fuzzTarget() {
    local target=$1 log length seeds folders limits=(-timeout=20 -rss_limit_mb=1024)
    log=build/fuzz/$target.log
    seeds=fuzz/corpus/$target
    case $target in
    calibration_file) length=6400 ;;
    inspection) length=6400 seeds=fuzz/corpus/calibration_file ;;
    camera_file | picture | point_pairs) length=16384 ;;
    *) length=512 ;;
    esac
    case $target in
    # What the program promises to anybody, sanitizers and all.
    inspection) limits=(-timeout=2 -rss_limit_mb=300) ;;
    picture) limits=(-timeout=2 -rss_limit_mb=300 -dict=fuzz/picture.dict) ;;
    camera_file | point_pairs) limits=(-timeout=2 -rss_limit_mb=300 -dict=fuzz/readers.dict) ;;
    *) limits+=(-dict=fuzz/numbers.dict) ;;
    esac
    folders=("build/fuzz/corpus/$target")
    mkdir -p "${folders[0]}"
    [ ! -d "$seeds" ] || folders+=("$seeds")
    if ! ASAN_OPTIONS=quarantine_size_mb=16 "build/fuzz/fuzz/fuzz_$target" -max_total_time="$seconds" -max_len=$length \
        "${limits[@]}" -print_final_stats=1 \
        -artifact_prefix="build/fuzz/finding-$target-" "${folders[@]}" 2>"$log"; then
        echo "$target: FINDING, see $log"
        grep -m 1 -A 12 -e '^does not hold' -e ERROR -e 'runtime error' "$log" || tail "$log"
        return 1
    fi
    awk -v target="$target" '
        / cov: / { for (i = 1; i < NF; ++i) if ($i == "cov:") edges = $(i + 1) }
        /number_of_executed_units/ { runs = $2 }
        /^Done/ { time = $5 }
        END { printf "%s: %d executions in %d s, %d edges covered\n", target, runs, time, edges }' "$log"
}

failed=0
for target in "${targets[@]}"; do
    fuzzTarget "$target" || failed=1
done
exit $failed
