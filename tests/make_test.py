#!/usr/bin/env python3
"""Tests of `calibmap make`: make_test.py PROGRAM"""
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

import numpy as np

from calibrations import CALIBRATIONS
from pictures import read_png

PROGRAM = os.path.abspath(sys.argv.pop(1))
CHAIN = CALIBRATIONS['camchain.yaml']
OPENCV = CALIBRATIONS['opencv.yml']['text']
ROS = CALIBRATIONS['ros.yaml']['text']
ECHO = CALIBRATIONS['ros-rational.yaml']['text']


def recorded(x, y, case):
    """Where a lens with up to five radial-tangential terms, or a fisheye lens, takes straight pixels."""
    fx, fy, cx, cy = case['intrinsics']
    k = [*case['terms'], 0]
    u, v = (x - cx) / fx, (y - cy) / fy
    r2 = u * u + v * v
    if case['model'] == 'fisheye':
        r = np.sqrt(r2)
        t = np.arctan(r)
        scale = t * (1 + k[0] * t**2 + k[1] * t**4 + k[2] * t**6 + k[3] * t**8) / np.where(r > 0, r, 1)
        return u * scale * fx + cx, v * scale * fy + cy
    s = 1 + k[0] * r2 + k[1] * r2**2 + k[4] * r2**3
    return ((u * s + 2 * k[2] * u * v + k[3] * (r2 + 2 * u * u)) * fx + cx,
            (v * s + k[2] * (r2 + 2 * v * v) + 2 * k[3] * u * v) * fy + cy)


def bilinear(plane, x, y):
    x0, y0 = (np.clip(np.floor(c).astype(int), 0, n - 2) for c, n in zip((x, y), plane.shape[::-1]))
    a, b = x - x0, y - y0
    return ((1 - b) * ((1 - a) * plane[y0, x0] + a * plane[y0, x0 + 1]) +
            b * ((1 - a) * plane[y0 + 1, x0] + a * plane[y0 + 1, x0 + 1]))


