#!/bin/bash
# make-seeds.sh TOOL: writes the seeds of the file target anew, with the command line program. Their
# sizes and lenses differ, so that the maps have complete, incomplete and many patches.

set -euo pipefail
tool=$1
cd "$(dirname "$0")/corpus/calibration_file"
"$tool" sample --width 32 --height 24 --fx 30 --fy 28 --cx 15.25 --cy 11.5 -o small.bin
"$tool" sample --width 150 --height 70 --fx 100 --fy 80 --cx 70.25 --cy 31.5 --k1 0.1 -o wide.bin
"$tool" sample --width 16 --height 200 --fx 150 --fy 150 --cx 7.5 --cy 99.5 --k1 0.05 -o high.bin
"$tool" sample -o vga.bin
