#!/bin/bash
# make-seeds.sh TOOL: writes the seeds anew. Those of the file target come from the command line
# program; their sizes and lenses differ, so that the maps have complete, incomplete and many patches.
# Those of the readers are the tests' calibrations, behind the byte that chooses camera and lens,
# points, and a picture of each kind.

set -euo pipefail
tool=$1
cd "$(dirname "$0")/corpus/calibration_file"
"$tool" sample --width 32 --height 24 --fx 30 --fy 28 --cx 15.25 --cy 11.5 -o small.bin
"$tool" sample --width 150 --height 70 --fx 100 --fy 80 --cx 70.25 --cy 31.5 --k1 0.1 -o wide.bin
"$tool" sample --width 16 --height 200 --fx 150 --fy 150 --cx 7.5 --cy 99.5 --k1 0.05 -o high.bin
"$tool" sample -o vga.bin
mkdir -p ../picture
"$tool" pattern --width 32 --height 24 --square 6 -o - |
    "$tool" remap small.bin - -o ../picture/board.jpg

cd ../../..
python3 -B - <<'EOF'
import os
import random
import struct
import sys
import zlib

sys.path.insert(0, 'tests')
from calibrations import CALIBRATIONS

random.seed(1)

for target in ('camera_file', 'picture', 'point_pairs'):
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

# Colour: 0 grey, 2 RGB, 3 palette, 4 grey and 6 RGB with opacity.
CHANNELS = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}
PASSES = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2), (0, 1, 1, 2)]
PALETTE = [(b'PLTE', bytes(range(48))), (b'tRNS', bytes(range(16)))]
BESIDE = [(b'pHYs', struct.pack('>IIB', 3000, 5000, 1)), (b'gAMA', struct.pack('>I', 45455)), (b'sRGB', b'\0'),
          (b'tEXt', b'Author\0me'), (b'zTXt', b'Title\0\0' + zlib.compress(b'lens')),
          (b'iTXt', b'Title\0\1\0de\0Titel\0' + zlib.compress(b'Linse')),
          (b'iCCP', b'profile\0\0' + zlib.compress(bytes(200)))]
for name, colour, bits, interlaced, chunks in (
        ('grey-1', 0, 1, 0, []), ('grey-8', 0, 8, 0, [(b'tRNS', b'\0\7')]), ('grey-16', 0, 16, 1, []), ('rgb-8', 2, 8, 0, BESIDE),
        ('rgb-16', 2, 16, 0, [(b'tRNS', bytes(6))]), ('palette-4', 3, 4, 0, PALETTE), ('palette-8', 3, 8, 1, PALETTE),
        ('grey-alpha-8', 4, 8, 0, []), ('rgba-8', 6, 8, 1, []), ('rgba-16', 6, 16, 0, [])):
    width, height, rows = 7, 5, b''
    for x, y, dx, dy in PASSES if interlaced else [(0, 0, 1, 1)]:
        for row in range(y, height, dy):
            size = (len(range(x, width, dx)) * CHANNELS[colour] * bits + 7) // 8
            rows += bytes([random.randrange(5)]) + random.randbytes(size) if size else b''
    head = struct.pack('>IIBBBBB', width, height, bits, colour, 0, 0, interlaced)
    with open(f'fuzz/corpus/picture/{name}.png', 'wb') as seed:
        seed.write(b'\x89PNG\r\n\x1a\n')
        for kind, body in ((b'IHDR', head), *chunks, (b'IDAT', zlib.compress(rows)), (b'IEND', b'')):
            seed.write(struct.pack('>I', len(body)) + kind + body + struct.pack('>I', zlib.crc32(kind + body)))
EOF
