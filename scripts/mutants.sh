#!/usr/bin/env bash
# mutants.sh [WORD]: puts the faults of scripts/mutants.txt, or those whose entry contains WORD, into
# a copy of the library, one at a time, and says which of them the tests do not notice. Fails when
# one survives, when a fault no longer fits its file, and when a faulty library does not compile.
#
# An entry of the list is a line "FILE: what the fault is", then the text that is replaced, each line
# of it behind "- ", and the text that takes its place behind "+ ".

# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TEST_PACKAGES[@]}"
word=${1:-}
tree=build/mutants/tree
build=build/mutants/build

# What has changed since the last run, and what that run left faulty, is copied again.
git ls-files --cached --others --exclude-standard | while read -r file; do
    if [ -f "$file" ] && ! cmp -s "$file" "$tree/$file"; then
        install -D -m "$(stat -c %a "$file")" "$file" "$tree/$file"
    fi
done

# Builds the copy and runs its tests up to the first that fails, whose name is the last line of the
# log. Returns 2 where the copy does not compile. The tool is not built: it is not what is faulty.
runTests() {
    cmake --build $build -- --quiet >build/mutants/build.log 2>&1 || return 2
    ctest --test-dir $build -j "$(nproc)" --stop-on-failure --timeout 60 --no-tests=error \
        -E 'android_blueprint|machine_code' >build/mutants/tests.log 2>&1 || return 1
}

cmake -S $tree -B $build -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 \
    -DCALIBMAP_BUILD_TOOLS=OFF >/dev/null
echo "building and testing without a fault"
runTests || {
    tail -n 30 build/mutants/build.log build/mutants/tests.log
    exit 1
}

total=$(grep '^[^-+# ].*: ' scripts/mutants.txt | grep -c -e "$word")
faults=0
survivors=()
wrong=()

# Tries the entry that has been read: `file`, `what`, `old` and `new`.
try() {
    [[ -n $file && "$file: $what" == *"$word"* ]] || return 0
    faults=$((faults + 1))
    local content rest began=$SECONDS outcome=0
    content=$([ ! -f "$file" ] || cat "$file")
    rest=${content#*"$old"}
    if [[ $rest = "$content" || $rest = *"$old"* ]]; then
        outcome="its text is not there once"
    else
        printf '%s\n' "${content%%"$old"*}$new$rest" >"$tree/$file"
        runTests || outcome=$?
        cp "$file" "$tree/$file"
    fi
    case $outcome in
    0) outcome=SURVIVES && survivors+=("$file: $what") ;;
    1) outcome="noticed by $(sed -n 's/^ *[0-9]*\/[0-9]* Test *#[0-9]*: \(.*[^ ]\) \.\.\.*\**\(Failed\|Timeout\|Exception\|Subprocess\).*/\1/p' build/mutants/tests.log | head -n 1)" ;;
    *)
        [ "$outcome" != 2 ] || outcome="does not compile, see build/mutants/build.log"
        wrong+=("$file: $what")
        ;;
    esac
    printf '%2d of %d, %s: %s: %s (%d s)\n' $faults "$total" "$file" "$what" "$outcome" \
        $((SECONDS - began))
}

SECONDS=0
file=
what=
while IFS= read -r line; do
    case $line in
    '' | '#'*) ;;
    '- '*) old+=${old:+$'\n'}${line#- } ;;
    '+ '*) new+=${new:+$'\n'}${line#+ } ;;
    *)
        try
        file=${line%%: *} what=${line#*: } old='' new=''
        ;;
    esac
done <scripts/mutants.txt
try

echo "$faults faults in $(((SECONDS + 30) / 60)) minutes: ${#survivors[@]} survive, ${#wrong[@]} wrong entries"
[ $((${#survivors[@]} + ${#wrong[@]})) = 0 ] || {
    printf '  %s\n' "${survivors[@]}" "${wrong[@]}"
    exit 1
}
