#!/usr/bin/env python3
"""What `calibmap` does with calibrations and points that nobody means well: readers_test.py PROGRAM"""
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

from calibrations import CALIBRATIONS

PROGRAM = os.path.abspath(sys.argv.pop(1))
with open(PROGRAM, 'rb') as program:
    SANITIZED = b'__asan_init' in program.read()
SECONDS, KIBIBYTES = 2, 300 << 10
MEBIBYTE = 1 << 20
ROS = CALIBRATIONS['ros.yaml']['text']
XML = CALIBRATIONS['opencv.xml']['text']
CAMERA = ['--width', '752', '--height', '480', '--fx', '458', '--fy', '457', '--cx', '367', '--cy', '248']


def repeated(part, size=MEBIBYTE):
    return part * (size // len(part))


def doubling(times, width):
    lines = [f'a0: &a0 [{", ".join(["1"] * width)}]']
    lines += [f'a{i}: &a{i} [{", ".join([f"*a{i - 1}"] * width)}]' for i in range(1, times)]
    return '\n'.join(lines) + '\n'


class ReadersTest(unittest.TestCase):

    def setUp(self):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        os.chdir(folder)

    def refuse(self, text, expected, *arguments):
        """One short line that says why, soon and from little memory."""
        with open('input', 'w', encoding='utf-8') as file:
            file.write(text)
        begun = time.monotonic()
        with subprocess.Popen([PROGRAM, 'make', '-o', 'out.bin', *arguments], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as process:
            told = process.stderr.read().decode()
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
        seconds = time.monotonic() - begun
        self.assertEqual(process.returncode, 1, told[:300])
        self.assertRegex(told, rf'^calibmap: input[^\n]*{expected}[^\n]*, [^\n]+\n$')
        self.assertLess(len(told), 500)
        if os.environ.get('CALIBMAP_FIGURES'):
            print(f'{seconds:6.2f} s {usage.ru_maxrss / 1024:6.0f} MiB  {told[:150].strip()}')
        if not SANITIZED:
            self.assertLess(usage.ru_maxrss, KIBIBYTES, told)
            self.assertLess(usage.ru_utime + usage.ru_stime, SECONDS, told)

    def test_calibrations_that_grow(self):
        deep, long, much = 'nested deeper', 'too long', 'holds more than a calibration'
        for text, expected in [
                ('x: &a\n  y: *a\n', 'line 2: an alias stands inside'), ('&a [1, *a]\n', 'line 1: an alias'),
                (doubling(10, 10), 'line [5-6]: ' + much), (doubling(60, 2), 'line 1[0-9]: ' + much),
                # What an alias stands for may be one long word.
                (f'a: &a {"x" * 100000}\nb: [{", ".join(["*a"] * 9999)}]\n', much),
                # An anchor at each level keeps all that is below it once more.
                (repeated('&a [', 100) + '1,' * 100000 + ']' * 25, much),
                (repeated('---\n1\n', 13 * MEBIBYTE), long), (repeated('1,', 16 * MEBIBYTE), long),
                (repeated('---\n1\n'), much), (f'[{repeated("1,")[:-9]}]', much),
                (''.join(f'{i}: 1\n' for i in range(90000)), much), (repeated('- ' * 9 + '1\n'), much),
                (repeated('['), deep), (repeated('{a: '), deep), (repeated('- '), deep), (repeated('? '), deep),
                (repeated('[a: '), deep), ('\n'.join(' ' * i + 'a:' for i in range(1400)), deep),
                ('%YAML:1.0\n' + repeated('[', 9999), 'line 2: is nested deeper'),
                (ROS.replace('640', '6' * (MEBIBYTE - 1000)), "line 1: the image width is '6{19}…6{20}', no finite"),
                (ROS.replace('plumb_bob', 'p' * (MEBIBYTE - 1000)), 'line 8: the distortion model .* is none'),
                (ROS.replace('camera_matrix', 'k' * 1000), "'camera_matrix' is missing"),
                ('&' + repeated('a')[:-9], 'holds|is'), ('*' + repeated('a')[:-9], 'is not YAML'),
                (repeated('!')[:-9], 'is'), (repeated('\t')[:-9], 'is'), (repeated('"')[:-9], 'is|holds'), (repeated("''")[:-9], 'is'),
                ('a: |\n' + repeated(' \n')[:-9], 'is'), (repeated('\\'), 'is'), ('"\\z"', 'is not YAML'), (', a', 'line 1: is not YAML'), (repeated('#\n'), 'is'),
                ('"' + repeated('\\x41')[:-9], 'is not YAML'), ('a: >\n' + repeated('  b\n')[:-9], 'is'), (repeated('a\n')[:-9], 'is'),
                (XML.replace('<rows>', '<rows>' + repeated('<a>')[:-5000], 1), 'is not XML'),
                ('<opencv_storage>' + '<a>' * 50 + '</a>' * 50 + '</opencv_storage>', 'line 1: is ' + deep),
                (f'<opencv_storage>{repeated("<a/>")[:-100]}</opencv_storage>', much),
                (f'<opencv_storage><a>{repeated("1 ")[:-100]}</a></opencv_storage>', much),
                ('<opencv_storage>' + repeated('<a', 900000), 'is not XML'),
                (f'<!DOCTYPE {repeated("[", 900000)}', 'is not XML')]:
            with self.subTest(text[:40]):
                self.refuse(text, expected, '--main', 'input')

    def test_points_that_grow(self):
        for text, expected in [(',' * (60 * MEBIBYTE), 'too long'), (',' * (9 * MEBIBYTE), 'line 1: has 9437184 bytes'),
                               (repeated('1,2,3,4\n'), 'line 100001: is one more'), ('1,2,3,4\n' + '7' * MEBIBYTE, 'line 2: has 1048576 bytes'), (repeated('\n', 9 * MEBIBYTE), 'no pairs'),
                               (repeated('a,b,c,d\n', 9 * MEBIBYTE), 'line 2: is not four'), ('a,b,c,d\n1,2,3,+-4\n', 'line 2: is not four')]:
            with self.subTest(expected):
                self.refuse(text, expected, '--points', 'input', *CAMERA)

    def test_arguments_that_grow(self):
        word = 'x' * 100000
        for arguments in (['info', word], [word], ['info', '--' + word], ['map', 'input', '--ratio', word], ['draw', 'input', '-o', word]):
            told = subprocess.run([PROGRAM, *arguments], capture_output=True, check=False).stderr
            self.assertRegex(told.decode(), '^calibmap: [^\n]{40,9020}\n$')


if __name__ == '__main__':
    unittest.main()
