#!/usr/bin/env python3
"""Compares files that `calibmap make` writes with OpenCV: opencv_test.py PROGRAM OPENCV_MAPS"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np

from calibrations import CALIBRATIONS

PROGRAM, OPENCV = map(os.path.abspath, sys.argv[1:3])
del sys.argv[1:3]
# What single precision leaves of maps with values of a few hundred pixels.
ROUNDING = 1e-3


class OpenCvTest(unittest.TestCase):

    def test_maps_agree(self):
        with tempfile.TemporaryDirectory() as folder:
            os.chdir(folder)
            for name, case in CALIBRATIONS.items():
                with self.subTest(name):
                    self.compare(name, case)

    def compare(self, name, case):
        with open(name, 'w', encoding='utf-8') as file:
            file.write(case['text'])
        told = json.loads(subprocess.run(
            [PROGRAM, 'make', '--json', '--main', name + case.get('camera', ''), '-o', 'device.bin',
             *case.get('options', [])], check=True, stdout=subprocess.PIPE).stdout)
        width, height = case['size']
        raw = subprocess.run([OPENCV, case['model'], *map(str, (width, height, *case['intrinsics'], *case['terms']))],
                             check=True, stdout=subprocess.PIPE).stdout
        planes = np.frombuffer(raw, np.float32).astype(float)
        maps, points = planes[:2 * width * height].reshape(2, height, width), planes[2 * width * height:]
        truth = {'undistort': maps, 'distort': np.moveaxis(points.reshape(height, width, 2), 2, 0)}
        fx, fy, cx, cy = case['intrinsics']
        y, x = np.mgrid[0:height, 0:width]
        for direction, other in truth.items():
            subprocess.run([PROGRAM, 'map', 'device.bin', '--direction', direction, '-o', 'map.npy'],
                           check=True, stdout=subprocess.DEVNULL)
            ours = np.load('map.npy').astype(float)
            # What the lens sees within the fitted angle, in the straight image.
            straight = (x, y) if direction == 'undistort' else other
            angle = np.degrees(np.arctan(np.hypot((straight[0] - cx) / fx, (straight[1] - cy) / fy)))
            judged = angle < told['maxAngle']
            apart = np.hypot(*(ours - other))[judged].max()
            printed = told[direction]['largest']
            print(f'{name:28} {direction:9} spline from lens {printed:.5f}, from OpenCV {apart:.5f} pixels')
            self.assertLess(apart, printed + ROUNDING)


if __name__ == '__main__':
    unittest.main()
