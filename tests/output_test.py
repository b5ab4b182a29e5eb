#!/usr/bin/env python3
"""Tests of how the calibmap program reads and writes files: output_test.py PROGRAM COMPILER"""
import os
import resource
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

COMPILER = sys.argv.pop(2)
PROGRAM = os.path.abspath(sys.argv.pop(1))
NOBODY = 65534
# Every signal that ends a program and can be caught, but for SIGXFSZ: the program is told of files that
# grow too large in another way.
ENDING = [number for number in sorted(signal.valid_signals())
          if number not in (signal.SIGKILL, signal.SIGSTOP, signal.SIGCHLD, signal.SIGCONT, signal.SIGTSTP,
                            signal.SIGTTIN, signal.SIGTTOU, signal.SIGURG, signal.SIGWINCH, signal.SIGXFSZ)]
# Faults of the program itself, which the sanitizers want for themselves.
FAULTS = (signal.SIGILL, signal.SIGTRAP, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGSEGV, signal.SIGSYS)
# A system that is interrupted before each write and takes half of it.
SYSTEM = r'''
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

ssize_t write(int file, const void* bytes, size_t size) {
    static int calls;
    ssize_t (*real)(int, const void*, size_t) = dlsym(RTLD_NEXT, "write");
    if (++calls % 2 == 1) {
        close(open("interrupted", O_WRONLY | O_CREAT, 0666));
        errno = EINTR;
        return -1;
    }
    return real(file, bytes, (size + 1) / 2);
}
'''


