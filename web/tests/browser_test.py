#!/usr/bin/env python3
"""Tests of the page in Chromium and Firefox: browser_test.py BUILD NATIVE. BUILD is the build of the page, NATIVE that
of the library and its program, whose answers the page has to give, too."""
import base64
import csv
import glob
import json
import math
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import time
import unittest

import numpy as np
from PIL import Image

import browser
from images import (DISTORTION, FOCAL_LENGTHS, PRINCIPAL_POINT, RANGES, SIZE, UNDISTORTION, X_BREAKS, X_CORRECTION,
                    Y_CORRECTION, enlarged, floats, sealed, sized)
from native import Native
from pictures import lines_in, read_picture, share_near

BUILD, NATIVE_BUILD = os.path.abspath(sys.argv.pop(1)), os.path.abspath(sys.argv.pop(1))
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FLAGS = {'distort': 1, 'undistort': 2}


def content(*path):
    with open(os.path.join(*path), 'rb') as file:
        return file.read()


MODULE = content(BUILD, 'web', 'library.wasm')


# What keeps files from use whose checksums hold.
UNUSABLE = {
    'numbers': {UNDISTORTION + X_CORRECTION: floats(*[math.nan] * 3), DISTORTION + X_BREAKS: b'\xff' * 4,
                DISTORTION + Y_CORRECTION + 40: floats(-math.inf)},
    'sub camera': {4126 + 12: floats(math.nan)},
    'orders': {97: b'\x06\x07'},
    'pieces': {99: b'\0'},
    'focal lengths': {FOCAL_LENGTHS: floats(-425.5, 0)},
    'size': {SIZE: struct.pack('<ii', 0, -640)},
    'break points': {UNDISTORTION + X_BREAKS + 8: floats(3)},
    'uncovered': {PRINCIPAL_POINT: floats(0, -20)},
    'uncovered twice': {FOCAL_LENGTHS: floats(1e-40, 1e38)},
    'large': {SIZE: struct.pack('<ii', 16384, 16384), FOCAL_LENGTHS: floats(1e9, 1e9, 0, 0)},
    'apart': {UNDISTORTION + X_CORRECTION + 120: floats(0.05)},
    'out': {model + X_CORRECTION: floats(*[9] * 120) for model in (UNDISTORTION, DISTORTION)},
    'overflow': {**{UNDISTORTION + grid: bytes(480) for grid in (X_CORRECTION, Y_CORRECTION)},
                 DISTORTION + X_CORRECTION: floats(*[3e38, -3e38] * 60)},
}
SPOILED = {
    **{f'{name}.bin': changes for name, changes in UNUSABLE.items()},
    'failed.bin': {1: b'\x02'},
    'wide.bin': {SIZE: struct.pack('<ii', 1, 2**31 - 1)},
    'one.bin': {SIZE: struct.pack('<ii', 1, 1), PRINCIPAL_POINT: floats(0, 0)},
    'small.bin': {SIZE: struct.pack('<ii', 48, 75), FOCAL_LENGTHS: floats(61.5, 47.25, 33.5, 21.75)},
    'sub.bin': {4126 + 4: struct.pack('<ii', 33, 44), 4126 + 12: floats(1e-30, 3e38, -7.5, math.inf)},
    'extrinsics.bin': {6227: floats(1, -2, 3e-40, 4, math.nan, 6)},
    'reserved.bin': {5: b'abc', 6256: b'xyz'},
}


