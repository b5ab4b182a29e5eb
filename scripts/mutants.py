"""Puts faults into copies of the tree, one at a time, and says which of them the tests do not notice.
mutants.sh says how it is called."""
import concurrent.futures
import glob
import os
import queue
import re
import resource
import shutil
import signal
import subprocess
import sys
import time
from typing import NamedTuple

PYTHON = '/usr/bin/python3'  # the one that knows the distribution's packages
NATIVE, PAGE = 'build/release', 'build/web'
SECONDS = 300  # of a test, which a fault may keep from ending


class Test(NamedTuple):
    name: str
    targets: list  # of the native build, unless they are the page's
    command: list


class Fault(NamedTuple):
    file: str
    what: str
    first: int  # the characters that it replaces
    behind: int
    text: str

    def __str__(self):
        return f'{self.file}: {self.what}'


def program(name, repeat=1):
    return Test(name, [name], [f'{NATIVE}/tests/{name}', '--gtest_brief=1', '--gtest_fail_fast', f'--gtest_repeat={repeat}'])


def emulated(name, cpu):
    """A test on a processor with other vectors than that of this machine."""
    return program(name)._replace(name=f'{name}_{cpu}', command=['qemu-x86_64', '-cpu', cpu, *program(name).command])


def script(path, *arguments, targets=('calibmap-tool',)):
    return Test(path, list(targets), [PYTHON, '-B', path, *arguments, '-f'])


TOOL = f'{NATIVE}/tools/calibmap'
TOOL_TEST, MAKE_TEST, READERS_TEST = (script(f'tests/{name}_test.py', TOOL) for name in ('tool', 'make', 'readers'))
OUTPUT_TEST = script('tests/output_test.py', TOOL, 'cc')
PYTHON_TEST = script('python/test_calibmap.py', targets=('calibmap-tool', 'calibmap-python'))
PAGE_TEST = script('web/tests/browser_test.py', PAGE, NATIVE, 'ChromiumTest', targets=('calibmap-tool', 'drawing_record'))
INSPECTION, FIGURE, MAKING = map(program, ('inspection_test', 'inspection_figure_test', 'making_test'))
PROGRAM = [TOOL_TEST, MAKE_TEST, OUTPUT_TEST, READERS_TEST]
LANES = [emulated('arithmetic_test', cpu) for cpu in ('qemu64', 'max')]
# The tests that may notice a fault, likeliest first, by the folder that it is in; the longest name counts.
LIBRARY = ('arithmetic', 'calib', 'container', 'distortion', 'spline')
NOTICERS = {
    **dict.fromkeys(LIBRARY,
                    [program(f'{name}_test') for name in ('transcript', 'arithmetic', 'golden', 'grid', 'spline', 'calibration',
                                                          'faults')] + LANES +
                    [program(f'{name}_test') for name in ('hostile_files', 'stacks')] +
                    [program('threads_test', repeat=20)]),  # threads do not meet each time
    'inspection': [INSPECTION, FIGURE, *PROGRAM, PYTHON_TEST],
    'inspection/describe.h': [*PROGRAM, PAGE_TEST],
    'tools': [*PROGRAM, MAKING],
    'tools/making': [MAKING, MAKE_TEST, READERS_TEST, TOOL_TEST],
    'tools/output.cpp': [OUTPUT_TEST, TOOL_TEST, MAKE_TEST],
    'python': [PYTHON_TEST],
    'web': [PAGE_TEST],
}


def folder_of(file):
    return max((folder for folder in NOTICERS if file == folder or file.startswith(folder + '/')), key=len)


def noticers(fault):
    """The tests that may notice a fault. Of the page's, which take long, the one that is named behind it comes first."""
    tests = NOTICERS[folder_of(fault.file)]
    named = re.search(r'\((test_\w+)\)$', fault.what)
    return [test._replace(command=[*test.command, '-k', named[1]]) for test in tests if named] + tests


def read(path):
    with open(path, encoding='utf-8', newline='') as file:
        return file.read()