class OutputTest(unittest.TestCase):

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        os.chdir(self.folder)
        os.chmod('.', 0o755)
        self.run_tool('sample', '-o', 'lens.bin')
        self.run_tool('map', 'lens.bin', '-o', 'map.npy')
        self.calibration, self.map = self.read('lens.bin'), self.read('map.npy')

    def run_tool(self, *arguments, status=0, program=PROGRAM, **options):
        done = subprocess.run([program, *arguments], stdin=options.pop('stdin', subprocess.DEVNULL), stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, check=False, timeout=60, **options)
        self.assertEqual(done.returncode, status, (arguments, done.stderr))
        return done

    def refuse(self, text, *arguments, **options):
        told = self.run_tool(*arguments, status=1, **options).stderr.decode()
        self.assertRegex(told, rf'^calibmap: {text}[^\n]*\n$')

    def read(self, name):
        with open(name, 'rb') as file:
            return file.read()

    def write(self, name, content=b'old', mode=0o644, owner=-1):
        with open(name, 'wb') as file:
            file.write(content)
        os.chown(name, owner, -1)
        os.chmod(name, mode)

    def test_nothing_runs_as_somebody_else(self):
        owners = (os.geteuid(), NOBODY) if os.geteuid() == 0 else (os.geteuid(),)
        for owner in owners:
            for number, mode in enumerate((0o4777, 0o2755, 0o1640, 0o600)):
                for is_shared in (False, True):
                    name = f'{owner}-{number}-{is_shared}'
                    self.write(name, mode=mode, owner=owner)
                    if is_shared:
                        os.link(name, name + ' too')
                    self.run_tool('sample', '-o', name)
                    found = os.stat(name)
                    self.assertEqual((stat.S_IMODE(found.st_mode), found.st_uid, found.st_nlink),
                                     (mode & 0o777, owner, 1 + is_shared), name)
                    self.assertEqual(self.read(name), self.calibration)

    @unittest.skipUnless(os.geteuid() == 0, 'needs two users')
    def test_files_of_others_stay_theirs(self):
        copy = os.path.abspath(shutil.copy(PROGRAM, 'program'))
        library = os.path.join(os.path.dirname(os.path.dirname(PROGRAM)), 'libcalibmap.so.1')
        if os.path.exists(library):
            shutil.copy(library, 'libcalibmap.so.1')
        user = {'program': copy, 'user': NOBODY, 'env': {**os.environ, 'LD_LIBRARY_PATH': self.folder}}
        os.chown('.', NOBODY, -1)
        self.write('open', mode=0o666, content=bytes(9999))
        self.write('closed')
        self.run_tool('sample', '-o', 'open', **user)
        self.assertEqual((os.stat('open').st_uid, self.read('open')), (0, self.calibration))
        self.refuse('closed: cannot be written .Permission denied', 'sample', '-o', 'closed', **user)
        self.assertEqual((os.stat('closed').st_uid, self.read('closed')), (0, b'old'))

    def test_loops_of_links(self):
        os.symlink('b', 'a')
        os.symlink('a', 'b')
        os.symlink('self', 'self')
        for name in ('a', 'self'):
            self.refuse(f'{name}: cannot be written .Too many levels', 'sample', '-o', name)
        self.assertTrue(os.path.islink('a') and os.path.islink('b') and os.path.islink('self'))
        self.assertEqual(len(os.listdir('.')), 5)

    def half_written(self, **options):
        """The program, with one file complete and the other waiting for a reader."""
        os.mkfifo('half-y.pfm')
        process = subprocess.Popen([PROGRAM, 'map', 'lens.bin', '-o', 'half.pfm'], stdout=subprocess.DEVNULL, **options)
        while not any(name.startswith('half-x.pfm.') for name in os.listdir('.')):
            time.sleep(0.002)
        return process

    def test_signals_leave_nothing(self):
        sanitized = b'__asan' in self.read(PROGRAM)
        for number in ENDING:
            if sanitized and number in FAULTS:
                continue
            with self.subTest(signal=number), self.half_written() as process:
                process.send_signal(number)
                process.wait()
                self.assertEqual(process.returncode, -number)
                self.assertEqual([name for name in os.listdir('.') if name.startswith('half')], ['half-y.pfm'])
            os.unlink('half-y.pfm')

    def test_ignored_signals_stay_ignored(self):
        ignored = (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP, signal.SIGTERM, signal.SIGUSR1, signal.SIGALRM, signal.SIGXCPU)
        with self.half_written(preexec_fn=lambda: [signal.signal(number, signal.SIG_IGN) for number in ignored]) as process:
            for number in ignored:
                process.send_signal(number)
            self.assertGreater(len(self.read('half-y.pfm')), 640 * 480 * 4)
        self.assertEqual(process.returncode, 0)
        self.assertGreater(os.path.getsize('half-x.pfm'), 640 * 480 * 4)

    def test_systems_that_interrupt(self):
        self.write('system.c', SYSTEM.encode())
        subprocess.run([COMPILER, '-shared', '-fPIC', '-o', 'system.so', 'system.c', '-ldl'], check=True)
        env = {**os.environ, 'LD_PRELOAD': os.path.abspath('system.so'), 'ASAN_OPTIONS': 'verify_asan_link_order=0'}
        self.write('one.npy')
        os.link('one.npy', 'other.npy')
        for name in ('new.npy', 'one.npy'):
            self.run_tool('map', 'lens.bin', '-o', name, env=env)
            self.assertEqual(self.read(name), self.map)
            os.unlink('interrupted')
        self.assertEqual(self.read('other.npy'), self.map)
        self.assertEqual(self.run_tool('map', 'lens.bin', '-o', '-', env=env).stdout, self.map)

    def test_full_disks_lose_nothing(self):
        # A limit on sizes stands for the disk: the system refuses in the same call.
        limit = {'preexec_fn': lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (10000, 10000))}
        self.write('one.npy')
        os.link('one.npy', 'other.npy')
        self.write('alone.npy')
        for name in ('one.npy', 'alone.npy', 'new.npy'):
            self.refuse(f'{name}: cannot be written .File too large', 'map', 'lens.bin', '-o', name, **limit)
        self.assertEqual([self.read(name) for name in ('one.npy', 'other.npy', 'alone.npy')], [b'old'] * 3)
        self.assertEqual(sorted(os.listdir('.')), ['alone.npy', 'lens.bin', 'map.npy', 'one.npy', 'other.npy'])

    def test_many_at_once(self):
        commands = (['sample', '-o', 'same.npy'], ['map', 'lens.bin', '-o', 'same.npy'], ['check', 'same.npy'])
        self.write('same.npy', self.calibration)
        processes = [subprocess.Popen([PROGRAM, *commands[number % 3]], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                     for number in range(50)]
        for number, process in enumerate(processes):
            told = process.communicate(timeout=60)[1]
            # Who checks what is a map at that moment is told that it is no calibration.
            self.assertIn((process.returncode, told), ((0, b''), (1, b''))[:2 if number % 3 == 2 else 1])
        self.assertIn(self.read('same.npy'), (self.calibration, self.map))
        self.assertEqual(sorted(os.listdir('.')), ['lens.bin', 'map.npy', 'same.npy'])

    def test_inputs_without_an_end(self):
        make = ('make', '-o', 'out.bin')
        for arguments, text in (((*make, '--points', '{}', '--from', 'lens.bin'), '{}: is too long'),
                                ((*make, '--main', '{}', '--points', 'lens.bin'), '{}: is too long'),
                                (('remap', 'lens.bin', '{}', '-o', 'out.png'), '{}: cannot be read as a PNG')):
            for name in ('/dev/zero', '-'):
                with self.subTest(arguments=arguments, name=name), open('/dev/zero', 'rb') as zeros:
                    self.refuse(text.format('standard input' if name == '-' else name),
                                *(word.format(name) for word in arguments), stdin=zeros)
        with open('/dev/zero', 'rb') as zeros:
            self.refuse('standard input, line 1: is longer', 'point', 'lens.bin', stdin=zeros)


if __name__ == '__main__':
    unittest.main()
