#!/usr/bin/env python3
"""Tests of the calibmap program: tool_test.py PROGRAM"""
import json
import os
import re
import resource
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import numpy as np

PROGRAM = os.path.abspath(sys.argv.pop(1))
WIDTH, HEIGHT = 640, 480
CAMERA = dict(fx=425.0, fy=425.0, cx=318.7, cy=242.3)
LENS = dict(k1=-0.28, k2=0.09, p1=0.0004, p2=-0.0003, k3=-0.012)
NOBODY = 65534
LAYOUT = dict(passFlag=1, kx=97, subFx=4138, reserved=6260)
RANGES = [(13, 4112), (4126, 2100), (6227, 24), (0, 6267)]


def sealed(image, **changes):
    """A copy of a file image with single bytes changed and all four checksums made right."""
    image = bytearray(image)
    for name, value in changes.items():
        image[LAYOUT[name]] = value
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


def read_png(path):
    """Decodes a grey or RGB PNG by its definition, not by the library that wrote it."""
    with open(path, 'rb') as file:
        data = file.read()
    assert data[:8] == b'\x89PNG\r\n\x1a\n'
    at, packed = 8, b''
    while at < len(data):
        size, kind = struct.unpack('>I4s', data[at:at + 8])
        body = data[at + 8:at + 8 + size]
        assert zlib.crc32(kind + body) == struct.unpack('>I', data[at + 8 + size:at + 12 + size])[0]
        if kind == b'IHDR':
            width, height, bits, colour, _, _, interlace = struct.unpack('>IIBBBBB', body)
        packed += body if kind == b'IDAT' else b''
        at += size + 12
    assert colour in (0, 2) and bits in (8, 16) and interlace == 0
    channels = 3 if colour == 2 else 1
    step = channels * bits // 8
    raw = zlib.decompress(packed)
    line, rows = width * step, [bytes(width * step + step)]
    for start in range(0, len(raw), line + 1):
        kind, above, row = raw[start], rows[-1], bytearray(step) + raw[start + 1:start + 1 + line]
        for i in range(step, step + line) if kind else ():
            left, up, corner = row[i - step], above[i], above[i - step]
            if kind == 4:
                guess = min((left, up, corner), key=lambda value: abs(left + up - corner - value))
            else:
                guess = left if kind == 1 else up if kind == 2 else (left + up) // 2
            row[i] = (row[i] + guess) & 255
        rows.append(row)
    pixels = np.frombuffer(b''.join(row[step:] for row in rows[1:]), np.uint8).reshape(height, line)
    samples = pixels.view('>u2') if bits == 16 else pixels
    return samples.astype(np.int64).reshape((height, width, 3) if channels == 3 else (height, width))