class MakeTest(unittest.TestCase):

    def setUp(self):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        os.chdir(folder)

    def run_tool(self, *arguments, status=0, fed=None):
        done = subprocess.run([PROGRAM, *arguments], input=fed, capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, status, (arguments, done.stdout, done.stderr))
        return done

    def make(self, *arguments):
        return json.loads(self.run_tool('make', '--json', '-o', 'device.bin', *arguments).stdout)

    def map(self, direction):
        self.run_tool('map', 'device.bin', '--direction', direction, '-o', 'map.npy')
        return np.load('map.npy').astype(float)

    def write(self, name, text):
        with open(name, 'w', encoding='utf-8') as file:
            file.write(text)
        return name

    def read(self, name):
        with open(name, 'rb') as file:
            return file.read()

    def test_lenses_of_other_programs(self):
        # A message of ROS is printed again and again, and says the same each time.
        self.assertEqual(*(self.make('--main', self.write('echo', ECHO * times)) for times in (1, 3)))
        # The same numbers by other names, and as lists of lists.
        k, (fx, fy, cx, cy) = CALIBRATIONS['opencv.yml']['terms'], CALIBRATIONS['opencv.yml']['intrinsics']
        self.write('opencv.yml', OPENCV)
        self.write('opencv.xml', CALIBRATIONS['opencv.xml']['text'])
        self.write('lists.yaml', f'image_size: [640, 480]\nmtx: [[{fx}, 0, {cx}], [0, {fy}, {cy}], [0, 0, 1]]\ndist: [{k}]\n')
        self.write('names.yml', OPENCV.replace('camera_matrix', 'K').replace('distortion_coefficients', 'D'))
        images = []
        for name in ('opencv.yml', 'opencv.xml', 'lists.yaml', 'names.yml'):
            self.make('--main', name)
            images.append(self.read('device.bin'))
        self.assertEqual(images, images[:1] * 4)
        for name in ('camchain.yaml', 'opencv.xml', 'opencv-old.yml', 'opencv-fisheye.yml', 'ros.yaml'):
            with self.subTest(name):
                case = CALIBRATIONS[name]
                self.write(name, case['text'])
                told = self.make('--main', name + case.get('camera', ''), *case.get('options', []))
                info = json.loads(self.run_tool('info', '--json', 'device.bin').stdout)['mainCamera']
                self.assertEqual((info['imageWidth'], info['imageHeight']), case['size'])
                y, x = np.mgrid[0:case['size'][1], 0:case['size'][0]].astype(float)
                stored = {**case, 'intrinsics': np.float32(case['intrinsics']).astype(float)}
                apart = np.hypot(*(self.map('undistort') - recorded(x, y, stored)))
                self.expect_statistics(told['undistort'], apart)
                # There and back again: what one map errs, and the other.
                there = recorded(x, y, case)
                inside = (there[0] > 0) & (there[0] < x.max()) & (there[1] > 0) & (there[1] < y.max())
                inside &= np.hypot((x - case['intrinsics'][2]) / case['intrinsics'][0],
                                   (y - case['intrinsics'][3]) / case['intrinsics'][1]) < 1.7
                back = [bilinear(plane, there[0][inside], there[1][inside]) for plane in self.map('distort')]
                self.assertLess(np.hypot(back[0] - x[inside], back[1] - y[inside]).max(),
                                told['distort']['largest'] + 0.03)
        # The break points are where the largest error is smallest: even ones leave 0.107 pixels.
        self.write('camchain.yaml', CHAIN['text'])
        self.assertLess(self.make('--main', 'camchain.yaml#cam0')['distort']['largest'], 0.04)

    def expect_statistics(self, told, apart):
        self.assertEqual(told['compared'], apart.size)
        self.assertAlmostEqual(told['largest'], apart.max(), delta=1e-9 + 1e-6 * apart.max())
        self.assertAlmostEqual(apart[int(told['at'][1]), int(told['at'][0])], apart.max(), delta=1e-9 + 1e-6 * apart.max())
        self.assertAlmostEqual(told['rootMeanSquare'], np.sqrt((apart**2).mean()), delta=1e-9)
        self.assertAlmostEqual(told['percentile95'], np.percentile(apart, 95), delta=0.01 * apart.max())

    def test_report_is_that_of_the_record(self):
        """What is printed has the numbers of the JSON, and how the points lie in the image."""
        self.write('camchain.yaml', CHAIN['text'])
        pairs = self.measure(400, np.random.default_rng(3), lambda x, y: x < 500 or y > 240)
        np.savetxt('points.csv', pairs, delimiter=',')
        camera = ['--width', '752', '--height', '480', '--fx', '458.6', '--fy', '457.3', '--cx', '367.2', '--cy', '248.4']
        self.make('--points', 'points.csv', *camera)
        os.rename('device.bin', 'old.bin')
        for kind, flag, arguments in (
                ('spline from lens', 1, ['--main', 'camchain.yaml#cam0']),
                ('spline from lens', 0, ['--main', 'camchain.yaml#cam0', '--max-angle', '48', '--set', 'pass=0']),
                ('residuals', 1, ['--points', 'points.csv', *camera]), (None, 1, ['--from', 'old.bin', '--cx', '367.3'])):
            with self.subTest(arguments):
                told = self.make(*arguments)
                text = self.run_tool('make', '-o', 'device.bin', *arguments).stdout
                self.assertEqual('the pass flag is 0, so devices refuse the file' in text, flag == 0)
                self.assertIn(f"undo each other within {told['roundTrip']['largest']:.3f} pixels\n", text)
                shares = []
                for direction in ('undistort', 'distort') if kind else ():
                    errors = told[direction]
                    column, row = errors['at']
                    self.assertIn(f"  {direction:9} {kind}: root mean square {errors['rootMeanSquare']:.6f}, 95 % below "
                                  f"{errors['percentile95']:.6f}, largest {errors['largest']:.6f} pixels at "
                                  f'({column:.0f}, {row:.0f})\n', text)
                    shares.append(f"{errors['compared'] / 752 / 4.80:.1f} %")
                self.assertEqual(re.findall('([0-9.]+ %) of the', text), shares if '--max-angle' in arguments else [])
                if kind == 'residuals':
                    points = told['points']
                    self.assertIn(f"  400 points, {len(points['leftOut'])} left out as outliers, noise {points['noise']:.3f} pixels\n", text)
                    inside = np.delete(pairs, points['leftOut'], axis=0)
                    counts = np.histogram2d(inside[:, 3], inside[:, 2], (4, 6), ((-0.5, 479.5), (-0.5, 751.5)))[0]
                    self.assertEqual(re.findall(r'\n   ((?:    -|[ \d]{5}){6})(?=\n)', text),
                                     [''.join(f'{count:5.0f}' if count else '    -' for count in row) for row in counts])
                    self.assertEqual(text.count('  no data in columns '), (counts == 0).sum())

    def test_residuals_are_drawn_where_they_are(self):
        pairs = [[100, 50, 130, 40], [400, 350, 430, 340], [200, 300, 230, 290], [500, 100, 530, 90], [330, 420, 390, 330]]
        pairs += [[x, y, x + 30, y - 10] for x in range(50, 550, 100) for y in range(60, 460, 90)]
        np.savetxt('points.csv', pairs, delimiter=',')
        told = self.make('--points', 'points.csv', '--width', '640', '--height', '480', '--fx', '425', '--fy', '430', '--cx', '318',
                         '--cy', '242', '--residuals', 'arrows.png')
        self.assertEqual(told['points']['leftOut'], [4])
        picture = read_png('arrows.png')[:, :, :3]
        dark = (picture.max(axis=2) < 120)
        [top, bottom] = [row for row in range(len(dark)) if dark[row].sum() > 1200]
        columns = np.flatnonzero(dark[top + 1:bottom].all(axis=0))
        self.assertEqual((bottom - top - 1, list(np.diff(columns) - 1)[::2]), (480, [640, 640]))
        red = (picture[:, :, 0] > 170) & (picture[:, :, 1] < 110)
        for left, (x, y) in zip(columns[::2], ((330, 420), (390, 330))):
            rows, cols = np.nonzero(red[:, left:left + 640])
            np.testing.assert_allclose((cols.mean() - 1, rows.mean() - top - 1), (x, y), atol=1)
            # Numbers stand beside every hundredth row.
            rows = np.flatnonzero(dark[:, left - 40:left - 8].any(axis=1))
            groups = np.split(rows, np.flatnonzero(np.diff(rows) > 5) + 1)
            middles = np.array([(group[0] + group[-1]) / 2 for group in groups if top - 10 < group[0] < bottom])
            np.testing.assert_allclose(middles - top - 1, [0, 100, 200, 300, 400], atol=1.5)
        # Below, an arrow and what it stands for.
        self.assertGreater(dark[bottom + 40:, columns[0] + 60:columns[1]].sum(), 300)

    def measure(self, count, random, seen=lambda x, y: True):
        """Pairs as a station measures them: noise of 0.1 pixels, one in fifty 20 pixels off."""
        places = random.uniform((-300, -200), (1050, 680), (20 * count, 2))
        x, y = recorded(*places.T, CHAIN)
        inside = (x >= 0) & (x <= 751) & (y >= 0) & (y <= 479) & np.array([seen(*p) for p in zip(x, y)])
        inside &= np.hypot(places[:, 0] - 367, places[:, 1] - 248) < 700
        places, x, y = places[inside][:count], x[inside][:count], y[inside][:count]
        x, y = (c + random.normal(0, 0.1, count) for c in (x, y))
        turn = random.uniform(0, 2 * np.pi, count // 50)
        x[:len(turn)] += 20 * np.cos(turn)
        y[:len(turn)] += 20 * np.sin(turn)
        return np.column_stack([places, x, y])

    def test_noisy_points_with_holes_and_outliers(self):
        random = np.random.default_rng(3)
        camera = ['--width', '752', '--height', '480', '--fx', '458.654', '--fy', '457.296', '--cx', '367.215',
                  '--cy', '248.375']
        y, x = np.mgrid[0:480, 0:752].astype(float)
        truth = recorded(x, y, CHAIN)
        for seen in (lambda x, y: True, lambda x, y: x < 500 or y > 240):
            pairs = self.measure(400, random, seen)
            np.savetxt('points.csv', pairs, delimiter=',', header='x,y,column,row', comments='')
            told = self.make('--points', 'points.csv', *camera, '--residuals', 'arrows.png')
            wild = np.hypot(*(pairs[:8, 2:] - np.stack(recorded(*pairs[:8, :2].T, CHAIN), axis=1)).T) > 10
            self.assertEqual(wild.sum(), 8)
            self.assertTrue(set(told['points']['leftOut']) <= set(range(8)))
            self.assertLess(abs(told['points']['noise'] - 0.1), 0.02)
            covered = (truth[0] >= 0) & (truth[0] <= 751) & (truth[1] >= 0) & (truth[1] <= 479)
            covered &= np.vectorize(seen)(*truth)
            error = np.hypot(*(self.map('undistort') - truth))
            self.assertLess(np.sqrt((error[covered]**2).mean()), 0.15)
            self.assertLess(error.max(), 1)
            back = [bilinear(plane, truth[0][covered], truth[1][covered]) for plane in self.map('distort')]
            error = np.hypot(back[0] - x[covered], back[1] - y[covered])
            self.assertLess(np.sqrt((error**2).mean()), 0.15)
        # The hole is told, in pixels, and the arrows are a picture.
        hole = told['points']['withoutData']
        self.assertTrue(hole and all(patch['left'] > 480 and patch['bottom'] < 250 for patch in hole))
        self.assertEqual(self.read('arrows.png')[:8], b'\x89PNG\r\n\x1a\n')
        # A byte order mark does not belong to the first number. A single pair moves the whole picture; poor points are refused with their figures.
        self.write('one.csv', '\ufeff100,100,103,101\n')
        self.make('--points', 'one.csv', *camera)
        np.savetxt('poor.csv', pairs + random.normal(0, 1, pairs.shape), delimiter=',')
        self.assertIn('root mean square', self.run_tool('make', '--points', 'poor.csv', *camera, '-o', 'poor.bin',
                                                        status=1).stderr)

    def test_what_contradicts_itself(self):
        # The two sides exchanged give a file that agrees with itself: the lens of --main tells, or a person.
        self.write('camchain.yaml', CHAIN['text'])
        pairs = self.measure(400, np.random.default_rng(3))
        np.savetxt('points.csv', pairs, delimiter=',')
        np.savetxt('exchanged.csv', pairs[:, [2, 3, 0, 1]], delimiter=',')
        lens, camera = ['--main', 'camchain.yaml#cam0'], ['--width', '752', '--height', '480', '--fx', '458', '--fy', '457',
                                                          '--cx', '367', '--cy', '248']
        self.refuse('points: half of them .* camchain.yaml#cam0 .* exchanged columns', *lens, '--points', 'exchanged.csv')
        for told, *arguments in [('inwards.*barrel.* 95\.\d pixels', *lens), ('inwards.*barrel', *lens, '--points', 'points.csv'),
                                 ('outwards.*pincushion', *camera, '--points', 'exchanged.csv')]:
            self.assertRegex(self.run_tool('make', '-o', 'device.bin', *arguments).stdout, told)
        # A lens that folds is refused with an angle that is free of folds.
        self.write('fold.yaml', ROS.replace('-0.361976, 0.11051', '-0.9, 0.1'))
        told = self.run_tool('make', '--main', 'fold.yaml', '-o', 'out.bin', status=1).stderr
        self.assertRegex(told, r'folds .* 32.\d degrees from the axis, .* try --max-angle 25\n$')
        # Half of a view leaves models that do not undo each other, unless all of the straight image is in it.
        self.write('wide.yaml', CALIBRATIONS['ros-fisheye.yaml']['text'])
        self.refuse('undo each other: .* try --max-angle 63|reaches further', '--main', 'wide.yaml', '--max-angle', '50')

    def test_parts_and_other_files(self):
        self.write('camchain.yaml', CHAIN['text'])
        both = ['--main', 'camchain.yaml#cam0', '--sub', 'camchain.yaml#cam1']
        self.assertIn('T_cn_cnm1 of camchain.yaml not used', self.make(*both)['extrinsics'])
        self.assertRegex(self.run_tool('make', *both, '-o', 'device.bin').stderr, '^calibmap: warning: device.bin: T_cn_cnm1 of camchain.yaml not used.*\n$')
        told = self.run_tool('make', *both, '--set', 'extrinsics=0.5,-1,0,1,-25,0', '--set', 'pass=0', '-o', 'device.bin')
        self.assertEqual(told.stderr, '')
        self.assertRegex(told.stdout, r'\n  lens: radtan, 4 terms\n(.*\n)+  sub camera: .*lens radtan, 4 terms\n  extrinsics: as given\n')
        # One size for both cameras of a file that has none, the words of an assumption, the calibration's own error.
        stereo = CALIBRATIONS['stereo.yml']['text'].replace(', 0., 0., 0. ]', ', 0., 0. ]').replace('cols: 5\n   dt: d\n   data: [ -2.8', 'cols: 4\n   dt: d\n   data: [ -2.8')
        self.write('stereo.yml', stereo + 'R: 1\nT: 2\navg_reprojection_error: 0.25\n')
        told = self.make('--main', 'stereo.yml#1', '--sub', 'stereo.yml#2', '--width', '640', '--height', '480', '--lens', 'plumb_bob')
        self.assertEqual((told['lens'], told['reprojectionError']), ('plumb_bob, 5 terms', 0.25))
        self.assertLess(told['roundTrip']['largest'], 0.01)
        self.assertRegex(told['subCamera'], r'640 x 480 .*plumb_bob, 4 terms \(assumed: ')
        self.assertIn('R and T', told['extrinsics'])
        self.make(*both, '--set', 'extrinsics=0.5,-1,0,1,-25,0', '--set', 'pass=0')
        image = self.read('device.bin')
        self.assertEqual(struct.unpack('<6f', image[6227:6251]), (0.5, -1, 0, 1, -25, 0))
        self.assertEqual(struct.unpack('<2i', image[4130:4138]), (480, 752))
        np.testing.assert_allclose(struct.unpack('<4f', image[4138:4154]), (457.587, 456.134, 379.999, 255.238))
        np.testing.assert_allclose(struct.unpack('<6f', image[41:65])[:4], CHAIN['terms'], rtol=1e-6)
        self.assertIn('status 10', self.run_tool('check', 'device.bin', status=1).stdout)
        # What is not given stays as it was, but for the checksums of what has changed.
        shutil.copy('device.bin', 'old.bin')
        words = bytes(range(24)).hex()
        for field, places in (('passFlag=1', {1, 6267}), (f'extrinsics={words}', {*range(6227, 6252), 6267}),
                              ('sub.coeff=1,-2,3,0x01020304,5,6', {*range(4154, 4178), 6226, 6267}),
                              ('sub.imageWidth=-9', {*range(4134, 4138), 6226, 6267}),
                              ('sub.imageWidth=-2147483648', {*range(4134, 4138), 6226, 6267}),
                              ('sub.imageWidth=2147483647', {*range(4134, 4138), 6226, 6267}), ('main.x-pieces=9', {99, 4125, 6267})):
            self.assertEqual(self.make('--from', 'old.bin', '--set', field)['passFlag'], int(field == 'passFlag=1'))
            changed = {i for i, (a, b) in enumerate(zip(image, self.read('device.bin'))) if a != b}
            self.assertTrue(changed and changed <= places, (field, changed))
        self.make('--from', 'old.bin', '--set', f'extrinsics={words}', '--set', 'pass=1')
        self.assertEqual((self.read('device.bin')[6227:6251].hex(), self.read('device.bin')[1]), (words, 1))
        self.run_tool('make', '--from', 'old.bin', '--set', 'sub.coeff=1,-2,3,0x01020304,5,6', '-o', 'device.bin')
        self.assertEqual(struct.unpack('<3fI2f', self.read('device.bin')[4154:4178]), (1, -2, 3, 0x01020304, 5, 6))
        # What a device could not use is refused here as `check` would, or written because somebody says so.
        for text, *arguments in [('orders are 5 and 7', '--set', 'main.x-order=5'),
                                 ('piece count is 0', '--set', 'main.xpieces=0'), ('outside the break points.*--main', '--width', '1200'),
                                 ('outside the break points.*--main', '--cx', '340'), ('main.fx is -1 ', '--set', 'main.fx=-1')]:
            with self.subTest(text):
                self.assertRegex(self.run_tool('make', '-o', 'out.bin', '--from', 'old.bin', *arguments, status=1).stderr, text)
        self.make('--from', 'old.bin', '--set', 'pass=1', '--set', 'main.x-order=5', '--unproved')
        self.assertEqual(self.read('device.bin')[97], 5)
        # The lens moves with a principal point that moves a little, and is what it would be if fitted there.
        self.assertIn('continued', self.run_tool('make', '--from', 'old.bin', '--cx', '368.215', '--cy', '247.375', '--set', 'pass=1', '-o', 'device.bin').stdout)
        moved = self.map('undistort')
        self.run_tool('check', 'device.bin')
        y, x = np.mgrid[0:480, 0:752].astype(float)
        truth = recorded(x, y, {**CHAIN, 'intrinsics': (*CHAIN['intrinsics'][:2], 368.215, 247.375)})
        self.assertLess(np.hypot(*(moved - truth)).max(), 1e-3)
        piped = subprocess.run([PROGRAM, 'make', '--from', 'old.bin', '-o', '-'], capture_output=True, check=True)
        self.assertEqual(piped.stdout, image)

    def refuse(self, text, *arguments, fed=None):
        done = self.run_tool('make', '-o', 'out.bin', *arguments, status=1, fed=fed)
        self.assertRegex(done.stderr, rf'^calibmap: [^\n]*{text}[^\n]*, [^\n]+\n$')
        self.assertEqual(done.stdout, '')
        self.assertFalse(os.path.exists('out.bin'))

    def test_faults_in_calibrations_are_named_with_their_line(self):
        lines = OPENCV.count('\n', 0, OPENCV.index('camera_matrix')) + 1
        kalibr = CHAIN['text']
        for old, text, wrong in [
                (OPENCV, OPENCV.replace('camera_matrix', 'kamera_matrix'), "'camera_matrix' is missing, also known as"),
                (OPENCV, OPENCV + 'image_width: 5\n', r"line \d+: 'image_width' stands there a second time"),
                (OPENCV, OPENCV.replace('342.28315473308373', '.Nan'), f"line {lines + 4}: .*'.Nan', no finite"),
                (OPENCV, OPENCV.replace('-0.2663726090966068, ', ''), 'holds 4 numbers, but its rows and columns say 5'),
                (OPENCV, OPENCV.replace('rows: 5', 'rows: 6').replace('-0.266', '0, -0.266'), '6 coefficients, not 4, 5, 8, 12 or 14'),
                (OPENCV, OPENCV.replace(', 0., 342', ', 0.1, 342'), r'is not \[fx 0 cx'),
                (OPENCV, OPENCV.replace('image_width: 640', 'image_width: 640.5'), 'line 5: the image width is 640.5'),
                (OPENCV, OPENCV.replace('image_width: 640\n', ''), 'does not say what --width is'),
                (OPENCV, OPENCV.replace('data: [ 535', 'data: [ [535'), 'line .* is not YAML'),
                (OPENCV, OPENCV + 'image_Width: 320\n', r"line \d+: 'image_Width' says again"),
                (OPENCV, '<?xml version="1.0"?>\n', 'line 2: is not XML'), (OPENCV, '<launch>\n</launch>\n', "line 1: .* 'launch', not"), (OPENCV, '', 'no calibration'),
                (OPENCV, OPENCV + '...\n---\nmore: 1\n', r'line 25: a second document'),
                (ROS, f'{ROS}---\n{ROS}', 'line 18: a second document'), (ECHO, ECHO + ECHO.replace('605.6', '606'), 'line 10: .* another camera'),
                (ROS, ROS.replace('437.3', '-437.3'), 'line 7: fy is -437.303'), (kalibr, kalibr[:kalibr.index('cam1')].replace('458.654', '0'), 'line 6: fx is 0'),
                (ROS, ROS.replace('plumb_bob', 'thin_prism'), "'thin_prism' is none of"),
                (ROS, ROS.replace('plumb_bob', 'equidistant'), '5 coefficients, not 4'),
                (ROS, ROS.replace('distortion_model: plumb_bob\n', ''), "'distortion_model' is missing"),
                (kalibr, kalibr, 'holds 2 cameras'),
                # A chain that holds a message's matrix as well.
                (kalibr, f'{kalibr[:kalibr.index("cam1")]}{ECHO}---\n{ECHO}', r'line \d+: a second document'),
                (kalibr, 'left: {distortion_coeffs: [0, 0, 0, 0]}\n', "line 1: 'camera_model' is missing"),
                (kalibr, kalibr[:kalibr.index('cam1')].replace('distortion_coeffs', 'terms'), "'distortion_coeffs' is missing"),
                (kalibr, kalibr[:kalibr.index('cam1')].replace('pinhole', 'omni'), 'is not pinhole'),
                (kalibr, kalibr[:kalibr.index('cam1')].replace('[752, 480]', '[752]'), 'line 7: resolution')]:
            with self.subTest(wrong):
                self.write('camera.yaml', text)
                self.refuse('camera.yaml.*' + wrong, '--main', 'camera.yaml')
                self.assertTrue(wrong == 'holds 2 cameras' or old != text)

    def test_inputs_may_be_piped_and_are_never_replaced(self):
        chain, pairs = self.write('chain.yaml', CHAIN['text']), '100,100,103,101\n'
        self.write('pairs.csv', pairs)
        both = ['--main', 'chain.yaml#cam0', '--sub', 'chain.yaml#cam1']
        self.make(*both)
        shutil.copy('device.bin', 'old.bin')
        self.run_tool('make', '-o', 'device.bin', '--main', '-#cam0', '--sub', '-#cam1', fed=CHAIN['text'])
        self.assertEqual(self.read('device.bin'), self.read('old.bin'))
        self.run_tool('make', '-o', 'device.bin', '--points', '-', '--from', 'old.bin', fed=pairs)
        with open('old.bin', 'rb') as old:
            subprocess.run([PROGRAM, 'make', '-o', 'again.bin', '--from', '-'], stdin=old,
                           stdout=subprocess.DEVNULL, check=True)
        self.assertEqual(self.read('again.bin'), self.read('old.bin'))
        for text, fed, *arguments in [
                ('standard input, line 1: is not four', '1,2\n', *both, '--points', '-'),
                ('standard input: is no calibration', '', '--main', '-'),
                ('standard input: has 1 bytes', 'x', '--from', '-'),
                ('standard input: is asked for twice', ROS, '--points', '-', '--main', '-')]:
            self.refuse(text, *arguments, fed=fed)
        # An output by another name of an input, too; nothing else has been written by then.
        os.symlink(chain, 'link')
        os.link('pairs.csv', 'same.csv')
        os.link('old.bin', 'same.png')
        for output, *arguments in [('link', *both), ('same.csv', '--points', 'pairs.csv', '--from', 'old.bin'),
                                   ('old.bin', '--from', 'old.bin')]:
            told = self.run_tool('make', '-o', output, *arguments, status=1).stderr
            self.assertIn(f'{output}: is read by the same command', told)
        self.refuse('same.png: is read by the same', '--points', 'pairs.csv', '--from', 'old.bin', '--residuals', 'same.png')
        self.assertEqual([self.read(name) for name in ('chain.yaml', 'pairs.csv', 'old.bin')],
                         [CHAIN['text'].encode(), pairs.encode(), self.read('again.bin')])

    def test_other_refusals(self):
        self.write('ros.yaml', ROS)
        self.write('stereo.yml', CALIBRATIONS['stereo.yml']['text'])
        self.write('wide.yaml', CALIBRATIONS['ros-fisheye.yaml']['text'])
        self.write('four.yml', CALIBRATIONS['opencv-old.yml']['text'])
        self.write('marked.yml', CALIBRATIONS['opencv-fisheye.yml']['text'])
        self.write('bad.csv', 'x,y,column,row\n1,2,3,4\n\n1,2,3\n')
        self.write('none.csv', '1,2,3000,4\n')
        self.write('nan.csv', 'nan,nan,nan,nan\n1,2,3,4\n')
        self.write('blank.csv', '1 2 3 4\n')
        self.make('--main', 'ros.yaml')
        os.rename('device.bin', 'old.bin')
        self.write('words.csv', 'a,b,c,d\n')
        camera = ['--main', 'ros.yaml']
        for text, *arguments in [
                ('wide|115.6 degrees', '--main', 'wide.yaml'), ('pixels off at', '--main', 'wide.yaml', '--max-angle', '80'),
                ('pixels off at', *camera, '--tolerance', '0.05'), ('says 640, but --width says 320', *camera, '--width', '320'),
                ('nothing to make',), ('--set extrinsics: ', *camera, '--set', 'extrinsics=1,2,3'),
                ('--set extrinsics: ', *camera, '--set', 'extrinsics=1 2,0,0,0,0,0'), ('--set main.coeff: ', *camera, '--set', 'main.coeff=1,2,3,4,5,inf'),
                ('--set passFlag: .*not what it holds', *camera, '--set', 'pass=256'), ('--set: .*gives no value', *camera, '--set', 'pass'),
                ("--set: there is no field 'main.yorderr', nearest are main.ky", *camera, '--set', 'main.yorderr=7'),
                ('choose one|holds two', '--main', 'stereo.yml'),
                ('old.bin: is a device.s file', '--main', 'old.bin'),
                ('--lens: .*--points', *camera, '--points', 'none.csv', '--lens', 'fisheye'), ('--lens: ros.yaml says .* plumb_bob, 5 terms', *camera, '--lens', 'plumb_bob'),
                ('--lens: .*--from', '--from', 'old.bin', '--lens', 'fisheye'), ('four.yml, line 17: four coeff.* does not say which', '--main', 'four.yml'),
                ('marked.yml, line 11: .* says otherwise', '--main', 'marked.yml', '--lens', 'plumb_bob'),
                ('bad.csv, line 4: ', *camera, '--points', 'bad.csv'),
                ('none was recorded', *camera, '--points', 'none.csv'), ('no pairs', *camera, '--points', 'words.csv'),
                ('nan.csv, line 1: ', *camera, '--points', 'nan.csv'), ('blank.csv, line 1: ', *camera, '--points', 'blank.csv'),
                ('none called', '--main', 'ros.yaml#1'),
                ('nothing to compare', '--from', 'old.bin', '--residuals', 'a.png'),
                ('gone.csv: cannot be read', *camera, '--points', 'gone.csv'),
                ('gone.yaml: cannot be read', '--main', 'gone.yaml'), ('cannot be read', '--main', '.'),
                ('ros.yaml: .*calibration file', '--from', 'ros.yaml'), ('--height', '--points', 'none.csv', '--width', '9')]:
            with self.subTest(text):
                self.refuse(text, *arguments)
        for text, *arguments in [('--max-angle', *camera, '--points', 'none.csv', '--max-angle', '60'), ('--main', '--from', 'old.bin', '--max-angle', '90'),
                                 ('--sub', *camera, '--sub-width', '640'), ('--unproved', *camera, '--residuals', 'a.png', '--unproved')]:
            self.assertIn(text, self.run_tool('make', '-o', 'out.bin', *arguments, status=2).stderr)
        told = self.run_tool('make', '--json', '-o', 'out.bin', *camera, '--tolerance', '0.05', '--residuals', 'why.png',
                             status=1)
        self.assertTrue(os.path.exists('why.png'))
        told = json.loads(told.stdout)
        self.assertEqual((told['written'], 'pixels off' in told['reason']), (False, True))
        self.assertGreater(told['distort']['largest'], 0.05)


if __name__ == '__main__':
    unittest.main()
