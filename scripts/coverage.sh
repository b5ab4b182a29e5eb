#!/usr/bin/env bash
# coverage.sh [PERCENT]: which lines of the library the tests and the fuzz corpus reach together.
# Prints a table of the files and each line that stays unreached, and fails below PERCENT, or 97.

# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" "${TEST_PACKAGES[@]}" clang libclang-rt-dev llvm

least=${1:-97}
folder=$PWD/build/coverage
build coverage

rm -f "$folder"/*.profraw
export LLVM_PROFILE_FILE=$folder/%8m.profraw
ctest --test-dir "$folder" -E android_blueprint -Q || echo "some tests failed: see $folder/Testing"
# The seeds and what earlier runs of fuzz.sh have learnt; the two targets without seeds start anew.
for target in calibration_file spline_toolkit containers; do
    folders=()
    for corpus in "fuzz/corpus/$target" "build/fuzz/corpus/$target"; do
        [ ! -d "$corpus" ] || folders+=("$corpus")
    done
    runs=(-runs=0)
    [ "$target" = calibration_file ] || runs=(-runs=20000 -seed=1 -max_len=512)
    # New inputs of this run go nowhere, so that it can be repeated.
    "$folder/fuzz/fuzz_$target" "${runs[@]}" "$(mktemp -d -p "$folder")" "${folders[@]}" \
        2>"$folder/$target.log"
done

llvm-profdata merge -o "$folder/all.profdata" "$folder"/*.profraw
show=("$folder/libcalibmap.so" "-instr-profile=$folder/all.profdata")
library=(arithmetic calib container distortion spline)
llvm-cov report "${show[@]}" -show-region-summary=false -show-branch-summary=false "${library[@]}"
echo "Not reached:"
llvm-cov show "${show[@]}" -use-color=false -show-expansions=false -show-instantiations=false \
    "${library[@]}" | awk -F'|' -v root="$PWD/" '
        /^\/.*:$/ { file = $0; sub(root, "", file) }
        $2 ~ /^ +0$/ { print file $1 + 0 ": " $3 }'
llvm-cov export "${show[@]}" -summary-only "${library[@]}" | sed 's/.*"totals"//' |
    awk -v least="$least" 'match($0, /"lines":[^}]*"percent":[0-9.]+/) {
        percent = substr($0, RSTART, RLENGTH)
        sub(/.*:/, "", percent)
        printf "%.2f %% of the lines\n", percent
        exit percent < least
    }'
