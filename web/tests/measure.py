#!/usr/bin/env python3
"""The time of a 640 x 480 map in Chromium beside the native library's: measure.py BUILD NATIVE [ROUNDS]. Both are
measured in turns, and the shortest time of each counts, so that other work on the machine disturbs little."""
import base64
import os
import shutil
import subprocess
import sys
import tempfile

from browser import Browser

ROWS, COLS = 480, 640
TIME = '''
import ctypes, sys, time
calibmap = ctypes.CDLL(sys.argv[1])
(ctypes.c_char * 33).in_dll(calibmap, 'calibin').value = sys.argv[2].encode()
rows, cols = int(sys.argv[3]), int(sys.argv[4])
class Map(ctypes.Structure):
    _fields_ = [('x', ctypes.c_void_p), ('y', ctypes.c_void_p), ('rows', ctypes.c_int32), ('cols', ctypes.c_int32)]
planes = [ctypes.create_string_buffer(4 * rows * cols) for _ in 'xy']
record = Map(*map(ctypes.addressof, planes), rows, cols)
times = []
for _ in range(400):
    start = time.perf_counter()
    assert calibmap.DistortionProcess(2, 1, None, ctypes.byref(record)) == 0
    times.append(time.perf_counter() - start)
print(1000 * min(times))
'''


def content(*path):
    with open(os.path.join(*path), 'rb') as file:
        return file.read()


def main():
    build, native = map(os.path.abspath, sys.argv[1:3])
    rounds = int(sys.argv[3]) if len(sys.argv) > 3 else 8
    folder = tempfile.mkdtemp(dir='/tmp')
    browser = Browser(os.path.join(build, 'calibmap.html'), folder)
    try:
        lens = os.path.join(folder, 'lens.bin')
        subprocess.run([os.path.join(native, 'tools', 'calibmap'), 'sample', '-o', lens], stdout=subprocess.DEVNULL,
                       check=True)
        browser.open()
        browser.run(content(build, 'web', 'harness.bundle.js').decode())
        module = base64.b64encode(content(build, 'web', 'library.wasm')).decode()
        file = base64.b64encode(content(lens)).decode()
        here, there = [], []
        for _ in range(rounds):
            here.append(browser.driver.execute_async_script(
                'const done = arguments[arguments.length - 1];'
                'harness.mapTime(...[...arguments].slice(0, -1)).then(done, e => done(String(e)))',
                module, file, ROWS, COLS))
            words = [sys.executable, '-c', TIME, os.path.join(native, 'libcalibmap.so'), lens, str(ROWS), str(COLS)]
            there.append(float(subprocess.run(words, stdout=subprocess.PIPE, check=True).stdout))
        print(f'{COLS} x {ROWS}: {min(here):.2f} ms in the browser, {min(there):.2f} ms natively, '
              f'ratio {min(here) / min(there):.1f}')
    finally:
        browser.close()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == '__main__':
    main()