def write(path, text):
    with open(path, 'w', encoding='utf-8', newline='') as file:
        file.write(text)


def planted(word):
    """The entries of all lists that hold a word. One begins with a line "FILE: what the fault is"; the text that is
    replaced follows, each line of it behind "- ", and what takes its place behind "+ "."""
    faults, wrong = [], []
    for name in sorted(glob.glob('scripts/mutants/*.txt')):
        for entry in re.findall(r'^(?![-+#])(\S+): (.*)\n((?:- .*\n)+)((?:\+.*\n)*)', read(name), re.MULTILINE):
            file, what = entry[:2]
            if word not in f'{file}: {what}':
                continue
            old, new = (re.sub(r'^[-+] ?', '', text, flags=re.MULTILINE)[:-1] for text in entry[2:])
            content = read(file) if os.path.exists(file) else ''
            if content.count(old) != 1:
                wrong.append(f'{file}: {what}: its text is not there once')
            else:
                first = content.index(old)
                faults.append(Fault(file, what, first, first + len(old), new))
    return faults, wrong


def run(command, log, seconds=None, **options):
    """The status of a command; it and all that it has started are ended when its time is over."""
    with open(log, 'w', encoding='utf-8') as output:
        with subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                              start_new_session=True, **options) as process:
            try:
                return process.wait(seconds)
            except subprocess.TimeoutExpired:
                return -signal.SIGALRM
            finally:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass


def build(tree, targets, with_page):
    """Whether the copy compiles."""
    return (run(['cmake', '--build', f'{tree}/{NATIVE}', '--target', *targets, '--', '--quiet'], f'{tree}.build.log') == 0 and
            (not with_page or run(['cmake', '--build', f'{tree}/{PAGE}', '--', '--quiet'], f'{tree}.build.log') == 0))


def notices(tree, test):
    """What of a test fails in the copy, or nothing."""
    def limits():
        # A fault may ask for everything. Chromium reserves more than there is, and is given huge files that hold nothing.
        if test.name != PAGE_TEST.name:
            resource.setrlimit(resource.RLIMIT_AS, (4 << 30, 4 << 30))
            resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
        # What runs behind a shell ignores them, and so would the programs that are tested.
        for number in (signal.SIGINT, signal.SIGQUIT):
            signal.signal(number, signal.SIG_DFL)
    temporary = os.path.abspath(f'{tree}.tmp')
    shutil.rmtree(temporary, ignore_errors=True)
    os.makedirs(temporary)
    environment = {**os.environ, 'TMPDIR': temporary, 'PYTHONPATH': f'{NATIVE}/python', 'CALIBMAP_TOOL': TOOL}
    status = run(test.command, f'{tree}.test.log', SECONDS, cwd=tree, env=environment, preexec_fn=limits)
    if status == 0:
        return None
    with open(f'{tree}.test.log', encoding='utf-8', errors='replace') as log:
        failed = re.search(r'^(?:(?:FAIL|ERROR): |\[  FAILED  \] )([\w./]+)', log.read(), re.MULTILINE)
    return f'{os.path.basename(test.name)}{" " + failed[1] if failed else ""}' + (' (status %d)' % status if status < 0 else '')


def set_up(tree, with_page=False):
    """Brings a copy up to date, whatever the last run left in it; returns whether it can be built."""
    listed = subprocess.run(['git', 'ls-files', '-z', '--cached', '--others', '--exclude-standard'], check=True, capture_output=True)
    for file in listed.stdout.decode().split('\0'):
        if os.path.isfile(file) and not (os.path.exists(f'{tree}/{file}') and read_bytes(file) == read_bytes(f'{tree}/{file}')):
            os.makedirs(os.path.dirname(f'{tree}/{file}'), exist_ok=True)
            shutil.copy(file, f'{tree}/{file}')
    # What is measured is whether a test fails: it may be slow, and need not be linked again for a library of its own.
    options = ['-DCMAKE_BUILD_TYPE=Release', '-DCMAKE_CXX_FLAGS_RELEASE=-O1', '-DCMAKE_LINK_DEPENDS_NO_SHARED=ON',
               '-DCMAKE_EXPORT_COMPILE_COMMANDS=ON']
    return run(['cmake', '-S', tree, '-B', f'{tree}/{NATIVE}', '-G', 'Ninja', *options], f'{tree}.build.log') == 0 and (
        not with_page or run(['cmake', '--preset', 'web'], f'{tree}.build.log', cwd=tree) == 0)


