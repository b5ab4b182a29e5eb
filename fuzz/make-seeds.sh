#!/bin/bash
# make-seeds.sh TOOL: writes the seeds anew. Those of the file target come from the command line
# program; their sizes and lenses differ, so that the maps have complete, incomplete and many patches.
# Those of the readers are the tests' calibrations, behind the byte that chooses camera and lens, and
# points.

set -euo pipefail
tool=$1
cd "$(dirname "$0")/corpus/calibration_file"
"$tool" sample --width 32 --height 24 --fx 30 --fy 28 --cx 15.25 --cy 11.5 -o small.bin
"$tool" sample --width 150 --height 70 --fx 100 --fy 80 --cx 70.25 --cy 31.5 --k1 0.1 -o wide.bin
"$tool" sample --width 16 --height 200 --fx 150 --fy 150 --cx 7.5 --cy 99.5 --k1 0.05 -o high.bin
"$tool" sample -o vga.bin

cd ../../..
python3 -B - <<'EOF'
import os
import sys

sys.path.insert(0, 'tests')
from calibrations import CALIBRATIONS

for target in ('camera_file', 'point_pairs'):
    os.makedirs(f'fuzz/corpus/{target}', exist_ok=True)
for name, case in CALIBRATIONS.items():
    choice = '0123'[['', '#1', '#2', '#cam0'].index(case.get('camera', ''))]
    if '--lens' in case.get('options', []):
        choice = chr(ord(choice) + 4)
    with open(f'fuzz/corpus/camera_file/{name}', 'w', encoding='utf-8') as seed:
        seed.write(choice + case['text'])
with open('fuzz/corpus/camera_file/aliases.yaml', 'w', encoding='utf-8') as seed:
    seed.write('0K: &k [425, 0, 318, 0, 424, 242, 0, 0, 1]\nagain: [*k, *k]\ndistortion_model: plumb_bob\nD: [0, 0, 0, 0]\n')
with open('fuzz/corpus/point_pairs/pairs.csv', 'w', encoding='utf-8') as seed:
    seed.write('\ufeffx,y,column,row\n# measured\n1,2,3,4\r\n"5.5";-6;+7e1;8\n')
EOF
