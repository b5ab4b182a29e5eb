#!/usr/bin/env bash
# mutants.sh [WORD]: puts the faults of scripts/mutants/*.txt, or those whose entry contains WORD, into copies of the
# tree, one at a time, and says which of them the tests do not notice. Fails when one survives, when a fault no longer
# fits its file, and when what is faulty does not compile.
# mutants.sh --sample COUNT SEED [FOLDER]: the same with faults that nobody thought of: COUNT of all that
# scripts/mutate.py makes of the sources, drawn by SEED. Fails when too small a share is noticed.
# mutants.sh --release: both, as docs/measurements/faults.md has them.
#
# An entry of a list is a line "FILE: what the fault is", then the text that is replaced, each line of it behind "- ",
# and the text that takes its place behind "+ ". All of them change what is done: a fault that does not, such as a
# slower way to the same bits, proves nothing about the tests. Those that are made and change nothing stand in
# scripts/equivalent-mutants.txt, each as a sample names it, and below it the reason.

# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${PAGE_PACKAGES[@]}" "${BROWSER_PACKAGES[@]}" \
    qemu-user python3-clang

# run NAME ARGUMENT...: a program of this folder, with the interpreter that knows the distribution's packages.
run() {
    /usr/bin/python3 -B "scripts/$1.py" "${@:2}"
}

case ${1:-} in
--sample) run mutate "${@:2}" ;;
--release)
    status=0
    run mutants || status=1
    run mutate 300 1 || status=1
    exit $status
    ;;
*) run mutants "$@" ;;
esac
