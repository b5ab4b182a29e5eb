#!/usr/bin/env bash
# mutants.sh [WORD]: puts the faults of scripts/mutants/*.txt, or those whose entry contains WORD, into copies of the
# tree, one at a time, and says which of them the tests do not notice. Fails when one survives, when a fault no longer
# fits its file, and when what is faulty does not compile.
# mutants.sh --sample COUNT SEED [FOLDER]: the same with faults that nobody thought of: COUNT of all that
# scripts/mutate.py makes of the sources, drawn by SEED. Fails when too small a share is noticed.
#
# An entry of a list is a line "FILE: what the fault is", then the text that is replaced, each line of it behind "- ",
# and the text that takes its place behind "+ ". All of them change what is done: a fault that does not, such as a
# slower way to the same bits, proves nothing about the tests. Those that are made and change nothing stand in
# scripts/equivalent-mutants.txt, each as a sample names it, and below it the reason.

# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" "${TEST_PACKAGES[@]}" "${PAGE_PACKAGES[@]}" "${BROWSER_PACKAGES[@]}" \
    qemu-user python3-clang

# The interpreter that knows the distribution's packages.
case ${1:-} in
--sample) exec /usr/bin/python3 -B scripts/mutate.py "${@:2}" ;;
*) exec /usr/bin/python3 -B scripts/mutants.py "$@" ;;
esac
