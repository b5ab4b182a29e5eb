#!/usr/bin/env python3
"""What the page costs in Chromium: measure.py BUILD NATIVE [map|many|memory]..., all three without a word. A map of
640 x 480 is measured in turns with the native library, and the shortest time of each counts, so that other work on the
machine disturbs little; a thousand files with their differences; two files of 12 megapixels with a photo."""
import base64
import os
import shutil
import subprocess
import sys
import tempfile
import time

from browser import Browser
from images import UNDISTORTION, X_CORRECTION, enlarged, floats, sealed

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


def sample(native, path, *options):
    subprocess.run([os.path.join(native, 'tools', 'calibmap'), 'sample', *options, '-o', path],
                   stdout=subprocess.DEVNULL, check=True)
    return path


def write(folder, name, data):
    path = os.path.join(folder, name)
    with open(path, 'wb') as file:
        file.write(data)
    return path


def measure_map(browser, build, native, folder):
    lens = sample(native, os.path.join(folder, 'lens.bin'))
    browser.open()
    browser.run(content(build, 'web', 'harness.bundle.js').decode())
    module = base64.b64encode(content(build, 'web', 'library.wasm')).decode()
    file = base64.b64encode(content(lens)).decode()
    here, there = [], []
    for _ in range(8):
        here.append(browser.run('return harness.mapTime(...arguments)', module, file, ROWS, COLS))
        words = [sys.executable, '-c', TIME, os.path.join(native, 'libcalibmap.so'), lens, str(ROWS), str(COLS)]
        there.append(float(subprocess.run(words, stdout=subprocess.PIPE, check=True).stdout))
    print(f'{COLS} x {ROWS}: {min(here):.2f} ms in the browser, {min(there):.2f} ms natively, '
          f'ratio {min(here) / min(there):.1f}')


def measure_many(browser, _build, native, folder):
    image = content(sample(native, os.path.join(folder, 'lens.bin')))
    paths = [write(folder, f'{i}.bin', sealed(image, {UNDISTORTION + X_CORRECTION + 120: floats(i / 1e6)}))
             for i in range(1000)]
    browser.open()
    browser.run("""window.tasks = [];
                   new PerformanceObserver(list => tasks.push(...list.getEntries().map(entry => entry.duration)))
                       .observe({type: 'longtask'});""")
    start = time.monotonic()
    browser.add(*paths)
    took = time.monotonic() - start
    print(f'{len(paths)} files with differences: {took:.1f} s, '
          f'tasks of the page above 50 ms: {sorted(map(round, browser.run("return tasks")))[::-1][:8]}')


def print_memory(browser, words):
    sizes = browser.memory()
    print(f'{words}: {sizes["page"]:.0f} MB the page, {sizes["rest"]:.0f} MB the rest of the browser')


def measure_memory(browser, _build, native, folder):
    large = enlarged(content(sample(native, os.path.join(folder, 'lens.bin'))), 6.25)
    paths = [write(folder, 'large.bin', large),
             write(folder, 'other.bin', sealed(large, {UNDISTORTION + X_CORRECTION + 120: floats(0.004)}))]
    photo = os.path.join(folder, 'photo.png')
    subprocess.run([os.path.join(native, 'tools', 'calibmap'), 'pattern', '--width', '4000', '--height', '3000', '-o', photo],
                   stdout=subprocess.DEVNULL, check=True)
    browser.send('browsingContext.navigate', url='about:blank', wait='complete')
    print_memory(browser, 'an empty page')
    browser.open()
    print_memory(browser, 'the page')
    browser.add(paths[0])
    print_memory(browser, 'a file of 12 megapixels')
    browser.add(paths[1])
    print_memory(browser, 'two files of 12 megapixels')
    browser.add(photo)
    print_memory(browser, 'and a photo')
    time.sleep(10)
    print_memory(browser, 'ten seconds later')
    browser.click('#list .clear')
    browser.click('#photo .remove')
    browser.settle()
    time.sleep(5)
    print_memory(browser, 'all of it removed')


def main():
    build, native = map(os.path.abspath, sys.argv[1:3])
    chosen = sys.argv[3:] or ['map', 'many', 'memory']
    folder = tempfile.mkdtemp(dir='/tmp')
    browser = Browser('chromium', os.path.join(build, 'calibmap.html'), folder)
    try:
        for name in chosen:
            {'map': measure_map, 'many': measure_many, 'memory': measure_memory}[name](browser, build, native, folder)
    finally:
        browser.close()
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == '__main__':
    main()