class PageTest:
    """In a browser whose name a subclass gives."""

    @classmethod
    def setUpClass(cls):
        # The library keeps the path of its file in 33 bytes.
        cls.folder = tempfile.mkdtemp(dir='/tmp')
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.native = Native(NATIVE_BUILD)
        cls.browser = browser.Browser(cls.name, os.path.join(BUILD, 'calibmap.html'), cls.folder)
        cls.addClassCleanup(cls.browser.close)
        cls.lens = cls.path('lens.bin')
        cls.native.run('sample', '-o', cls.lens)
        cls.image = content(cls.lens)

    @classmethod
    def path(cls, name):
        return os.path.join(cls.folder, name)

    def setUp(self):
        self.browser.open()

    def tearDown(self):
        self.assertEqual(self.browser.errors(), [])

    def write(self, name, data, size=None):
        """A file with this content, followed by zeros up to a size."""
        path = self.path(name)
        with open(path, 'wb') as file:
            file.write(data)
            file.truncate(size or len(data))
        return path

    def downloaded(self, selector):
        return content(self.browser.save(selector))

    def expect_map_as_native(self, path, direction, ratio=1):
        """Saves the map that is shown: it has to be the program's, byte for byte."""
        expected = self.path('expected.npy')
        self.native.run('map', path, '--direction', direction, '--ratio', str(ratio), '-o', expected)
        self.assertEqual(self.downloaded('.save-map'), content(expected), (path, direction, ratio))

    # ---- Verdicts ----------------------------------------------------------------------------------------------

    def test_says_first_whether_a_device_accepts_a_file(self):
        self.browser.add(self.lens)
        self.assertEqual('✓ Accepted and usable: a device takes this file (status 0)', self.browser.text('.verdict'))
        self.assertEqual(self.browser.text('samp'), '')
        self.assertEqual(self.browser.lines('.ranges'), ['✓ ' + name for name in RANGES])
        info = json.loads(self.native.run('info', self.lens, '--json'))
        shown = self.browser.text('.card table')
        for camera in (info['mainCamera'], info['subCamera']):
            view = camera['fieldOfViewDegrees']
            for text in (f"{camera['imageWidth']} x {camera['imageHeight']} pixels",
                         f"fx {camera['fx']:.3f}, fy {camera['fy']:.3f} pixels",
                         f"cx {camera['cx']:.3f}, cy {camera['cy']:.3f} pixels",
                         f"{view['horizontal']:.1f} x {view['vertical']:.1f} degrees, {view['diagonal']:.1f} across",
                         ' '.join(camera['coeff'])):
                self.assertIn(text, shown)

    def expect_verdict(self, path, damaged=()):
        """The page gives the native library's status and words, the program's verdict, and marks the damaged ranges."""
        status, words = self.native.ask(path, 3)
        self.browser.open()
        self.browser.add(path)
        self.assertIn(f'(status {status})', self.browser.text('.verdict'))
        self.expect_words_of_program(path)
        self.assertEqual(self.browser.lines('.card samp'), words)
        marked = [line[2:].split(':')[0] for line in self.browser.lines('.ranges .damaged') if line.startswith('✗')]
        self.assertEqual(marked, list(damaged))
        self.assertEqual(self.browser.run("return document.querySelector('#map').hidden"), status != 0)
        return status

    def expect_words_of_program(self, path):
        """Refused, accepted or usable, and why, as `calibmap check` has it."""
        said = self.native.check(path)
        grade = {(True, True): 'Accepted and usable', (True, False): 'Accepted but not usable',
                 (False, False): 'Refused'}[said['accepted'], said['usable']]
        self.assertIn(f' {grade}: ', self.browser.text('.verdict'))
        card = self.browser.text('.card')
        if said['usable']:
            self.assertIn(f"The {said['line']}.", card)
        elif said['accepted']:
            [only] = re.findall(r'Why: (.*)\. What to do', card) or ['']
            self.assertEqual(self.browser.lines('.reasons li') or [only], said['faults'])
        else:
            remedy = said['line'].removeprefix(said['reason'] + ', ')
            self.assertIn(f"{said['reason']}. What to do: {remedy}.", card)
        return said

    def test_says_what_keeps_an_accepted_file_from_use(self):
        phrases = set()
        for name, changes in UNUSABLE.items():
            with self.subTest(name):
                path = self.write('unusable.bin', sealed(self.image, changes))
                self.browser.open()
                self.browser.add(path)
                said = self.expect_words_of_program(path)
                self.assertTrue(said['accepted'] and not said['usable'])
                phrases.update(re.sub(r'[-\d.]+', '', fault) for fault in said['faults'])
        # A case that only trips the rule of another one would go unseen.
        self.assertGreater(len(phrases), 15)

    def test_takes_numbers_that_are_none_for_no_map(self):
        """A map that leads nowhere is neither one without distortion nor equal to another."""
        nowhere = self.write('nowhere.bin', sealed(self.image, {13 + 2100 + 108: struct.pack('<f', math.nan)}))
        self.browser.add(nowhere, self.lens)
        self.assertIn('no map can be right', self.browser.text('#map .refusal'))
        self.assertFalse(self.browser.is_shown('#map .result'))
        self.assertRegex(self.browser.text('#comparison .numbers'),
                         r'^undistort maps cannot be compared: .* distort maps agree: largest difference 0\.000000 .*\.$')
        self.assertFalse(self.browser.is_shown('#comparison canvas'))
        self.browser.choose('direction', 'distort')
        self.assertEqual(self.browser.text('#map .refusal'), '')
        self.assertTrue(self.browser.is_shown('#comparison canvas'))

    def test_says_why_a_file_is_refused(self):
        for name, (first, size) in RANGES.items():
            # Behind the last block there are bytes that only the whole file's checksum covers.
            place = 6260 if name == 'whole file' else first + size // 2
            image = bytearray(self.image)
            image[place] ^= 0x10
            damaged = [name] if name == 'whole file' else [name, 'whole file']
            self.assertEqual(self.expect_verdict(self.write('damaged.bin', image), damaged), 9)
            self.assertIn(' and '.join(damaged), self.browser.text('.card'))
        self.assertEqual(self.expect_verdict(self.write('failed.bin', sealed(self.image, {1: b'\0'}))), 10)
        self.assertIn('the pass flag is 0', self.browser.text('.card'))
        for size in (0, 1, 6267):
            self.assertEqual(self.expect_verdict(self.write('short.bin', self.image[:size])), 8)
            self.assertIn(f'{6268 - size} bytes missing', self.browser.text('.ranges .missing'))

    def test_stays_alive_whatever_a_file_holds(self):
        everything = list(RANGES)
        self.assertEqual(self.expect_verdict(self.write('zeros.bin', bytes(6268)), everything), 9)
        # What stands behind a calibration does not matter to a device.
        self.assertEqual(self.expect_verdict(self.write('longer.bin', self.image, 100_000_000)), 0)
        self.expect_map_as_native(self.lens, 'undistort')
        random = np.random.default_rng(5)
        for path in sorted(glob.glob(os.path.join(SOURCE, 'fuzz', 'corpus', 'calibration_file', '*'))):
            image = content(path)
            hostile = self.path('hostile.bin')
            for place in (None, *random.integers(25, 4125, 3)):
                changes = {} if place is None else {int(place): random.bytes(4)}
                self.write('hostile.bin', sealed(image, changes) if changes else image)
                if self.expect_verdict(hostile) == 0:
                    self.expect_answer(hostile)

    def expect_answer(self, path):
        """The request for a map has the native status and words, and the map the native bytes."""
        camera = json.loads(self.native.run('info', path, '--json'))['mainCamera']
        rows, cols = camera['imageHeight'], camera['imageWidth']
        for direction, flag in FLAGS.items():
            self.browser.choose('direction', direction)
            status, words = self.native.ask(path, flag, 1, rows, cols)
            self.assertEqual(self.browser.lines('#map .refusal samp'), words)
            if status == 0:
                self.expect_map_as_native(path, direction)
            else:
                self.assertIn(f'No map (status {status})', self.browser.text('#map .refusal'))

    def test_says_why_there_is_no_map(self):
        for name, width, height in (('widest', 2**31 - 1, 1), ('negative', -640, 480), ('empty', 640, 0),
                                    ('ten gigapixels', 100000, 100000)):
            with self.subTest(name):
                path = self.write('size.bin', sized(self.image, width, height))
                self.assertEqual(self.expect_verdict(path), 0)
                self.expect_answer(path)
                if min(width, height) == 1:
                    self.assertNotIn('larger ratio', self.browser.text('#map .refusal'))
        orders = self.write('orders.bin', sealed(self.image, {97: b'\x06\x07'}))
        self.expect_verdict(orders)
        self.expect_answer(orders)
        # A page has less memory than a device, and says so.
        path = self.write('size.bin', sized(self.image, 16383, 16383))
        self.expect_verdict(path)
        self.assertRegex(self.browser.text('#map .refusal'), r'No map( \(status 7\))?: .*memory')
        self.browser.set_ratio(16)
        self.expect_map_as_native(path, 'undistort', 16)

    # ---- Maps --------------------------------------------------------------------------------------------------

    def test_saves_the_map_that_the_program_writes(self):
        self.browser.add(self.lens)
        for direction in FLAGS:
            self.browser.choose('direction', direction)
            for ratio in (1, 2, 6):
                self.browser.set_ratio(ratio)
                self.expect_map_as_native(self.lens, direction, ratio)
                numbers = re.sub('.*columns, ', '', self.native.run(
                    'map', self.lens, '--direction', direction, '--ratio', str(ratio), '-o', self.path('again.npy')))
                self.assertIn(numbers.strip(), self.browser.text('#map .numbers'))
            for ratio in (3, 0, -2, 1000):
                self.browser.set_ratio(ratio)
                rows, cols = (480 // ratio, 640 // ratio) if ratio > 0 else (480, 640)
                status, words = self.native.ask(self.lens, FLAGS[direction], ratio, rows, cols)
                self.assertIn(f'No map (status {status})', self.browser.text('#map .refusal'))
                self.assertEqual(self.browser.lines('#map .refusal samp'), words)

    def test_draws_the_picture_that_the_program_draws(self):
        """The same marks in the same places, and on the canvas the same lines; types of letters differ."""
        drawn = self.path('drawn.png')
        for direction in FLAGS:
            record = subprocess.run([self.native.drawing_record, self.lens, direction, '992'],
                                    stdout=subprocess.PIPE, check=True).stdout
            self.assertEqual(self.harness('drawingDifferences', MODULE, self.image, direction, 992, record), [])
            self.native.run('draw', self.lens, '--direction', direction, '-o', drawn)
            self.browser.open(width=1024)
            self.browser.add(self.lens)
            self.browser.choose('direction', direction)
            shown = read_picture(self.browser.save('#map .save-picture'))
            expected = read_picture(drawn)
            self.assertEqual(shown.shape, expected.shape)
            here, there = lines_in(shown), lines_in(expected)
            self.assertGreater(there.sum(), 3000)
            self.assertGreater(share_near(here, there, 1.5), 0.95)
            self.assertGreater(share_near(there, here, 1.5), 0.95)

    def test_says_of_fifty_files_what_the_program_says(self):
        files = {'lens.bin': self.image, **{name: sealed(self.image, changes) for name, changes in SPOILED.items()}}
        random = np.random.default_rng(11)
        for i in range(50 - len(files)):
            place = int(random.integers(0, 6260))
            damaged = bytearray(self.image)
            damaged[place:place + 4] = random.bytes(4)
            files[f'random{i}.bin'] = bytes(damaged) if i % 3 == 0 else sealed(bytes(damaged), {})
        paths = {name: self.write(name, image) for name, image in files.items()}
        said = json.loads(self.harness('inspections', MODULE, list(files.items())))
        grades = set()
        for (name, path), page in zip(paths.items(), said):
            with self.subTest(name):
                def program(*arguments):
                    done = subprocess.run([self.native.program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                          check=False)
                    return json.loads(done.stdout)

                check, info = program('check', '--json', path), program('info', '--json', path)
                for record in (check, info):
                    record['file'] = name
                self.assert_alike(page['check'], check)
                self.assert_alike(page['info'], info)
                grades.add((check['status'], check['usable']))
                if page['maps'] is not None:
                    compared = program('diff', '--json', self.lens, path)
                    self.assert_alike(page['fields'], compared['fields'])
                    renamed = json.loads(json.dumps(compared['maps']).replace(path, name).replace(self.lens, 'lens.bin'))
                    self.assert_alike(page['maps'], renamed)
        self.assertGreaterEqual(grades, {(0, True), (0, False), (9, False), (10, False)})

    def assert_alike(self, here, there, path=''):
        """Equal but for the last digits of numbers, which two C libraries may compute differently."""
        if isinstance(there, dict):
            self.assertEqual(list(here), list(there), path)
            for name in there:
                self.assert_alike(here[name], there[name], f'{path}.{name}')
        elif isinstance(there, list):
            self.assertEqual(len(here), len(there), path)
            for i, value in enumerate(there):
                self.assert_alike(here[i], value, f'{path}[{i}]')
        elif isinstance(there, float):
            self.assertTrue(math.isclose(here, there, rel_tol=1e-12, abs_tol=1e-12), (path, here, there))
        else:
            self.assertEqual(here, there, path)

    def harness(self, function, *arguments):
        """The answer of a function of harness.js; bytes go there in base64."""
        def sent(value):
            if isinstance(value, bytes):
                return base64.b64encode(value).decode()
            return [sent(part) for part in value] if isinstance(value, (list, tuple)) else value

        return self.browser.run(content(BUILD, 'web', 'harness.bundle.js').decode() +
                                f'; return harness.{function}(...arguments)', *map(sent, arguments))

    def test_tells_where_a_place_lies_in_both_images(self):
        self.browser.add(self.lens)
        values = np.load(self.browser.save('.save-map'))
        said = r'column ([\d.]+), row ([\d.]+) → .*: column ([-\d.]+), row ([-\d.]+); '

        def place():
            return [float(text) for text in re.search(said, self.browser.text('output')).groups()]

        start = place()
        self.browser.press('.figure', browser.ARROW_RIGHT * 3 + browser.SHIFT + browser.ARROW_DOWN + browser.SHIFT)
        self.browser.wait(f"document.querySelector('output').textContent.includes('row {start[1] + 10:.2f}')")
        col, row, x, y = place()
        self.assertEqual((col, row), (start[0] + 3, start[1] + 10))
        np.testing.assert_allclose((x, y), values[:, int(row), int(col)], atol=0.006)
        self.assertEqual(self.browser.run("return document.querySelector('output').ariaLive"), 'polite')
        # The pointer, in the middle of the plot: the picture is 992 wide where the page is 1024.
        self.browser.open(width=1024)
        self.browser.add(self.lens)
        area = self.browser.run("""const a = document.querySelector('.figure canvas').getBoundingClientRect();
                                   window.scrollTo(0, a.top); return [a.left, a.width]""")
        scale = area[1] / 900
        middle = (area[0] + (74 + (900 - 74 - 122) / 2) * scale, (100 + (900 - 74 - 122) * 0.375) * scale)
        self.browser.point(middle)
        self.browser.wait("document.querySelector('output').ariaLive === 'off'")
        np.testing.assert_allclose(place()[:2], (319.5, 239.5), atol=1.5)

    def test_zooms_into_map_and_photo(self):
        board = self.path('board.png')
        self.native.run('pattern', '-o', board)
        self.browser.open(width=1024)
        self.browser.add(self.lens, board)
        saved = content(self.browser.save('#map .save-picture'))
        drawn = "document.querySelector('#map canvas').toDataURL()"
        whole = self.browser.run('return ' + drawn)
        self.browser.run("document.querySelector('.figure canvas').scrollIntoView()")

        def at(x, y):
            """A place of the plot, in its parts."""
            left, top, scale = self.browser.run("""
                const a = document.querySelector('.figure canvas').getBoundingClientRect(); return [a.left, a.top, a.width / 900]""")
            size = 900 - 74 - 122
            return left + (74 + x * size) * scale, top + (100 + y * size * 0.75) * scale

        def pointed(x, y):
            self.browser.point(at(0.5, 0.1))
            self.browser.run("document.querySelector('output').textContent = ''")
            self.browser.point(at(x, y))
            said = self.browser.wait("document.querySelector('output').textContent")
            return [float(number) for number in re.search(r'column ([\d.]+), row ([\d.]+) ', said).groups()]

        before = pointed(0.7, 0.6)
        self.browser.turn_wheel(*at(0.7, 0.6), -100)
        self.browser.settle()
        np.testing.assert_allclose(pointed(0.7, 0.6), before, atol=0.8)
        self.assertNotEqual(self.browser.run('return ' + drawn), whole)
        self.assertEqual(content(self.browser.save('#map .save-picture')), saved)
        self.browser.press('#map .figure', '0')
        self.browser.settle()
        self.assertEqual(self.browser.run('return ' + drawn), whole)
        # A rectangle, half as wide as high: what is seen has the proportions of the image.
        self.browser.point(at(0.25, 0.2), at(0.4, 0.5), at(0.5, 0.7))
        self.browser.settle()
        np.testing.assert_allclose(pointed(0.5, 0.5), (320, 216), atol=2)
        np.testing.assert_allclose(pointed(0.02, 0.98), (166, 332), atol=2)
        self.browser.point(at(0.5, 0.5), clicks=2)
        self.browser.settle()
        self.assertEqual(self.browser.run('return ' + drawn), whole)
        self.browser.press('.photo', '+')
        self.assertEqual(self.browser.run("return document.querySelector('.after').style.transform"),
                         'scale(2) translate(-25%, -25%)')
        self.assertEqual(self.browser.run("return document.querySelector('.after').style.clipPath"),
                         'inset(0px 0px 0px 50%)')
        self.browser.press('.photo', browser.ALT + browser.ARROW_RIGHT + browser.ALT)
        self.assertEqual(self.browser.run("return document.querySelector('.before').style.transform"),
                         'scale(2) translate(-37.5%, -25%)')

    def test_a_large_map_does_not_freeze_it(self):
        large = self.path('large.bin')
        self.native.run('sample', '--width', '6000', '--height', '4000', '--fx', '4000', '--fy', '4000', '--cx', '2990',
                        '--cy', '2010', '-o', large)
        self.browser.run("""
            window.gap = 0; window.barWasSeen = false; let last = performance.now();
            setInterval(() => {
                window.gap = Math.max(window.gap, performance.now() - last); last = performance.now();
                window.barWasSeen ||= !document.querySelector('#progress').hidden;
            }, 10)""")
        self.browser.add(large)
        gap, bar_was_seen = self.browser.run('return [window.gap, window.barWasSeen]')
        self.assertTrue(bar_was_seen)
        self.assertLess(gap, 1000)
        self.expect_map_as_native(large, 'undistort')

    def test_forgets_a_file_that_is_removed_while_it_is_drawn(self):
        self.browser.choose_files(self.write('removed.bin', sized(self.image, 6000, 4000)))
        self.browser.wait("document.querySelector('#map').ariaBusy === 'true'")
        self.browser.wait("!document.querySelector('#progress').hidden")
        self.browser.click('.card button')
        self.browser.wait("document.querySelector('#progress').hidden")
        self.assertIn('removed.bin has been removed.', self.browser.lines('#notices span'))

    # ---- Photos and pairs --------------------------------------------------------------------------------------

    def test_straightens_and_bends_a_photo(self):
        board, expected = self.path('board.png'), self.path('expected.png')
        self.native.run('pattern', '-o', board)
        self.browser.add(self.lens, board)
        for direction in FLAGS:
            self.browser.choose('direction', direction)
            self.native.run('remap', self.lens, board, '--direction', direction, '-o', expected)
            shown = read_picture(self.browser.save('#photo .save-picture')).astype(int)
            self.assertLessEqual(np.abs(shown - read_picture(expected)).max(), 1, direction)
        self.browser.press('#divider', browser.ARROW_RIGHT * 10)
        self.assertEqual(self.browser.run("return document.querySelector('.after').style.clipPath"),
                         'inset(0px 0px 0px 60%)')
        for size in (('1280', '960'), ('480', '480')):
            self.native.run('pattern', '--width', size[0], '--height', size[1], '-o', board)
            self.browser.add(board)
            self.assertIn('does not come from this camera as it is', self.browser.text('#photo .help'))
            self.assertFalse(self.browser.is_shown('#photo .result'))
        self.browser.add(self.write('broken.png', b'no picture'), self.write('broken.jpg', b'none either'))
        self.assertEqual([line for line in self.browser.lines('#notices span') if 'cannot be read as a picture' in line],
                         [f'broken.{kind} cannot be read as a picture.' for kind in ('jpg', 'png')])

    def test_compares_two_files(self):
        today = self.path('today.bin')
        self.native.run('sample', '--k1', '-0.27', '--k2', '0.09', '--k3', '-0.012', '-o', today)
        self.browser.add(self.lens, today)
        shown = self.browser.text('#comparison .numbers')
        said = re.findall(r'(\w+)\s+(maps differ: .*)', self.native.run('diff', self.lens, today, status=1))
        self.assertEqual(len(said), 2)
        for direction, numbers in said:
            self.assertIn(f'{direction} {numbers}.', shown)
        self.assertIn('coeff (differs)', re.sub(r'\s+', ' ', self.browser.run(
            "return [...document.querySelectorAll('.differs th')].map(th => th.textContent + ' (differs)').join()")))
        self.assertTrue(self.browser.is_shown('#comparison canvas'))
        self.browser.choose('shown', '1')
        self.expect_map_as_native(today, 'undistort')
        # The second card's button; what is left is compared with itself under another name.
        self.browser.run("document.querySelectorAll('.card button')[1].click()")
        self.browser.add(self.write('same.bin', self.image))
        self.assertRegex(self.browser.text('#comparison .numbers'),
                         r'^undistort maps agree: .* 0\.000000 pixels\. distort maps agree: .* 0\.000000 pixels\.$')

    # ---- While it is busy, and many files ----------------------------------------------------------------------

    def test_saves_what_it_shows_while_the_next_is_on_its_way(self):
        big = self.write('big.bin', sized(self.image, 3000, 2000))
        self.browser.add(big)
        old = self.browser.save('.save-map', "document.querySelector('input[value=distort]').click()")
        self.assertTrue(old.endswith('big-undistort-1.npy'))
        expected = self.path('expected.npy')
        self.native.run('map', big, '-o', expected)
        self.assertEqual(content(old), content(expected))
        self.browser.settle()
        self.assertTrue(self.browser.save('.save-map').endswith('big-distort-1.npy'))
        self.browser.set_ratio(2)
        faded = "getComputedStyle(document.querySelector('#map .result')).opacity"
        self.browser.run("document.querySelector('input[value=undistort]').click()")
        self.assertLess(float(self.browser.run('return ' + faded)), 0.6)
        self.browser.settle()
        self.assertEqual(self.browser.run('return ' + faded), '1')

    def test_takes_quick_drops_one_after_the_other(self):
        changed = sealed(self.image, {UNDISTORTION + X_CORRECTION + 120: floats(0.004)})
        for i in range(4):
            self.browser.drop({f'{i}.bin': self.image if i % 2 == 0 else changed})
        self.browser.wait("document.querySelectorAll('tbody input[type=radio]').length === 4")
        self.browser.settle()
        self.assertEqual([row[0] for row in self.rows()], [f'{i}.bin' for i in range(4)])
        self.assertEqual([row[4] == '0.000000' for row in self.rows()], [False, False, True, False])
        self.assertEqual(len(self.browser.lines('.card h2')), 1)

    def test_saves_its_table_with_the_columns_of_the_program(self):
        changed = sealed(self.image, {UNDISTORTION + X_CORRECTION + 120: floats(0.004)})
        paths = [self.lens, self.write('changed,"1".bin', changed), self.write('failed.bin', sealed(self.image, {1: b'\0'}))]
        self.browser.add(*paths)
        with open(self.browser.save('.save-csv'), encoding='utf-8', newline='') as file:
            saved = list(csv.DictReader(file))
        said = [self.native.check(path) for path in paths]
        [row] = csv.DictReader(self.native.run('diff', '--csv', self.lens, paths[1], status=1).splitlines())
        for column in ('agree', 'undistort_largest', 'undistort_rms', 'undistort_p50', 'undistort_p95', 'undistort_p99', 'fields'):
            self.assertEqual(saved[1][column], row[column], column)
            self.assertEqual(saved[2][column], '')
        checked = list(csv.DictReader(self.native.run('check', '--csv', *paths, status=1).splitlines()))
        for column in ('status', 'usable', 'reasons', 'round_trip'):
            self.assertEqual([one[column] for one in saved], [one[column] for one in checked], column)
        apart = json.loads(self.native.run('diff', self.lens, paths[1], '--json', status=1))
        self.assertEqual([row['file'] for row in saved], [os.path.basename(path) for path in paths])
        with open(self.browser.save('.save-json'), encoding='utf-8') as file:
            records = json.load(file)
        self.assertEqual([one['status'] for one in records], [one['status'] for one in said])
        self.assertEqual(records[1]['fields'], apart['fields'])
        # Sorted by the largest difference, the other way round at the second press; two ticks compare.
        heading = "document.querySelectorAll('#list th button')[4].click()"
        self.browser.run(heading + ';' + heading)
        self.assertEqual(self.rows()[0][0], 'changed,"1".bin')
        self.assertFalse(self.browser.is_shown('#comparison'))
        for i in (0, 1):
            self.browser.run("document.querySelectorAll('#list [type=checkbox]')[arguments[0]].click()", i)
        self.browser.settle()
        self.assertTrue(self.browser.is_shown('#comparison canvas'))
        self.assertEqual(len(self.browser.lines('.card h2')), 2)

    def test_computes_again_only_what_has_changed(self):
        board = self.path('board.png')
        self.native.run('pattern', '-o', board)
        self.browser.add(self.lens, board)
        self.browser.run("""document.querySelectorAll('details')[2].open = true; window.asked = [];
            const post = Worker.prototype.postMessage;
            Worker.prototype.postMessage = function (message) {
                if (message.name) { window.asked.push(message.name); }
                return post.apply(this, arguments);
            }""")
        self.browser.set_ratio(2)
        self.assertEqual(self.browser.run('return window.asked.splice(0)'), ['drawMap', 'lookUp'])
        self.browser.add(self.write('failed.bin', sealed(self.image, {1: b'\0'})))
        self.assertEqual(self.browser.run('return window.asked.splice(0)'), ['examine'])
        self.assertTrue(self.browser.run("return document.querySelectorAll('details')[2].open"))

    def test_takes_no_more_than_it_needs(self):
        """Many files go through one worker, and what a photo took is given back with it."""
        self.browser.run("""window.workers = 0; const {Worker: Plain} = window;
            window.Worker = class extends Plain { constructor(...all) { super(...all); ++window.workers; } }""")
        self.browser.add(*[self.write(f'{i}.bin', sealed(self.image, {6256: bytes([i])})) for i in range(60)])
        self.assertEqual(len(self.rows()), 60)
        self.assertEqual(self.browser.run('return window.workers'), 0)
        if self.name != 'chromium':
            return
        self.browser.open()
        board = self.path('board.png')
        self.native.run('pattern', '--width', '4000', '--height', '3000', '-o', board)
        self.browser.add(self.write('large.bin', enlarged(self.image, 6.25)), board)
        held = self.expect_memory_below(400)
        self.browser.click('#photo .remove')
        # The photo as it was and as the map sees it, 48 MB each.
        rest = self.expect_memory_below(held - 80)
        # The map in the worker's memory, 92 MB, and the canvases that have shown it.
        self.browser.click('.card button')
        self.expect_memory_below(rest - 100)

    def expect_memory_below(self, limit):
        """What the page has for itself in the end; browsers take their time."""
        end = time.monotonic() + 20
        while (size := self.browser.memory()['page']) >= limit and time.monotonic() < end:
            time.sleep(0.2)
        self.assertLess(size, limit)
        return size

    def rows(self):
        """The cells of the table, without what is ticked there."""
        return self.browser.run("""return [...document.querySelectorAll('#list tbody tr')].map(
                                       row => [...row.cells].slice(2).map(cell => cell.textContent))""")

    def test_answers_for_the_place_that_is_entered(self):
        self.browser.add(self.lens)
        output = "document.querySelector('output').textContent"
        for selector, text, said in (('#column', '100.256', 'column 100.26'), ('#row', '33', 'column 100.26, row 33.00'),
                                     ('#column', '99999', 'column 639.00, row 33.00')):
            self.enter(selector, text)
            self.browser.wait(f"{output}.includes('{said}')", 5)
        self.browser.wait("document.querySelector('#column').value === '639'", 5)
        # The field shows the answer also where the one who has entered it stays there.
        self.browser.press('#row', browser.CONTROL + 'a')
        self.browser.press('#row', '99999')
        self.browser.wait(f"{output}.includes('row 479.00')", 5)
        self.browser.press('#row', browser.ENTER)
        self.browser.wait("document.querySelector('#row').value === '479'", 5)
        # What a field has no room for is kept: a place between two hundredths stays there.
        self.enter('#column', '100.2549')
        self.enter('#row', '34')
        self.browser.wait(f"{output}.includes('column 100.25, row 34.00')", 5)

    def enter(self, selector, text):
        self.browser.press(selector, browser.CONTROL + 'a')
        self.browser.press(selector, text + browser.TAB)

    def test_takes_pixels_as_the_sensor_wrote_them(self):
        """What a photo says of the way the camera was held turns no pixel."""
        rows, cols = np.mgrid[0:480, 0:640]
        picture = Image.fromarray(np.stack([cols * 255 // 639, rows * 255 // 479, 0 * rows], axis=2).astype(np.uint8))
        self.browser.add(self.lens)
        saved = []
        for orientation in (1, 3, 6):
            exif = picture.getexif()
            exif[0x0112] = orientation
            photo = self.path(f'photo{orientation}.jpg')
            picture.save(photo, exif=exif, quality=95)
            self.browser.add(photo)
            self.assertEqual(self.browser.text('#photo .help'), '')
            saved.append(read_picture(self.browser.save('#photo .save-picture')))
            size = self.browser.run("const {width, height} = document.querySelector('.before').getBoundingClientRect();"
                                    "return width / height")
            self.assertAlmostEqual(size, 4 / 3, delta=0.01)
        self.assertGreater(int(saved[0][240, 600, 0]), int(saved[0][240, 40, 0]) + 150)
        for other in saved[1:]:
            np.testing.assert_array_equal(saved[0], other)

    def test_tells_files_of_one_name_apart(self):
        os.makedirs(self.path('other'), exist_ok=True)
        other = self.write('other/lens.bin', sealed(self.image, {SIZE: struct.pack('<ii', 400, 600)}) + b'behind')
        self.browser.add(self.lens)
        self.browser.add(other)
        names = self.browser.lines('.card h2')
        self.assertRegex(names[0], r'^lens.bin \(A, 6,268 bytes, [0-9a-f]{8}\)$')
        self.assertRegex(names[1], r'^lens.bin \(B, 6,274 bytes, [0-9a-f]{8}\)$')
        self.assertNotEqual(names[0][-9:], names[1][-9:])
        self.assertIn('6 bytes behind the calibration', self.browser.text('.card'))
        self.assertIn(names[0], self.browser.run("return document.querySelector('#map h2').textContent"))

    def test_says_of_other_files_what_they_are(self):
        pages = self.write('report.pdf', b'%PDF-1.7 ' + bytes(7000))
        picture = self.path('photo')
        Image.new('RGB', (640, 480)).save(picture, format='JPEG')
        zeros = self.write('zeros.bin', b'', 5_000_000_000)
        self.browser.add(pages, zeros, picture, self.lens)
        self.assertEqual(self.browser.lines('#notices span'),
                         ['zeros.bin is a file of 5,000,000,000 bytes, no calibration file.',
                          'report.pdf is a PDF document, no calibration file.'])
        self.assertEqual(self.browser.lines('.card h2'), ['lens.bin'])
        self.assertTrue(self.browser.is_shown('#photo .result'))
        self.browser.click('#notices button')
        self.assertEqual(len(self.browser.lines('#notices span')), 1)
        self.browser.click('#photo .remove')
        self.assertFalse(self.browser.is_shown('#photo'))

    def test_says_why_there_is_nothing_to_see(self):
        self.browser.add(self.lens)
        for ratio in ('', '1.5', '7e9'):
            self.browser.set_ratio(ratio)
            self.assertIn('the ratio is no whole number', self.browser.text('#map .refusal'), ratio)
        self.browser.set_ratio(2)
        self.expect_map_as_native(self.lens, 'undistort', 2)
        self.browser.add(self.write('failed.bin', sealed(self.image, {1: b'\0'})))
        self.assertEqual(self.browser.text('#comparison .numbers'), 'No comparison: failed.bin is refused.')
        self.browser.open(first='delete window.WebAssembly', ready="document.querySelector('#unable').offsetHeight > 0")

    def test_shows_what_it_holds_whatever_is_done_in_any_order(self):
        """Somebody quick drops, removes, chooses and resizes; DRIVE=SECONDS goes on for so long."""
        random = np.random.default_rng(int(os.environ.get('SEED', '3')))
        contents = [self.image, sealed(self.image, {UNDISTORTION + X_CORRECTION + 120: floats(0.004)}),
                    sealed(self.image, {1: b'\0'}), self.image[:99]]
        held = []
        end = time.monotonic() + float(os.environ.get('DRIVE', '0'))
        step = 0
        while step < 300 or time.monotonic() < end:
            kind = random.integers(9)
            if kind <= 1 and len(held) < 12:
                files = {f'{step}-{i}.bin': contents[random.integers(4)] for i in range(random.integers(1, 4))}
                held += files
                self.browser.drop(files)
            elif kind == 2 and held:
                # What is still on its way cannot be pressed.
                name = self.browser.run("""const cards = document.querySelectorAll('.card'), card = cards[cards.length - 1];
                    card?.querySelector('header button').click(); return card?.querySelector('h2').textContent""")
                held = [other for other in held if other != name]
            elif kind == 3:
                self.browser.run("document.querySelector(`[name=direction][value=${arguments[0]}]`).click()",
                                 ['distort', 'undistort'][random.integers(2)])
            elif kind == 4:
                self.browser.run("""document.querySelector('#ratio').value = arguments[0]; document.querySelector('#ratio')
                    .dispatchEvent(new Event('input', {bubbles: true}))""", ['', '1', '2', '3', '8'][random.integers(5)])
            elif kind == 5:
                self.browser.resize(int(random.integers(320, 1400)), 900)
            elif kind == 6:
                self.browser.run("""document.querySelector('.figure').dispatchEvent(
                    new KeyboardEvent('keydown', {key: arguments[0], altKey: arguments[0].length > 1, bubbles: true}))""",
                                 ['+', '-', '0', 'ArrowUp', 'ArrowRight'][random.integers(5)])
            elif kind >= 7:
                self.browser.run("""const inputs = document.querySelectorAll('#list tbody input');
                    inputs[Math.floor(arguments[0] * inputs.length)]?.click()""", float(random.random()))
            step += 1
            if step % 10 == 0:
                self.browser.settle()
                self.expect_shown(held, f'after {step} steps')
                self.assertEqual(self.browser.errors(), [])

    def expect_shown(self, held, when):
        """The table has what is held; the map is that of the row that is chosen, in the direction that is."""
        rows = self.browser.run("""return [...document.querySelectorAll('#list tbody tr')].map(
            row => [row.cells[2].textContent, row.querySelector('[type=radio]').checked, row.cells[3].textContent])""")
        self.assertEqual([row[0] for row in rows], held, when)
        [chosen] = [row for row in rows if row[1]] or [None]
        self.assertEqual(chosen is None, not held, when)
        is_hidden, title, notices = self.browser.run("""return [document.querySelector('#map').hidden,
            document.querySelector('#map h2').textContent, document.querySelector('#notices').textContent]""")
        self.assertNotIn('went wrong', notices, when)
        self.assertEqual(is_hidden, chosen is None or chosen[2] == 'refused', when)
        if not is_hidden:
            self.assertIn(chosen[0], title, when)
            direction, ratio = self.browser.run("""return [document.querySelector('[name=direction]:checked').value,
                                                           document.querySelector('#ratio').value]""")
            if ratio in ('1', '2', '8'):
                self.assertTrue(title.startswith(f'{direction.capitalize()}ion map'), (title, when))
            else:
                self.assertFalse(self.browser.is_shown('#map .result'), when)
            ticked = self.browser.run("return document.querySelectorAll('[name=compared]:checked').length")
            self.assertEqual(self.browser.is_shown('#comparison'), ticked == 2 or len(held) == 2, when)

    # ---- The page itself ---------------------------------------------------------------------------------------

    def test_takes_files_that_are_dropped(self):
        self.browser.drop({'dropped.bin': self.image})
        self.browser.wait("document.querySelectorAll('.card').length")
        self.browser.settle()
        self.assertIn('dropped.bin', self.browser.text('.card h2'))
        self.expect_map_as_native(self.lens, 'undistort')

    def test_takes_a_folder_that_is_dropped(self):
        """All files in it, also where there are more than a browser tells of at a time, under their paths."""
        if self.name != 'chromium':
            self.skipTest('nothing but the tools of Chromium drops what is on the disk')
        os.makedirs(self.path('folder/inner'), exist_ok=True)
        names = [f'folder/{i}.bin' for i in range(105)] + ['folder/inner/lens.bin']
        for name in names:
            self.write(name, self.image[:9])
        data = {'items': [], 'files': [self.path('folder')], 'dragOperationsMask': 1}
        for kind in ('dragEnter', 'dragOver', 'drop'):
            self.browser.devtools('Input.dispatchDragEvent', type=kind, x=300, y=300, data=data)
        self.browser.wait("document.querySelectorAll('#list tbody tr').length >= 106", 15)
        self.browser.settle()
        self.assertEqual(sorted(row[0] for row in self.rows()), sorted(names))
        self.assertFalse(self.browser.run("return document.body.classList.contains('is-dragging')"))

    def test_does_without_a_worker(self):
        self.browser.open(first='delete window.Worker')
        self.assertEqual(self.browser.run('return document.documentElement.dataset.worker'), 'false')
        self.browser.add(self.lens)
        self.expect_map_as_native(self.lens, 'undistort')

    def test_needs_and_reaches_no_network(self):
        self.browser.add(self.lens)
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').map(e => e.name)"
                                          ".filter(name => !name.startsWith('blob:'))"), [])
        self.browser.run("""
            document.addEventListener('securitypolicyviolation', e => window.refused = e.effectiveDirective);
            fetch('http://localhost:9/').catch(() => {})""")
        self.assertEqual(self.browser.wait('window.refused'), 'connect-src')
        self.assertEqual([error for error in self.browser.errors() if not re.match('.*Content.Security.Policy', error)], [])

    def test_names_all_that_can_be_focused(self):
        board = self.path('board.png')
        self.native.run('pattern', '-o', board)
        self.browser.add(self.lens, self.write('second.bin', self.image), board)
        # Only one browser tells what it tells a screen reader.
        nodes = self.browser.devtools('Accessibility.getFullAXTree')['nodes'] if self.name == 'chromium' else []
        nameless = []
        for node in nodes:
            is_focusable = any(p['name'] == 'focusable' and p['value']['value'] for p in node.get('properties', []))
            if (is_focusable or node['role']['value'] in ('img', 'canvas')) and not node.get('ignored') and \
                    not node.get('name', {}).get('value'):
                nameless.append(node['role'])
        self.assertEqual(nameless, [])
        # Tab goes through the page from top to bottom.
        self.browser.run("document.activeElement.blur(); window.scrollTo(0, 0); document.body.focus()")
        visited = []
        for _ in range(60):
            self.browser.type(browser.TAB)
            visited.append(self.browser.run(
                "const e = document.activeElement; return e.id || e.className || e.name || e.tagName"))
            if visited[-1] == 'BODY':
                break
        for name in ('chooser', 'shown', 'direction', 'ratio', 'figure', 'column', 'row', 'save-map', 'divider'):
            self.assertIn(name, visited)
        order = [visited.index(name) for name in ('chooser', 'direction', 'ratio', 'figure', 'save-map', 'divider')]
        self.assertEqual(order, sorted(order))

    def test_fits_a_telephone_both_themes_and_paper(self):
        for width, is_dark in ((360, False), (360, True), (1200, True)):
            self.browser.open(width=width, scale=2 if width == 360 else 1, is_dark=is_dark)
            self.browser.add(self.lens)
            self.assertLessEqual(self.browser.run('return document.documentElement.scrollWidth'), width)
            corner = read_picture(self.browser.save('#map .save-picture'))[0, 0]
            self.assertGreater(corner.mean(), 200)
        if self.name == 'chromium':
            # Paper is light, whatever the screen is.
            self.browser.devtools('Emulation.setEmulatedMedia', media='print',
                                  features=[{'name': 'prefers-color-scheme', 'value': 'dark'}])
            self.browser.wait("""[...document.querySelector('#map canvas').getContext('2d').getImageData(0, 0, 1, 1).data]
                                     .every(part => part > 200)""", 10)
            self.assertEqual(self.browser.run('return getComputedStyle(document.body).backgroundColor'), 'rgb(255, 255, 255)')

    # ---- The library in the browser ----------------------------------------------------------------------------

    def test_computes_the_promised_bits(self):
        found = self.harness('goldenHashes', content(BUILD, 'web', 'golden.wasm'))
        with open(os.path.join(SOURCE, 'tests', 'golden.txt'), encoding='utf-8') as file:
            committed = file.read().splitlines()
        self.assertGreater(len(committed), 60)
        self.assertEqual(found, committed)


class ChromiumTest(PageTest, unittest.TestCase):
    name = 'chromium'


class FirefoxTest(PageTest, unittest.TestCase):
    name = 'firefox'


if __name__ == '__main__':
    unittest.main()
