#!/usr/bin/env bash
# report.sh [NAME...]: writes the files of docs/measurements, or those of these names, from the tree as it is
# committed. Takes its time, and a quiet machine.
# report.sh --check: each file was written from sources that are still those of this tree.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

library=(calibmap.h arithmetic calib cmake container distortion spline)
names=(coverage faults fuzzing speed)

# describe NAME: what a report is made with, and of which sources it speaks.
describe() {
    case $1 in
    coverage) title=Coverage command=scripts/coverage.sh packages=(clang) && subjects=(tests fuzz) ;;
    faults)
        title="Faults that tests notice" command=scripts/mutants.sh packages=(g++ libgtest-dev)
        subjects=(inspection tools web python tests scripts/mutants)
        ;;
    fuzzing) title=Fuzzing command="scripts/fuzz.sh 60" packages=(clang) && subjects=(fuzz inspection tools) ;;
    speed)
        title=Speed command=scripts/bench.sh subjects=(bench)
        packages=(g++ libgsl-dev libeigen3-dev libopencv-calib3d-dev libc6)
        ;;
    *)
        echo "report.sh: no measurement '$1'; there are ${names[*]}" >&2
        exit 2
        ;;
    esac
}

# writeReport NAME: a report with broken promises is a report too, and fails.
writeReport() {
    local results=build/reports/$1.txt status=0 load
    load=$(cut -d ' ' -f 1 /proc/loadavg)
    $command | sed '/^installing:/d' >"$results" || status=1
    {
        printf '# %s\n\n' "$title"
        # shellcheck disable=SC2016 # the quotes are Markdown
        printf 'Written by `scripts/report.sh` from `%s`, %s, commit %s.\n' "$command" \
            "$(date --utc +%Y-%m-%d)" "$(git rev-parse --short HEAD)"
        printf '%s, %d processors, Linux %s.\n' \
            "$(sed -n 's/^model name.*: //p' /proc/cpuinfo | head -n 1)" "$(nproc)" "$(uname -r)"
        printf 'Load when it began: %s.\n\n' "$load"
        dpkg-query -W -f='${Package} ${Version}, ' "${packages[@]}" | sed 's/, $/.\n\n/'
        case $1 in
        speed) cat "$results" ;;
        *) sed 's/^/    /' "$results" ;;
        esac
    } | sed '$ { /^ *$/d }' >"build/reports/$1.md"
    return "$status"
}

# checkReport NAME: whatever has changed since, committed or not, was not measured.
checkReport() {
    local file=docs/measurements/$1.md commit changed
    commit=$(sed -n 's/.*, commit \([0-9a-f]*\)\.$/\1/p' "$file")
    changed=$(git diff --name-only "${commit:?no commit in $file}" -- "${library[@]}" "${subjects[@]}") || return 1
    [ -z "$changed" ] || {
        echo "$file speaks of $commit; since then ${changed%%$'\n'*} has changed, one of $(wc -l <<<"$changed") files"
        return 1
    }
}

failed=0
if [ "${1:-}" = --check ]; then
    for name in "${names[@]}"; do
        describe "$name"
        checkReport "$name" || failed=1
    done
    exit $failed
fi

[ -z "$(git status --porcelain)" ] || {
    echo "report.sh: the tree has changes that are not committed; commit them, so that the figures have a source" >&2
    exit 1
}
[ $# = 0 ] || names=("$@")
need "${BENCH_PACKAGES[@]}" g++ clang
mkdir -p build/reports
for name in "${names[@]}"; do
    describe "$name"
    writeReport "$name" || failed=1
done
# Not before: the tree stays as it is committed until all is measured.
for name in "${names[@]}"; do
    mv "build/reports/$name.md" docs/measurements/
done
exit $failed
