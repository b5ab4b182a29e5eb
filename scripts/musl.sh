#!/usr/bin/env bash
# musl.sh: builds the library and a C program against another C library, musl, and runs them: the maps
# are those of the lens, and byte for byte those that the program makes with the distribution's.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}" "${TEST_PACKAGES[@]}" musl-tools binutils

build release calibmap calibmap-tool
build musl

work=$(mktemp -d /tmp/calibmap-XXXXXX)
trap 'rm -rf "$work"' EXIT
build/release/tools/calibmap sample -o "$work/lens.bin"

# makeMaps PRESET COMPILER: the program with the library of a preset.
makeMaps() {
    "$2" -std=c99 -D_DEFAULT_SOURCE -Wall -Wextra -Wpedantic -Werror -I. -o "$work/$1" \
        tests/consumers/two_c_libraries/main.c -Lbuild/"$1" -lcalibmap -lm "-Wl,-rpath,$PWD/build/$1"
    "$work/$1" "$work/lens.bin" "$work/$1.maps" || {
        echo "$1: no maps, or not those of the lens"
        return 1
    }
}

makeMaps release cc
makeMaps musl musl-gcc
cmp "$work/release.maps" "$work/musl.maps"
readelf -lW "$work/musl" | grep -q 'interpreter: .*ld-musl' || {
    echo "the program was not linked with musl"
    exit 1
}
echo "$(stat -c %s "$work/musl.maps") bytes of maps are the same with musl"
