#!/usr/bin/env bash
# Builds the library and its tool, makes up a calibrated device and shows its maps.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}"
# A folder of its own: the demonstration does without the tests and the packages they need.
cmake --preset release -B build/demo -DCALIBMAP_BUILD_TESTS=OFF >/dev/null
cmake --build build/demo --target calibmap-tool calibmap-demo -- --quiet
tools=build/demo/tools

# The library keeps the path of its file in 33 bytes.
file=$(mktemp /tmp/calibmap-XXXXXX)
trap 'rm -f "$file"' EXIT

"$tools/calibmap" sample -o "$file"
echo
"$tools/calibmap-demo" "$file"
