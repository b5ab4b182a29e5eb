#!/usr/bin/env python3
"""Tests of the calibmap program: tool_test.py PROGRAM"""
import base64
import csv
import io
import json
import math
import os
import re
import resource
import select
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

import numpy as np

from pictures import png_chunks, read_png, write_png

PROGRAM = os.path.abspath(sys.argv.pop(1))
with open(PROGRAM, 'rb') as binary:
    SANITIZED = b'__asan' in binary.read()
WIDTH, HEIGHT = 640, 480
CAMERA = dict(fx=425.0, fy=425.0, cx=318.7, cy=242.3)
LENS = dict(k1=-0.28, k2=0.09, p1=0.0004, p2=-0.0003, k3=-0.012)
NOBODY = 65534
LAYOUT = dict(passFlag=1, height=17, width=21, mainFx=25, kx=97, distortX=469, undistortBreaks=2129, undistortX=2221,
              subFx=4138, extrinsics=6227, reserved=6260)
RANGES = [(13, 4112), (4126, 2100), (6227, 24), (0, 6267)]


def sealed(image, **changes):
    """A copy of a file image with bytes, floats or '<i' words changed and all four checksums made right."""
    image = bytearray(image)
    for name, value in changes.items():
        packed = struct.pack('<f', value) if isinstance(value, float) else bytes([value]) if isinstance(value, int) else value
        image[LAYOUT[name]:LAYOUT[name] + len(packed)] = packed
    for first, size in RANGES:
        image[first + size] = 255 - sum(image[first:first + size]) % 256
    return bytes(image)


def distort(x, y, camera, lens):
    """The Brown-Conrady formula, in pixels."""
    u, v = (x - camera['cx']) / camera['fx'], (y - camera['cy']) / camera['fy']
    r2 = u * u + v * v
    s = 1 + lens['k1'] * r2 + lens['k2'] * r2**2 + lens['k3'] * r2**3
    return ((u * s + 2 * lens['p1'] * u * v + lens['p2'] * (r2 + 2 * u * u)) * camera['fx'] + camera['cx'],
            (v * s + lens['p1'] * (r2 + 2 * v * v) + 2 * lens['p2'] * u * v) * camera['fy'] + camera['cy'])


def bilinear(picture, x, y):
    """The values of a picture or map at places inside it."""
    x0 = np.clip(np.floor(x).astype(int), 0, picture.shape[1] - 2)
    y0 = np.clip(np.floor(y).astype(int), 0, picture.shape[0] - 2)
    a, b = x - x0, y - y0
    if picture.ndim == 3:
        a, b = a[..., None], b[..., None]
    return ((1 - b) * ((1 - a) * picture[y0, x0] + a * picture[y0, x0 + 1]) +
            b * ((1 - a) * picture[y0 + 1, x0] + a * picture[y0 + 1, x0 + 1]))


def corner(picture, x, y, radius=5):
    """The corner of a checkerboard near a place: where it is orthogonal to all gradients around."""
    for _ in range(5):
        col, row = int(round(x)), int(round(y))
        window = picture[row - radius - 1:row + radius + 2, col - radius - 1:col + radius + 2]
        gy, gx = (g[1:-1, 1:-1].ravel() for g in np.gradient(window.astype(float)))
        py, px = (p.ravel() for p in np.mgrid[row - radius:row + radius + 1, col - radius:col + radius + 1])
        matrix = np.array([[gx @ gx, gx @ gy], [gx @ gy, gy @ gy]])
        x, y = np.linalg.solve(matrix, [gx @ (gx * px + gy * py), gy @ (gx * px + gy * py)])
    return x, y


def bend(points):
    """Largest distance of points from the straight line through them."""
    centred = points - points.mean(axis=0)
    return np.abs(centred @ np.linalg.svd(centred)[2][1]).max()