def write_png(path, picture, bits):
    rows = picture.astype('>u2' if bits == 16 else np.uint8).reshape(picture.shape[0], -1)
    packed = zlib.compress(b''.join(b'\0' + row.tobytes() for row in rows))
    colour = 2 if picture.ndim == 3 else 0
    head = struct.pack('>IIBBBBB', picture.shape[1], picture.shape[0], bits, colour, 0, 0, 0)
    with open(path, 'wb') as file:
        file.write(b'\x89PNG\r\n\x1a\n')
        for kind, body in ((b'IHDR', head), (b'IDAT', packed), (b'IEND', b'')):
            file.write(struct.pack('>I', len(body)) + kind + body +
                       struct.pack('>I', zlib.crc32(kind + body)))


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
        options = {'stdout': subprocess.PIPE, **options}
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
        for name in ('m.raw', 'm.pfm'):
            self.run_tool('map', 'lens.bin', '--direction', 'distort', '--ratio', '2', '-o', name)
        np.testing.assert_array_equal(np.fromfile('m.raw', '<f4').reshape(values.shape), values)
        for name, plane in zip(('m-x.pfm', 'm-y.pfm'), values):
            with open(name, 'rb') as file:
                self.assertEqual(file.read(16), b'Pf\n320 240\n-1.0\n')
                np.testing.assert_array_equal(np.frombuffer(file.read(), '<f4').reshape(240, 320)[::-1], plane)
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

    def test_draw_and_pictures_from_scratch(self):
        self.sample()
        self.run_tool('draw', 'lens.bin', '--direction', 'distort', '--ratio', '2', '--width', '500', '-o', 'lens.png')
        picture = read_png('lens.png')
        self.assertEqual(picture.shape[1:], (500, 3))
        self.assertGreater(len(np.unique(picture.reshape(-1, 3), axis=0)), 1000)
        plot = picture[44:-35, 42:430].sum(axis=2)
        middle = plot[len(plot) // 2 - 20:len(plot) // 2 + 20, 170:210]
        self.assertLess(np.median(middle), np.median(plot[:12, :12]))
        self.sample('flat.bin', k1=0)
        self.run_tool('draw', 'flat.bin', '-o', 'flat.png')

    def test_check_tells_why(self):
        good = self.sample()
        damaged = {at: good[:at] + bytes([good[at] ^ 1]) + good[at + 1:] for at in (100, 4200, 6230, 6267)}
        cases = [(good, 0, 'accepted'), (good + b'more', 0, 'accepted'), (b'', 8, '6268 bytes'), (good[:-1], 8, '6268 bytes'),
                 (b'text ' * 2000, 9, 'main camera'), (damaged[100], 9, 'main camera and whole file'),
                 (damaged[4200], 9, 'sub camera and whole file'), (damaged[6230], 9, 'extrinsics and whole file'),
                 (damaged[6267], 9, '(whole file)'), (sealed(good, passFlag=0), 10, 'pass flag is 0')]
        for content, status, text in cases:
            self.write('case.bin', content)
            line = self.run_tool('check', 'case.bin', status=1 if status else 0).stdout.decode()
            self.assertEqual(line.count('\n'), 1)
            self.assertIn(f'status {status}', line)
            self.assertIn(text, line)
        both = self.run_tool('check', 'lens.bin', '.', 'none.bin', '--verbose', status=1).stdout.decode()
        self.assertRegex(both, r'(?s)^lens.bin: accepted.*whole file .*\n\.: refused, status 8.*\nnone.bin: refused, status 4')

    def test_info_and_diff(self):
        good = self.sample()
        info = json.loads(self.run_tool('info', '--json', 'lens.bin').stdout)
        main = info['mainCamera']
        self.assertEqual((main['imageWidth'], main['imageHeight'], main['fx']), (640, 480, 425.0))
        self.assertAlmostEqual(main['fieldOfViewDegrees']['horizontal'], 73.955, 2)
        self.assertEqual((info['models']['kx'], info['models']['fits']), (7, True))
        self.write('order.bin', sealed(good, kx=5))
        self.assertIn(b'need the orders 7 and 7', self.run_tool('info', 'order.bin').stdout)

        self.sample('other.bin', **{**LENS, 'k1': -0.27})
        difference = self.map('distort') - self.map('distort', name='other.bin')
        told = self.run_tool('diff', 'lens.bin', 'other.bin', status=1).stdout.decode()
        self.assertRegex(told, r'(?s)main.coeff\[0\].*\n  distortion.xcorrect: 120 of 120')
        numbers = re.search(r'distort +maps differ: largest difference ([\d.]+), root mean square ([\d.]+)', told[80:])
        self.assertAlmostEqual(float(numbers[1]), np.hypot(*difference).max(), 5)
        self.assertAlmostEqual(float(numbers[2]), np.sqrt((difference**2).sum(axis=0).mean()), 5)
        self.run_tool('diff', 'lens.bin', 'other.bin', '--tolerance', '18.8')
        self.write('touched.bin', sealed(good, reserved=7, subFx=1))
        told = self.run_tool('diff', 'lens.bin', 'touched.bin').stdout.decode()
        self.assertRegex(told, r'agree.*\n.*agree.*\nfields that differ:\n  sub.fx: .*\n  reserved bytes: 1\n$')

    def test_help_has_examples(self):
        commands = 'sample check info map draw remap pattern diff'.split()
        listing = self.run_tool('--help').stdout.decode()
        for command in commands:
            self.assertIn(f'\n  {command} ', listing)
            self.assertIn(f'Example:\n  calibmap {command} ', self.run_tool(command, '--help').stdout.decode())
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
        self.write('order.bin', sealed(good, kx=5))
        write_png('small.png', np.zeros((48, 64)), 8)
        with open('small.png', 'rb') as file:
            self.write('cut.png', file.read()[:-30])
        os.mkdir('folder')
        bad_files = [('folder', 'folder: .*6268'), ('empty.bin', 'empty.bin: .*6268'), ('short.bin', 'short.bin: .*6268'),
                     ('text.bin', 'text.bin: .*checksum'), ('none.bin', 'none.bin: .*no such file')]
        for file, text in bad_files:
            for command in (['info', file], ['map', file, '-o', 'out.npy'], ['draw', file, '-o', 'out.png'],
                            ['remap', file, 'small.png', '-o', 'out.png'], ['diff', 'lens.bin', file]):
                self.refuse(command, 1, text)
        for arguments, status, text in [
                (['map', 'order.bin', '-o', '-'], 1, 'order.bin: .*status 7'),
                (['map', 'lens.bin', '--ratio', '3', '-o', 'out.npy'], 2, "--ratio: '3' .*even"),
                (['map', 'lens.bin', '--ratio', '-2', '-o', 'out.npy'], 2, "--ratio: '-2'"),
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
        told = self.run_tool('map', 'order.bin', '-o', '-', '--verbose', status=1)
        self.assertEqual((told.stdout, told.stderr[:7]), (b'', b'ERROR: '))

    def test_refusals_by_the_system(self):
        self.sample()
        # A disk that fills up while the file is being written, and one that is full from the start.
        limit = {'preexec_fn': lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (100000, 100000)),
                 'restore_signals': False}
        self.refuse(['map', 'lens.bin', '-o', 'out.npy'], 1, 'out.npy: cannot be written', **limit)
        self.refuse(['map', 'lens.bin', '-o', 'out.pfm'], 1, 'out-[xy].pfm: cannot be written', **limit)
        self.refuse(['draw', 'lens.bin', '-o', 'out.png'], 1, 'out.png: cannot be written', **limit)
        with open('/dev/full', 'wb') as full:
            for arguments in (['map', 'lens.bin', '-o', '-'], ['info', 'lens.bin']):
                self.refuse(arguments, 1, 'standard output: cannot be written', stdout=full)
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