def prepare(tree, tests, all_tests):
    """Builds a copy and tries tests without a fault; returns what is wrong."""
    with_page = PAGE_TEST in all_tests
    targets = sorted({target for test in all_tests for target in test.targets})
    if not set_up(tree, with_page) or not build(tree, targets, with_page):
        return f'{tree} is not built, see {tree}.build.log'
    failed = [f'{notice} fails without a fault' for test in tests if (notice := notices(tree, test))]
    return '; '.join(failed)


def read_bytes(path):
    with open(path, 'rb') as file:
        return file.read()


def attempt(tree, fault):
    """What notices a fault; nothing where it survives."""
    content = read(fault.file)
    write(f'{tree}/{fault.file}', content[:fault.first] + fault.text + content[fault.behind:])
    try:
        for test in noticers(fault):
            if not build(tree, test.targets, test.name == PAGE_TEST.name):
                return 'does not compile'
            if notice := notices(tree, test):
                return 'noticed by ' + notice
        return 'SURVIVES'
    finally:
        write(f'{tree}/{fault.file}', content)


def attempts(faults):
    """Tries faults in as many copies as there are processors; yields each with what has become of it."""
    # What takes longest first, so that no processor waits at the end.
    faults = sorted(faults, key=lambda fault: not fault.file.startswith('web/'))
    tests = list({test.name: test for fault in faults for test in NOTICERS[folder_of(fault.file)]}.values())
    count = os.cpu_count() or 1
    trees = queue.Queue()
    with concurrent.futures.ThreadPoolExecutor(count) as workers:
        names = [f'build/mutants/{number}' for number in range(count)]
        for name in names:
            os.makedirs(name, exist_ok=True)
        wrong = [text for text in workers.map(lambda i: prepare(names[i], tests[i::count], tests), range(count)) if text]
        if wrong:
            raise SystemExit('\n'.join(wrong))
        for name in names:
            trees.put(name)

        def work(fault):
            tree, began = trees.get(), time.monotonic()
            try:
                return fault, attempt(tree, fault), time.monotonic() - began
            finally:
                trees.put(tree)
        done = concurrent.futures.as_completed([workers.submit(work, fault) for fault in faults])
        for number, future in enumerate(done, 1):
            fault, outcome, seconds = future.result()
            print(f'{number} of {len(faults)}, {fault}: {outcome} ({seconds:.0f} s)', file=sys.stderr, flush=True)
            yield fault, outcome


def try_planted(word):
    """Every fault of the lists is to be noticed."""
    began = time.monotonic()
    faults, wrong = planted(word)
    outcomes = list(attempts(faults))
    survivors = sorted(str(fault) for fault, outcome in outcomes if outcome == 'SURVIVES')
    wrong += [f'{fault}: {outcome}' for fault, outcome in outcomes if outcome == 'does not compile']
    for area in sorted({area_of(fault.file) for fault in faults}):
        print(f'{area}: {sum(area_of(fault.file) == area for fault in faults)} planted')
    print(f'{len(faults)} planted faults in {(time.monotonic() - began) / 60:.0f} minutes: {len(survivors)} survive, '
          f'{len(wrong)} wrong entries')
    for line in survivors + wrong:
        print('  ' + line)
    return not survivors and not wrong


def area_of(file):
    area = folder_of(file).split('/')[0]
    return area if area in ('inspection', 'tools', 'python', 'web') else 'library'


if __name__ == '__main__':
    sys.exit(0 if try_planted(*sys.argv[1:2] or ['']) else 1)