class ToolTest(unittest.TestCase):

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        os.chmod(self.folder, 0o755)
        os.chdir(self.folder)

    def run_tool(self, *arguments, status=0, program=PROGRAM, **options):
        options = {'stdout': subprocess.PIPE, **({} if 'input' in options else {'stdin': subprocess.DEVNULL}), **options}
        done = subprocess.run([program, *arguments], stderr=subprocess.PIPE, check=False, **options)
        self.assertEqual(done.returncode, status, (arguments, done.stdout, done.stderr))
        return done

    def sample(self, name='lens.bin', **parameters):
        arguments = [word for key, value in parameters.items() for word in (f'--{key}', str(value))]
        self.run_tool('sample', '-o', name, *arguments)
        with open(name, 'rb') as file:
            return file.read()

    def map(self, direction, ratio=1, name='lens.bin'):
        self.run_tool('map', name, '--direction', direction, '--ratio', str(ratio), '-o', 'map.npy')
        return np.load('map.npy').astype(float)

    def write(self, name, content):
        with open(name, 'wb') as file:
            file.write(content)

    def test_sample_follows_its_lens(self):
        cases = [({}, 640, 480), (dict(k1=0.1, k2=0.02, width=641, height=359, cx=250.5, fy=460), 641, 359),
                 (dict(p1=0.01, p2=-0.02, width=96, height=128, cx=40, cy=70), 96, 128)]
        for parameters, width, height in cases:
            with self.subTest(**parameters):
                self.sample(**parameters)
                # What is not given beside a size or a coefficient is the middle and no distortion.
                usual = {**CAMERA, 'cx': (width - 1) / 2, 'cy': (height - 1) / 2} if parameters else CAMERA
                camera = {key: float(np.float32(parameters.get(key, usual[key]))) for key in CAMERA}
                lens = {key: parameters.get(key, 0) for key in LENS} if parameters else LENS
                y, x = np.mgrid[0:height, 0:width].astype(float)
                undistort, back = self.map('undistort'), self.map('distort')
                self.assertLess(np.abs(undistort - distort(x, y, camera, lens)).max(), 0.01)
                # There and back again, both ways, as far as the way leads through the image.
                for first, second in ((undistort, back), (back, undistort)):
                    inside = ((first[0] >= 0) & (first[0] <= width - 1) &
                              (first[1] >= 0) & (first[1] <= height - 1))
                    self.assertGreater(inside.mean(), 0.5)
                    for plane, start in zip(second, (x, y)):
                        end = bilinear(plane, first[0][inside], first[1][inside])
                        self.assertLess(np.abs(end - start[inside]).max(), 0.02)
                # A coarser map counts in blocks and stands at their centres.
                coarse = self.map('undistort', 4) * 4 + 1.5
                y, x = np.mgrid[0:height // 4, 0:width // 4] * 4 + 1.5
                self.assertEqual(coarse.shape, (2, height // 4, width // 4))
                self.assertLess(np.abs(coarse - distort(x, y, camera, lens)).max(), 0.01)

    def test_map_formats_hold_the_same_numbers(self):
        self.sample()
        told = self.run_tool('map', 'lens.bin', '--direction', 'distort', '--ratio', '2', '-o', 'm.npy').stdout.decode()
        values = np.load('m.npy')
        self.assertEqual((values.shape, values.dtype), ((2, 240, 320), np.float32))
        y, x = np.mgrid[0:240, 0:320]
        moved = 2 * np.hypot(values[0] - x, values[1] - y)
        outside = (np.abs(values[0] - 159.5) > 160) | (np.abs(values[1] - 119.5) > 120)
        for number in (f'{moved.max():.3f}', f'{moved.mean():.3f}', f'{outside.sum()} of 76800'):
            self.assertIn(number, told)
        for name in ('m.raw', 'm.pfm', 'm.yml'):
            self.run_tool('map', 'lens.bin', '--direction', 'distort', '--ratio', '2', '-o', name)
        np.testing.assert_array_equal(np.fromfile('m.raw', '<f4').reshape(values.shape), values)
        for name, plane in zip(('m-x.pfm', 'm-y.pfm'), values):
            with open(name, 'rb') as file:
                self.assertEqual(file.read(16), b'Pf\n320 240\n-1.0\n')
                np.testing.assert_array_equal(np.frombuffer(file.read(), '<f4').reshape(240, 320)[::-1], plane)
        with open('m.yml', encoding='utf-8') as file:
            self.assertEqual(file.readline(), '%YAML:1.0\n')
            matrices = re.findall(r'(map_[xy]): !!opencv-matrix\n   rows: 240\n   cols: 320\n   dt: f\n   data: \[([^]]*)\]\n', file.read())
        self.assertEqual([name for name, _ in matrices], ['map_x', 'map_y'])
        for (_, text), plane in zip(matrices, values):
            np.testing.assert_array_equal(np.array(text.split(','), np.float32).reshape(240, 320), plane)
        piped = self.run_tool('map', 'lens.bin', '--direction', 'distort', '--ratio', '2', '-o', '-', '--verbose')
        with open('m.npy', 'rb') as file:
            self.assertEqual(piped.stdout, file.read())
        self.assertIn(b'76800', piped.stderr)

    def test_checkerboard_comes_back_straight(self):
        self.sample()
        self.run_tool('pattern', '-o', 'board.png')
        self.run_tool('remap', 'lens.bin', 'board.png', '--direction', 'distort', '-o', 'recorded.png')
        self.run_tool('remap', 'lens.bin', 'recorded.png', '-o', 'straight.png')
        board, recorded, straight = (read_png(name + '.png') for name in ('board', 'recorded', 'straight'))
        x, y = self.map('undistort')
        common = (x >= 0) & (x <= WIDTH - 1) & (y >= 0) & (y <= HEIGHT - 1)
        self.assertLess(np.abs(board - straight)[common].mean() / 255, 0.02)
        self.assertGreater(np.abs(board - recorded).mean() / 255, 0.2)
        cols, rows = np.arange(40, WIDTH, 40) - 0.5, np.arange(40, HEIGHT, 40) - 0.5
        found = np.array([[corner(straight, c, r) for c in cols] for r in rows])
        bent = np.array([[corner(recorded, *distort(c, r, CAMERA, LENS)) for c in cols] for r in rows])
        for lines in (found, found.swapaxes(0, 1)):
            self.assertLess(max(bend(line) for line in lines), 0.1)
        self.assertGreater(bend(bent[0]), 2)
        self.assertLess(np.abs(found - np.stack(np.meshgrid(cols, rows), axis=-1)).max(), 0.2)

    def test_remap_keeps_depth_and_colour(self):
        self.sample()
        x, y = self.map('distort')
        inside = (np.abs(x - 319.5) <= 320) & (np.abs(y - 239.5) <= 240)
        random = np.random.default_rng(1)
        for bits, shape, border in ((16, (HEIGHT, WIDTH, 3), 'white'), (8, (HEIGHT, WIDTH, 3), 'black'),
                                    (16, (HEIGHT, WIDTH), 'edge')):
            picture = random.integers(0, 2**bits, shape)
            write_png('in.png', picture, bits)
            self.run_tool('remap', 'lens.bin', 'in.png', '--direction', 'distort', '--border', border, '-o', 'out.png')
            result = read_png('out.png')
            expected = bilinear(picture, np.clip(x, 0, WIDTH - 1), np.clip(y, 0, HEIGHT - 1))
            if border != 'edge':
                expected[~inside] = 2**bits - 1 if border == 'white' else 0
            self.assertLessEqual(np.abs(result - expected).max(), 0.5001)

    def test_remap_weighs_colours_by_opacity_and_takes_along_what_stands_beside_them(self):
        self.sample()
        x, y = self.map('distort')
        inside = (x >= 0) & (x <= WIDTH - 1) & (y >= 0) & (y <= HEIGHT - 1)
        random = np.random.default_rng(2)
        kept = {b'pHYs': struct.pack('>IIB', 3000, 5000, 1), b'gAMA': struct.pack('>I', 50000),
                b'tEXt': b'Author\0somebody'}
        for bits, channels in ((8, 4), (16, 2)):
            picture = random.integers(0, 2**bits, (HEIGHT, WIDTH, channels))
            picture[100:300, :, -1] = 2**bits - 1
            picture[200:400, 300:, -1] = 0
            write_png('in.png', picture, bits, kept.items())
            self.run_tool('remap', 'lens.bin', 'in.png', '--direction', 'distort', '-o', 'out.png')
            result = read_png('out.png')[inside]
            weighted = picture * np.where(np.arange(channels) < channels - 1, picture[..., -1:], 1)
            expected = bilinear(weighted, x, y)[inside]
            seen = expected[:, -1] > 0
            expected[:, :-1] = np.where(seen[:, None], expected[:, :-1], 0) / np.where(seen, expected[:, -1], 1)[:, None]
            self.assertLessEqual(np.abs(result - expected).max(), 0.5001)
            chunks = png_chunks('out.png')
            self.assertEqual({kind: chunks.get(kind) for kind in kept}, kept)
        # Small in a file and gigabytes once unpacked.
        half, whole = (zlib.compress(bytes(size << 20)) for size in (9, 17))
        for bomb in ([(b'zTXt', b'a\0\0' + half)] * 2, [(b'iCCP', b'a\0\0' + whole)],
                     [(b'iTXt', b'a\0\1\0\0\0' + whole)]):
            write_png('in.png', picture, 16, bomb)
            with open('out.png', 'rb') as before:
                told = self.run_tool('remap', 'lens.bin', 'in.png', '-o', 'out.png', status=1)
                self.assertRegex(told.stderr.decode(), r'^calibmap: in.png: cannot be read as a PNG picture \(')
                self.assertEqual(os.stat('out.png').st_ino, os.fstat(before.fileno()).st_ino)

    def test_remap_reads_and_writes_jpeg(self):
        # Four squares of one colour each, one behind the other in the first row and in the second, by another program.
        jpeg = base64.b64decode(
            '/9j/4AAQSkZJRgABAQAAAQABAAD/2wBDAAEBAQEBAQEBAQEBAQEBAQIBAQEBAQIBAQECAgICAgICAgIDAwQDAwMDAwICAwQDAwQEBAQEAgMFBQQE'
            'BQQEBAT/2wBDAQEBAQEBAQIBAQIEAwIDBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAQEBAT/wAARCAAQABADAREA'
            'AhEBAxEB/8QAFQABAQAAAAAAAAAAAAAAAAAACQv/xAAUEAEAAAAAAAAAAAAAAAAAAAAA/8QAGAEAAgMAAAAAAAAAAAAAAAAACQsHCAr/xAAUEQEAAAAA'
            'AAAAAAAAAAAAAAAA/9oADAMBAAIRAxEAPwAn0HtTBAFFyz8E5hwIwpgE444D/9k=')
        colours = np.array([[(200, 30, 60), (20, 180, 40)], [(10, 50, 220), (240, 230, 20)]]).repeat(8, 0).repeat(8, 1)
        small = self.sample(width=16, height=16, fx=20, fy=21, cx=7, cy=8, k1=0, k2=0, k3=0, p1=0, p2=0)
        self.write('in', jpeg)
        self.run_tool('remap', 'lens.bin', 'in', '-o', 'out.png')
        self.assertLessEqual(np.abs(read_png('out.png') - colours).max(), 2)
        told = self.run_tool('remap', 'lens.bin', 'out.png', '-o', 'out.JPEG').stderr.decode()
        self.assertEqual(told, 'calibmap: warning: out.JPEG: only the pixels are taken along into a JPEG picture\n')
        with open('out.JPEG', 'rb') as file:
            self.assertEqual(file.read(3), b'\xff\xd8\xff')
        self.run_tool('remap', 'lens.bin', 'out.JPEG', '-o', 'again.png')
        self.assertLessEqual(np.abs(read_png('again.png') - colours).max(), 4)
        self.write('in', jpeg[:2] + b'\xff\xe1\0\x0aExif\0\0\0\0' + jpeg[2:])
        told = self.run_tool('remap', 'lens.bin', 'in', '-o', 'out.png').stderr.decode()
        self.assertEqual(told, 'calibmap: warning: in: of this JPEG picture only the pixels are taken along\n')
        self.write('in', jpeg[:-20])
        told = self.run_tool('remap', 'lens.bin', 'in', '-o', 'out.png', status=1).stderr.decode()
        self.assertRegex(told, r'^calibmap: in: cannot be read as a JPEG picture \(.*\), convert it to PNG or write it again\n$')
        write_png('deep.png', colours * 257, 16)
        told = self.run_tool('remap', 'lens.bin', 'deep.png', '-o', 'out.jpg', status=1).stderr.decode()
        self.assertEqual(told, 'calibmap: out.jpg: a JPEG picture has neither 16 bits nor opacity, choose a name that ends in .png\n')
        self.assertFalse(os.path.exists('out.jpg'))
        # Grey stays grey, and no JPEG picture is wider than 65535.
        write_png('grey.png', colours[:, :, 0], 8)
        for source, target in (('grey.png', 'grey.jpg'), ('grey.jpg', 'again.png')):
            self.run_tool('remap', 'lens.bin', source, '-o', target)
        self.assertLessEqual(np.abs(read_png('again.png') - colours[:, :, 0]).max(), 4)
        self.write('wide.bin', sealed(small, width=struct.pack('<i', 70000)))
        write_png('wide.png', np.zeros((16, 70000)), 8)
        told = self.run_tool('remap', 'wide.bin', 'wide.png', '-o', 'out.jpg', status=1).stderr.decode()
        self.assertRegex(told, r'calibmap: out.jpg: cannot be written \(.*\), choose a name that ends in .png\n$')

    def test_draw_strokes_every_kind_of_mark(self):
        self.sample()
        self.run_tool('draw', 'lens.bin', '--direction', 'distort', '--ratio', '2', '-o', 'lens.png')
        picture = read_png('lens.png')
        self.assertEqual(picture.shape[1:], (900, 3))
        # The heat map and the scale, a sample of the key, and frames.
        self.assertLess(np.median(picture[350:380, 410:440]), np.median(picture[105:115, 80:90]))
        self.assertLess(np.abs(picture[103, 806:815].astype(int) - (243, 237, 109)).max(), 3)
        self.assertTrue((picture[693:698, 76:112] == (39, 89, 141)).all())
        for place in (np.s_[90:640, 74], np.s_[628, 84:760], np.s_[110:620, 802]):
            line = picture[place]
            self.assertGreater((line.max(axis=1) < 160).mean(), 0.9)
        # Texts stand upright and on their side; a name that no picture has room for leaves the paper as it is.
        dark = lambda place: np.argwhere(picture[place].max(axis=2) < 100)
        for place, is_upright in ((np.s_[655:675, 340:520], True), (np.s_[300:430, 10:30], False)):
            height, width = np.ptp(dark(place), axis=0)
            self.assertEqual(3 * height < width, is_upright, (height, width))
            self.assertEqual(height > 3 * width, not is_upright, (height, width))
        self.run_tool('draw', 'lens.bin', '-o', 'short.png')
        os.rename('lens.bin', 'Ж' * 99 + '.bin')
        self.run_tool('draw', 'Ж' * 99 + '.bin', '-o', 'long.png')
        short, long = read_png('short.png'), read_png('long.png')
        self.assertGreater(np.argwhere(long[10:40] < 100)[:, 1].max(), np.argwhere(short[10:40] < 100)[:, 1].max() + 300)
        self.assertTrue((long[10:40, 885:] == 255).all())
        np.testing.assert_array_equal(short[45:], long[45:])

    def test_check_and_info_say_which_way_a_lens_bends(self):
        x, y = (axis.ravel() for axis in np.meshgrid(np.arange(33) * 19.96875, np.arange(33) * 14.96875))
        for lens, words in ((LENS, 'inwards at their ends (barrel)'),
                            ({**LENS, 'k1': 0.05, 'k2': 0.01, 'k3': 0}, 'outwards at their ends (pincushion)')):
            self.sample(**{**lens, 'cx': 300.5})
            camera = {**CAMERA, 'cx': 300.5}
            to_x, to_y = distort(x, y, camera, lens)
            outwards = np.hypot(to_x - camera['cx'], to_y - camera['cy']) - np.hypot(x - camera['cx'], y - camera['cy'])
            outwards[(np.abs(to_x - 319.5) > 320) | (np.abs(to_y - 239.5) > 240)] = 0
            most = np.abs(outwards).argmax()
            told = f'the lens bends straight lines {words} by up to {abs(outwards[most]):.1f} pixels at ({x[most]:.0f}, {y[most]:.0f})'
            self.assertIn(told, self.run_tool('check', 'lens.bin').stdout.decode())
            self.assertIn('\n  ' + told, self.run_tool('info', 'lens.bin').stdout.decode())
            bend = json.loads(self.run_tool('check', '--json', 'lens.bin').stdout)['bend']
            self.assertAlmostEqual(bend['outwards'], outwards[most], delta=0.01)

    def test_check_tells_why(self):
        good = self.sample()
        cases = [(good, 0, 'accepted and usable'), (good + b'more', 0, 'accepted and usable'), (b'', 8, 'has 0 bytes.*6268'),
                 (good[:-1], 8, 'has 6267 bytes'), (b'text ' * 2000, 9, r'\(main camera and .* whole file\), copy'),
                 (sealed(good, passFlag=0), 10, 'pass flag is 0')]
        cases += [(sealed(good, **changes), 0, 'not usable.*' + text) for changes, text in (
            (dict(subFx=math.nan), 'sub.fx is nan'), (dict(distortX=5.0), 'do not undo each other: '),
            (dict(undistortBreaks=struct.pack('<7f', *(i / 1000 for i in range(-3, 4)))), 'columns 0 to 317 and 320 to 639 of the image'))]
        for content, status, text in cases:
            self.write('case.bin', content)
            usable = text == 'accepted and usable'
            line = self.run_tool('check', 'case.bin', status=0 if usable else 1).stdout.decode()
            self.assertRegex(line, rf'^case.bin: [^\n]*{text}[^\n]*\n$')
            told = json.loads(self.run_tool('check', '--json', '-', input=content, status=0 if usable else 1).stdout)
            self.assertEqual((told['status'], told['accepted'], told['usable']), (status, status == 0, usable))
        both = self.run_tool('check', 'lens.bin', '.', 'none.bin', '--verbose', status=1).stdout.decode()
        self.assertRegex(both, r'(?s)^lens.bin: accepted.*whole file .*\n\.: refused, status 8: .*Is a directory.*\nnone.bin: refused, status 4')
        self.run_tool('check', 'lens.bin', '--tolerance', '0.001', status=1)

    def test_info_looks_into_any_file(self):
        good = self.sample()
        info = json.loads(self.run_tool('info', '--json', 'lens.bin').stdout)
        main = info['mainCamera']
        self.assertEqual((main['imageWidth'], main['imageHeight'], main['fx']), (640, 480, 425.0))
        self.assertAlmostEqual(main['fieldOfViewDegrees']['horizontal'], 73.955, 2)
        self.assertEqual((info['models']['kx'], info['faults'], info['extrinsicsAsFloats']), (7, [], [0, 0, 0, 1, 25, 0]))
        self.assertAlmostEqual(main['coeffAsFloats'][0], -0.28)
        bad = bytearray(sealed(good, mainFx=math.inf, passFlag=0))
        bad[100] ^= 1
        info = json.loads(self.run_tool('info', '--json', '--coefficients', '-', input=bytes(bad)).stdout)
        self.assertEqual((info['status'], info['mainCamera']['fx'], info['faults'][0]), (9, 'inf', 'main.fx is inf'))
        expected = np.frombuffer(good[2221:2221 + 480], '<f4')
        np.testing.assert_array_equal(np.float32(info['models']['undistort']['xcorrect']), expected)
        self.assertTrue(self.run_tool('check', '--json', '-', input=good).stdout.startswith(b'{"file":"-",'))
        self.assertTrue(self.run_tool('check', '-', input=good).stdout.startswith(b'standard input: accepted'))
        text = self.run_tool('info', '--coefficients', '-', input=bytes(bad)).stdout.decode()
        # Behind a name of 16 letters stand twelve numbers, eleven wide and one apart.
        self.assertEqual({len(line) for line in re.findall(r'  [xy]correct\[.*', text)}, {2 + 16 + 12 * (1 + 11)})
        self.assertEqual({len(line) for line in re.findall(r'  along [xy] .*', text)}, {2 + 16 + 7 * (1 + 8), 2 + 16 + 5 * (1 + 8)})
        self.assertRegex(text, r'^standard input: refused, status 9: .*main camera.*\n  cannot be used: main.fx is inf\n')
        self.assertIn(f' {expected[13]:.8f}', text)
        wide, high = (sum(math.degrees(math.atan(part / 425)) for part in parts) for parts in ((319.2, 320.8), (242.8, 237.2)))
        text = self.run_tool('info', 'lens.bin').stdout.decode()
        self.assertRegex(text, rf'\n  image +640 x 480 pixels\n(.*\n)+  field of view +{wide:.1f} x {high:.1f} degrees')
        text = self.run_tool('info', '-', input=sealed(good, mainFx=1e30, subFx=-1e-30)).stdout.decode()
        self.assertRegex(text, r'(?s) fx 1e\+30, fy 425\.000 pixels\n.* fx -1e-30, fy 1402\.500 pixels\n')

    def test_names_in_json(self):
        """What programs rely on, in the order in which it is written."""
        def names(value):
            if isinstance(value, list):
                return names(value[0]) if value else ''
            if not isinstance(value, dict):
                return ''
            return ' '.join(name + (f'({inner})' if (inner := names(part)) else '') for name, part in value.items())

        self.sample()
        self.sample('other.bin', **{**LENS, 'k1': -0.27})
        camera = 'imageWidth imageHeight cx cy fx fy coeff coeffAsFloats fieldOfViewDegrees(horizontal vertical diagonal)'
        model = 'xbreaks ybreaks xcorrect ycorrect'
        for arguments, status, expected in (
                (['check', 'lens.bin'], 0,
                 'file status accepted usable reason faults roundTrip(largest at first) bend(outwards at) '
                 'checksums(range stored computed)'),
                (['info', '--coefficients', 'lens.bin'], 0,
                 f'file status accepted reason faults mainCamera({camera}) subCamera({camera}) extrinsics extrinsicsAsFloats '
                 f'models(kx ky xpieces ypieces distort({model}) undistort({model}))'),
                (['diff', 'lens.bin', 'other.bin'], 1,
                 'files verdicts(status accepted reason) agree parametersAgree maps(direction agree sentence apart(largest at mean '
                 'rootMeanSquare median percentile95 percentile99 count lost)) fields(field text isParameter)')):
            with self.subTest(arguments):
                printed = self.run_tool(arguments[0], '--json', *arguments[1:], status=status).stdout
                self.assertEqual(names(json.loads(printed)), expected)

    def test_diff(self):
        good = self.sample()
        self.sample('other.bin', **{**LENS, 'k1': -0.27})
        difference = np.hypot(*(self.map('distort') - self.map('distort', name='other.bin')))
        told = self.run_tool('diff', 'lens.bin', 'other.bin', '--direction', 'distort', '-o', 'drift.png', status=1).stdout.decode()
        self.assertRegex(told, r'(?s)main.coeff\[0\]: -0.28.*-0.27.*\n  distortion.xcorrect: 120 of 120 .* at \[11\]')
        numbers = [float(n) for n in re.search(r'distort +maps differ: largest difference ([\d.]+) at \((\d+), (\d+)\), root mean square '
                                               r'([\d.]+), half of the pixels within ([\d.]+), 95 % within ([\d.]+)', told[80:]).groups()]
        expected = [difference.max(), *np.unravel_index(difference.argmax(), difference.shape)[::-1],
                    np.sqrt((difference**2).mean()), np.median(difference), np.percentile(difference, 95)]
        np.testing.assert_allclose(numbers, expected, rtol=5e-4)
        self.run_tool('diff', 'lens.bin', 'other.bin', '--direction', 'distort', '--max', '0.001', '-o', 'light.png', status=1)
        self.assertGreater(np.median(read_png('light.png')[110:600, 80:770, 0]), 240)
        drift = read_png('drift.png')
        self.assertGreater(drift[110, 770].sum(), drift[360, 420].sum() + 200)
        self.write('touched.bin', sealed(good, reserved=7, subFx=1.0, extrinsics=2.0))
        self.write('bad.bin', good[:6230] + b'!' + good[6231:])
        self.write('nan.bin', sealed(good, undistortX=math.nan))
        self.write('size.bin', sealed(good, width=struct.pack('<i', 641)))
        self.write('huge.bin', sealed(good, undistortX=1e30))
        # A picture that cannot be drawn is no reason to say nothing else.
        for other, wrong in (('size.bin', 'differ in size: 640 x 480 and 641 x 480'), ('nan.bin', 'cannot be compared: nan.bin: ')):
            told = self.run_tool('diff', 'lens.bin', other, '-o', 'none.png', status=2)
            self.assertRegex(told.stdout.decode(), r'undistort maps .*\ndistort +maps .*\nfields that differ:\n  (main.imageWidth|undistortion)')
            self.assertRegex(told.stderr.decode(), rf'\ncalibmap: none.png: is not drawn because the undistort maps {wrong}'[2 if other == 'nan.bin' else 0:])
            self.assertFalse(os.path.exists('none.png'))
        for arguments, status, text in [
                (['lens.bin', 'lens.bin', '--strict'], 0, r'agree.*\n.*agree.*\nfields: all equal\n$'),
                (['lens.bin', 'other.bin', '--tolerance', '18.8'], 0, 'agree'),
                (['lens.bin', 'touched.bin'], 0, r'\n  sub.fx: 1402.5 and 1\n  extrinsics\[0\]: 0 .* 2 .*\n  checksum of the sub camera: .*\n.*extrinsics: .*\n.*whole file: .*\n  reserved bytes: 1, at 6260\n$'),
                (['lens.bin', 'touched.bin', '--strict'], 1, 'agree'),
                (['bad.bin', 'lens.bin'], 1, r'^bad.bin: refused, status 9.*\n.*agree(.*\n)*  extrinsics'),
                (['lens.bin', 'nan.bin'], 1, r'undistort maps cannot be compared: nan.bin: undistortion.xcorrect\[0\] is nan\ndistort .*agree'),
                (['lens.bin', 'size.bin'], 1, r'maps differ in size: 640 x 480 and 641 x 480'),
                (['lens.bin', 'huge.bin'], 1, r'undistort maps differ: largest difference [\d.]{1,7}e\+\d\d at')]:
            self.assertRegex(self.run_tool('diff', *arguments, status=status).stdout.decode(), text)
        # Many units against one: a line each, whatever happens to the others.
        self.write('a,"b".bin', good[:6230] + b'!' + good[6231:])
        self.write('short.bin', good[:99])
        names = ['other.bin', 'short.bin', 'nan.bin', 'touched.bin', 'a,"b".bin']
        told = self.run_tool('diff', '--csv', 'lens.bin', *names, status=2)
        self.assertRegex(told.stderr.decode(), r'^calibmap: short.bin: has 99 bytes.*\n$')
        rows = list(csv.DictReader(io.StringIO(told.stdout.decode())))
        self.assertEqual([(row['file'], row['status'], row['agree']) for row in rows],
                         list(zip(names, '08009', ('no', 'no', 'no', 'yes', 'no'))))
        undistorted = np.hypot(*(self.map('undistort') - self.map('undistort', name='other.bin')))
        for direction, apart in (('distort', difference), ('undistort', undistorted)):
            found = [float(rows[0][f'{direction}_{name}']) for name in ('largest', 'rms', 'p50', 'p95', 'p99')]
            np.testing.assert_allclose(found, [apart.max(), np.sqrt((apart**2).mean()), *np.percentile(apart, (50, 95, 99))], rtol=1e-3)
        self.assertRegex(rows[2]['reasons'], r'^undistort maps cannot be compared: nan.bin: ')
        self.assertEqual((rows[2]['undistort_rms'], float(rows[2]['distort_rms'])), ('', 0))
        self.assertEqual(rows[3]['fields'], 'sub.fx; extrinsics[0]; checksum of the sub camera; checksum of the extrinsics; '
                                            'checksum of the whole file; reserved bytes')
        lines = self.run_tool('diff', 'lens.bin', 'other.bin', 'touched.bin', status=1).stdout.decode().splitlines()
        self.assertRegex(lines[0], r'^other.bin: undistort maps differ: .*; distort maps differ: .*; fields that differ: main.coeff\[0\], ')
        self.assertRegex(lines[1], r'^touched.bin: undistort maps agree: .*; distort maps agree: .*; fields that differ: sub.fx, ')
        told = self.run_tool('diff', '--json', 'lens.bin', 'touched.bin', 'other.bin', status=1).stdout.decode().splitlines()
        self.assertEqual([json.loads(line)['files'][1] for line in told], ['touched.bin', 'other.bin'])
        rows = list(csv.DictReader(io.StringIO(self.run_tool('check', '--csv', 'lens.bin', *names, status=1).stdout.decode())))
        self.assertEqual([(row['file'], row['status'], row['usable']) for row in rows],
                         list(zip(['lens.bin', *names], '008009', ('yes', 'yes', 'no', 'no', 'yes', 'no'))))
        self.assertEqual((rows[0]['reasons'], rows[3]['round_trip']), ('', ''))
        self.assertRegex(rows[3]['reasons'], r'undistortion.xcorrect\[0\] is nan')
        self.assertAlmostEqual(float(rows[0]['round_trip']), json.loads(self.run_tool('check', '--json', 'lens.bin').stdout)['roundTrip']['largest'], places=5)
        told = self.run_tool('info', 'lens.bin', 'short.bin', 'other.bin', status=1)
        self.assertEqual(re.findall(r'(?m)^(\S+): accepted', told.stdout.decode()), ['lens.bin', 'other.bin'])
        self.assertRegex(told.stderr.decode(), r'^calibmap: short.bin: has 99 bytes.*\n$')
        told = self.run_tool('info', '--json', 'lens.bin', 'other.bin').stdout.decode().splitlines()
        self.assertEqual([json.loads(line)['file'] for line in told], ['lens.bin', 'other.bin'])
        # Maps of 12 million pixels and 400 megabytes, compared in a few.
        self.write('large.bin', sealed(good, width=struct.pack('<i', 4000), height=struct.pack('<i', 3000)))
        for command in (['diff', 'large.bin', 'large.bin'], ['draw', 'large.bin', '-o', 'large.png']):
            with subprocess.Popen([PROGRAM, *command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
                _, status, usage = os.wait4(process.pid, 0)
                process.returncode = status
            self.assertEqual(status, 0)
            if not SANITIZED:
                self.assertLess(usage.ru_maxrss, 100000)

    def test_point(self):
        self.sample()
        for direction, x, y in (('undistort', 3, 470), ('distort', 600, 20)):
            place = self.map(direction)[:, y, x]
            told = self.run_tool('point', 'lens.bin', str(x), str(y), '--direction', direction).stdout
            np.testing.assert_allclose([float(n) for n in told.split()], place, atol=1e-4)
        there = self.run_tool('point', 'lens.bin', input=b'-0.5 -0.5\n\n 100.25,\t300 \n').stdout
        back = self.run_tool('point', '--direction', 'distort', 'lens.bin', input=there).stdout
        self.assertLess(np.abs(np.array(back.split(), float) - [-0.5, -0.5, 100.25, 300]).max(), 0.02)
        words = self.run_tool('point', 'lens.bin', '+100.25,300').stdout, self.run_tool('point', 'lens.bin', '-0.5', '+-0.5', status=1)
        self.assertEqual(words[0], there.splitlines(True)[1])
        self.assertIn(b"'-0.5 +-0.5' is not a position", words[1].stderr)
        for arguments, text, given in ((['7', '-3'], r'\(7, -3\) lies outside', b''), (['7'], "'7' is not a", b''),
                                       ([], "line 2: '1 x' is not", b'1 1\n1 x\n'), ([], "line 1: '1,,2' is not", b'1,,2\n'),
                                       ([], 'line 1: is longer', b' ' * 998 + b'1 23')):
            done = self.run_tool('point', 'lens.bin', *arguments, status=1, input=given)
            self.assertRegex(done.stderr.decode(), text)

    def test_help_has_examples(self):
        commands = 'make sample check info map point draw remap pattern diff'.split()
        listing = self.run_tool('--help').stdout.decode()
        for command in commands:
            self.assertIn(f'\n  {command} ', listing)
            told = self.run_tool(command, '--help').stdout.decode()
            self.assertIn(f'Example:\n  calibmap {command} ', told)
            for option in re.findall(r'^  (-\S.{,26})', told, re.MULTILINE):
                self.assertLess(len(re.sub(r' (Need|Exclu|REQUI|\.\.\.).*', '', option).split()), 3, option)
        self.assertRegex(self.run_tool('--version').stdout, rb'^calibmap \d+\.\d+\.\d+\n$')

    def refuse(self, arguments, status, text, **options):
        """The program ends with this status and one line, prints and writes nothing else."""
        before = sorted(os.listdir('.'))
        done = self.run_tool(*arguments, status=status, **options)
        self.assertFalse(done.stdout, arguments)
        self.assertRegex(done.stderr.decode(), rf'^calibmap: [^\n]*{text}[^\n]*, [^\n]+\n$', arguments)
        self.assertEqual(sorted(os.listdir('.')), before, arguments)

    def test_refusals(self):
        good = self.sample()
        self.write('empty.bin', b'')
        self.write('short.bin', good[:-1])
        self.write('text.bin', b'text ' * 2000)
        for name, changes in (('order', dict(kx=5)), ('flipped', dict(height=struct.pack('<i', -480))), ('nan', dict(undistortX=math.nan)),
                              ('inf', dict(mainFx=math.inf)), ('vast', dict(width=struct.pack('<i', 20000), height=struct.pack('<i', 20000))),
                              ('line', dict(width=struct.pack('<i', 2147483647), height=struct.pack('<i', 1)))):
            self.write(name + '.bin', sealed(good, **changes))
        os.symlink('lens.bin', 'input.npy')
        write_png('full.png', np.zeros((480, 640)), 8)
        write_png('small.png', np.zeros((48, 64)), 8)
        with open('small.png', 'rb') as file:
            self.write('cut.png', file.read()[:-30])
        os.mkdir('folder')
        bad_files = [('folder', 'folder: .*Is a directory'), ('empty.bin', 'empty.bin: .*6268'), ('short.bin', 'short.bin: .*6268'),
                     ('none.bin', 'none.bin: .*no such file'), ('text.bin', 'text.bin: .*checksum')]
        for file, text in bad_files:
            for command in (['map', file, '-o', 'out.npy'], ['draw', file, '-o', 'out.png'], ['point', file, '1', '1'],
                            ['remap', file, 'small.png', '-o', 'out.png'], ['info', file], ['diff', 'lens.bin', file])[:4 if file == 'text.bin' else 6]:
                self.refuse(command, 2 if command[0] == 'diff' else 1, text)
        for arguments, status, text in [
                (['map', 'order.bin', '-o', '-'], 1, 'order.bin: .*need the orders 7.*status 7'),
                (['map', 'flipped.bin', '-o', 'out.npy'], 1, 'flipped.bin: .*640 x -480'),
                (['draw', 'nan.bin', '-o', 'out.png'], 1, r'nan.bin: undistortion.xcorrect.0. is nan'),
                (['remap', 'inf.bin', 'small.png', '-o', 'out.png'], 1, 'inf.bin: main.fx is inf'),
                (['map', 'vast.bin', '-o', 'out.npy'], 1, 'vast.bin: .*20000 x 20000.*status 7(?=.*from ratio 2 on)'),
                (['map', 'line.bin', '-o', 'out.npy'], 1, 'line.bin: .*2147483647 x 1 pixels is too large for a map'),
                (['draw', 'line.bin', '--ratio', '2', '-o', 'out.png'], 1, 'line.bin: .* too large for a map'),
                (['draw', 'line.bin', '-o', 'out.png'], 1, 'line.bin: .* too large for a map'),
                (['draw', 'vast.bin', '-o', 'out.png'], 1, 'vast.bin: .*20000 x 20000.*status 7(?=.*from ratio 2 on)'),
                (['draw', '-', '-o', 'out.png'], 1, 'standard input: has 0 bytes'),
                (['remap', 'lens.bin', '/', '-o', 'out.png'], 1, r'/: cannot be read \(Is a directory\)'),
                (['draw', 'lens.bin', '-o', 'out.svg'], 2, 'out.svg'), (['pattern', '-o', 'out.jpg'], 2, 'out.jpg'),
                (['diff', 'lens.bin', 'lens.bin', '-o', 'out.svg'], 2, 'out.svg'), (['diff', 'lens.bin'], 2, 'FILE is required'),
                (['diff', 'lens.bin', 'lens.bin', 'lens.bin', '-o', 'out.png'], 2, '--output: draws the difference of one file'),
                (['check', '--csv', '--json', 'lens.bin'], 2, '--json excludes --csv'),
                (['pattern', '--square', '640', '-o', 'out.png'], 1, 'no corner'),
                (['map', 'lens.bin', '-o', 'input.npy'], 1, 'input.npy: is read by the same command'),
                (['remap', 'lens.bin', 'full.png', '-o', 'full.png'], 1, 'full.png: is read by'),
                (['map', 'lens.bin', '--ratio', '3', '-o', 'out.npy'], 2, "--ratio: '3' .*even"),
                (['map', 'lens.bin', '--ratio', '0', '-o', 'out.npy'], 2, "--ratio: '0'"),
                (['map', 'lens.bin', '--ratio', '700', '-o', 'out.npy'], 1, 'lens.bin: ratio 700'),
                (['map', 'lens.bin', '-o', 'out.txt'], 2, 'out.txt'), (['map', 'lens.bin'], 2, '--output'),
                (['map', 'lens.bin', '-o', 'none/out.npy'], 1, 'none/out.npy: cannot be written'),
                (['sample', '-o', 'folder'], 1, 'folder: cannot be written'),
                (['draw', 'lens.bin', '-o', '/dev/full'], 1, '/dev/full: cannot be written'),
                (['remap', 'lens.bin', 'small.png', '-o', 'out.png'], 1, 'small.png: .*64 x 48.*640 x 480'),
                (['remap', 'lens.bin', 'lens.bin', '-o', 'out.png'], 1, 'lens.bin: .*PNG'),
                (['remap', 'lens.bin', 'folder', '-o', 'out.png'], 1, 'folder: cannot be read'),
                (['remap', 'lens.bin', 'cut.png', '-o', 'out.png'], 1, 'cut.png: '),
                (['remap', 'lens.bin', 'none.png', '-o', 'out.png'], 1, 'none.png: cannot be read'),
                (['remap', 'lens.bin', 'small.png', '--border', 'pink', '-o', 'out.png'], 2, "--border: 'pink'"),
                (['map', 'lens.bin', '--direction', 'up', '-o', 'out.npy'], 2, "--direction: 'up'"),
                (['sample', '--k1', '-2', '-o', 'out.bin'], 1, 'folds over itself'),
                (['sample', '--k1', '-1', '--k2', '0.4', '--k3', '0', '-o', 'out.bin'], 1, 'folds over itself'),
                (['sample', '--k1', '-0.4', '--k2', '0.16', '-o', 'out.bin', '--tolerance', '0.01'], 1, 'pixels off at'),
                (['sample', '--fx', 'nan', '-o', 'out.bin'], 2, "--fx: 'nan'"),
                (['sample', '--width', '1e9', '-o', 'out.bin'], 2, '--width'),
                (['straighten'], 2, 'straighten: there is no such command'), ([], 2, 'command is required')]:
            self.refuse(arguments, status, text)
        self.refuse(['diff', '-', '-'], 2, 'standard input: is asked for twice', input=good)
        told = self.run_tool('map', 'order.bin', '-o', '-', '--verbose', status=1)
        self.assertEqual((told.stdout, told.stderr[:7]), (b'', b'ERROR: '))

    def test_names_and_outputs(self):
        good = self.sample()
        # Names that begin with a dash or are no text, and standard input.
        strange = b'l\xff\nns.bin'
        for name in ('-x.bin', strange):
            self.write(name, good)
        self.assertRegex(self.run_tool('check', '--', '-x.bin').stdout, rb'^./-x.bin: accepted')
        self.assertRegex(self.run_tool('sample', '-o', strange).stdout, rb'^l\\xff\\x0ans.bin: 640 x 480')
        self.assertRegex(self.run_tool('check', strange).stdout, rb'^l\\xff\\x0ans.bin: accepted')
        self.assertEqual(json.loads(self.run_tool('info', '--json', strange).stdout)['file'], r'l\xff\x0ans.bin')
        self.run_tool('draw', strange, '-o', '-picture.png')
        self.run_tool('map', '-', '-o', 'piped.npy', input=good)
        self.run_tool('diff', '-', 'lens.bin', '--strict', input=good)
        with open('-picture.png', 'rb') as file:
            self.assertEqual(file.read()[1:4], b'PNG')
        # What stood under the name of an output keeps its mode and its links.
        self.run_tool('map', 'lens.bin', '-o', 'map.npy')
        for name in ('moded', 'linked', 'behind'):
            self.write(name + '.npy', b'old')
        os.chmod('moded.npy', 0o640)
        os.link('linked.npy', 'other name.npy')
        os.symlink('behind.npy', 'link.npy')
        os.symlink('new.npy', 'dangling.npy')
        for name in ('moded', 'linked', 'link', 'dangling'):
            self.run_tool('map', 'lens.bin', '-o', name + '.npy')
        self.assertEqual(os.stat('moded.npy').st_mode & 0o777, 0o640)
        self.assertTrue(os.path.islink('link.npy') and os.path.islink('dangling.npy'))
        for name in ('moded', 'linked', 'other name', 'behind', 'new', 'piped'):
            np.testing.assert_array_equal(np.load(name + '.npy'), np.load('map.npy'))
        # Ctrl-C while one file is complete and the other waits for a reader leaves neither.
        os.mkfifo('half-y.pfm')
        with subprocess.Popen([PROGRAM, 'map', 'lens.bin', '-o', 'half.pfm']) as process:
            while not any(name.startswith('half-x.pfm.') for name in os.listdir('.')):
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
        self.assertEqual(process.returncode, -signal.SIGINT)
        self.assertEqual([name for name in os.listdir('.') if name.startswith('half')], ['half-y.pfm'])

    def test_warnings_and_progress(self):
        self.write('short.bin', sealed(self.sample(), undistortBreaks=-0.7))
        write_png('in.png', np.zeros((HEIGHT, WIDTH)), 8)
        for command in (['map', 'short.bin', '-o', 'm.npy'], ['draw', 'short.bin', '-o', 'd.png'], ['point', 'short.bin', '99', '9'],
                        ['remap', 'short.bin', 'in.png', '-o', 'r.png'], ['diff', 'short.bin', 'short.bin']):
            self.assertRegex(self.run_tool(*command).stderr, rb'^calibmap: warning: short.bin: columns 0 to 21 ')
        self.write('mirrored.bin', sealed(self.sample(), mainFx=-425.0))
        told = self.run_tool('map', 'mirrored.bin', '-o', 'm.npy')
        self.assertRegex(told.stderr, rb'^calibmap: warning: mirrored.bin: main.fx is -425 and not positive, ')
        # The pipe is opened when somebody reads from it: that takes as long as it takes.
        os.mkfifo('slow.npy')
        terminal, program_side = os.openpty()
        with subprocess.Popen([PROGRAM, 'map', 'lens.bin', '-o', 'slow.npy'], stderr=program_side, stdout=subprocess.DEVNULL) as process:
            self.assertEqual(select.select([terminal], [], [], 1)[0], [])
            self.assertTrue(select.select([terminal], [], [], 60)[0])
            self.assertRegex(os.read(terminal, 100), rb'writing slow.npy: 2 s')
            with open('slow.npy', 'rb') as file:
                self.assertEqual(len(file.read()), 128 + 640 * 480 * 8)
        self.assertEqual(process.returncode, 0)
        self.assertTrue(os.read(terminal, 1000).endswith(b'\r\x1b[K'))

    def test_refusals_by_the_system(self):
        self.write('large.bin', sealed(self.sample(), width=struct.pack('<i', 4000), height=struct.pack('<i', 4000)))
        # A disk that fills up while the file is being written, and one that is full from the start.
        limit = {'preexec_fn': lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000)),
                 'restore_signals': False}
        self.refuse(['map', 'lens.bin', '-o', 'out.npy'], 1, 'out.npy: cannot be written', **limit)
        self.refuse(['map', 'lens.bin', '-o', 'out.pfm'], 1, 'out-[xy].pfm: cannot be written', **limit)
        self.refuse(['draw', 'lens.bin', '-o', 'out.png'], 1, 'out.png: cannot be written', **limit)
        with open('/dev/full', 'wb') as full:
            for arguments in (['map', 'lens.bin', '-o', '-'], ['info', 'lens.bin']):
                self.refuse(arguments, 1, 'standard output: cannot be written', stdout=full)
        for arguments in (['info', 'lens.bin'], ['map', 'lens.bin', '-o', '-']):
            self.refuse(arguments, 1, 'standard output: cannot be written', stdout=None, preexec_fn=lambda: os.close(1))
        # A heap that ends is no fault of the file. The sanitizers' own needs know no limit.
        if not SANITIZED:
            self.refuse(['map', 'large.bin', '-o', 'out.npy'], 1, 'memory: ',
                        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (300 << 20, 300 << 20)))
        # What a user may not read or overwrite; root may, so it becomes an ordinary user.
        user = {}
        if os.geteuid() == 0:
            copy = shutil.copy(PROGRAM, 'program')
            library = os.path.join(os.path.dirname(os.path.dirname(PROGRAM)), 'libcalibmap.so.1')
            if os.path.exists(library):
                shutil.copy(library, 'libcalibmap.so.1')
            user = {'program': os.path.abspath(copy), 'user': NOBODY,
                    'env': {**os.environ, 'LD_LIBRARY_PATH': self.folder}}
        os.mkdir('closed')
        shutil.copy('lens.bin', 'closed/old.npy')
        os.chmod('closed', 0o555)
        self.refuse(['map', 'lens.bin', '-o', 'closed/old.npy'], 1, 'closed/old.npy: cannot be written', **user)
        os.chmod('lens.bin', 0)
        self.refuse(['info', 'lens.bin'], 1, 'lens.bin: cannot be read', **user)
        self.assertIn(b'status 8', self.run_tool('check', 'lens.bin', status=1, **user).stdout)
        os.chmod('closed', 0o755)
        self.assertEqual(os.path.getsize('closed/old.npy'), 6268)


if __name__ == '__main__':
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    unittest.main()
