#!/usr/bin/env bash
# abi.sh [--update]: the library's binary interface, as it is built and as its header reads, is the one
# recorded in tests/abi/calibmap.abi.txt. A change on purpose is recorded with --update, together with
# the version that it takes: whatever existing programs notice takes a new major version.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" binutils python3-clang

record=tests/abi/calibmap.abi.txt
built=build/release/calibmap.abi.txt
build release calibmap
/usr/bin/python3 tests/abi/describe.py build/release/libcalibmap.so calibmap.h >"$built"
if [ "${1:-}" = --update ]; then
    cp "$built" "$record"
elif ! diff -U 1 "$record" "$built"; then
    echo "the binary interface is not the recorded one; if that is meant, run scripts/abi.sh --update"
    exit 1
fi
echo "$(grep -c ^export "$record") exported names, $(grep -c ^record "$record") records: as recorded"
