#!/usr/bin/env bash
# demo.sh [FOLDER]: builds the library and its tool, makes up a calibrated device, shows its maps and
# draws pictures of them into FOLDER (build/demo/pictures).
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" "${TOOL_PACKAGES[@]}"
build program calibmap-tool calibmap-demo
PATH=$PWD/build/program/tools:$PWD/build/program/examples:$PATH

# The library keeps the path of its file in 33 bytes, so a longer TMPDIR would not do.
device=$(mktemp -d /tmp/calibmap-XXXXXX)
trap 'rm -rf "$device"' EXIT
lens=$device/lens.bin

calibmap sample -o "$lens"
echo
calibmap-demo "$lens"

pictures=${1:-build/demo/pictures}
mkdir -p "$pictures"
calibmap draw "$lens" -o "$pictures/lens.png"
calibmap pattern -o "$device/board.png"
calibmap remap "$lens" "$device/board.png" --direction distort --border grey \
    -o "$pictures/recorded.png"
calibmap remap "$lens" "$pictures/recorded.png" --border grey -o "$pictures/straightened.png"
echo
echo "pictures: $pictures/lens.png, recorded.png, straightened.png"

cp "$lens" "$pictures/lens.bin"
scripts/web.sh build
echo "page: open build/web/calibmap.html in a browser and drop $pictures/lens.bin on it"
