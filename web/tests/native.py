"""The same questions put to the native library and its program, each in a process of its own."""
import json
import os
import re
import subprocess
import sys

ASK = '''
import ctypes, sys
library, path, flag, ratio, rows, cols = sys.argv[1], sys.argv[2], *map(int, sys.argv[3:])
calibmap = ctypes.CDLL(library)
(ctypes.c_char * 33).in_dll(calibmap, 'calibin').value = path.encode()
class Map(ctypes.Structure):
    _fields_ = [('x', ctypes.c_void_p), ('y', ctypes.c_void_p), ('rows', ctypes.c_int32), ('cols', ctypes.c_int32)]
planes = [ctypes.create_string_buffer(4 * rows * cols) for _ in 'xy'] if 0 < rows * cols < 1 << 24 else None
at = [ctypes.addressof(plane) for plane in planes] if planes else [None, None]
print('STATUS', calibmap.DistortionProcess(flag, ratio, None, ctypes.byref(Map(*at, rows, cols))), flush=True)
'''


class Native:
    """`build` is the folder of the native build."""

    def __init__(self, build):
        self.library = os.path.join(build, 'libcalibmap.so')
        self.program = os.path.join(build, 'tools', 'calibmap')
        self.drawing_record = os.path.join(build, 'tests', 'drawing_record')

    def ask(self, path, flag, ratio=1, rows=1, cols=1):
        """Status and printed lines of one request for the file at a path of at most 32 characters."""
        words = [sys.executable, '-c', ASK, self.library, path, flag, ratio, rows, cols]
        done = subprocess.run([str(word) for word in words], stdout=subprocess.PIPE, text=True, check=True)
        lines = done.stdout.split('\n')[:-1]
        status = [line for line in lines if line.startswith('STATUS ')]
        return int(status[0].split()[1]), sorted(set(lines) - set(status), key=lines.index)

    def check(self, path):
        """What `calibmap check` finds, as programs get it; and as 'line' what people read behind name and status."""
        def output(*options):
            return subprocess.run([self.program, 'check', *options, path], stdout=subprocess.PIPE, text=True,
                                  check=False).stdout
        line = output().removeprefix(path + ': ').strip()
        return {**json.loads(output('--json')), 'line': re.sub(r'^.*?, status \d+[:,] ', '', line)}

    def run(self, *arguments, status=0):
        """Standard output of the program."""
        done = subprocess.run([self.program, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                              check=False)
        if done.returncode != status:
            raise AssertionError(f'{arguments}: {done.returncode} {done.stdout} {done.stderr}')
        return done.stdout
