"""Faults that nobody thought of, made of the sources as Clang reads them: a sample of them is planted as those of the
lists are. mutants.sh says how it is called."""
import concurrent.futures
import json
import os
import random
import re
import shlex
import sys
import time

from clang.cindex import CursorKind, Index

import mutants

LEAST = {'library': 0.9, 'inspection': 0.8, 'tools': 0.8}  # the share that is to be noticed
EQUIVALENTS = 'scripts/equivalent-mutants.txt'
COPY = os.path.abspath('build/mutants/0') + '/'
SWAPS = {'<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '==', '+': '-', '-': '+', '*': '/', '/': '*', '&&': '||',
         '||': '&&', '+=': '-=', '-=': '+=', '*=': '/=', '/=': '*='}
JUMPS = {CursorKind.BREAK_STMT, CursorKind.CONTINUE_STMT}
LITERALS = {CursorKind.INTEGER_LITERAL, CursorKind.FLOATING_LITERAL}
OPERATIONS = {CursorKind.BINARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR}
CONDITIONS = {CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.CONDITIONAL_OPERATOR}


def span(cursor):
    return cursor.extent.start.offset, cursor.extent.end.offset


def operators(cursor, parts, text):
    """Operators that are others, and numbers that are one too large."""
    first, behind = span(cursor)
    if cursor.kind in OPERATIONS and len(parts) == 2:
        first, behind = span(parts[0])[1], span(parts[1])[0]
        sign = re.fullmatch(rb'[\s)]*?([-+*/<>=&|!]+)[\s(]*', text[first:behind])
        if sign and sign[1].decode() in SWAPS:
            yield first + sign.start(1), first + sign.end(1), SWAPS[sign[1].decode()]
    elif cursor.kind == CursorKind.INTEGER_LITERAL and text[first:behind].isdigit():
        yield first, behind, str(int(text[first:behind]) + 1)


def neighbours(cursor, parts, text):
    """Arguments of one type that have changed places, and numbers of the row above."""
    if cursor.kind == CursorKind.CALL_EXPR and text[:span(cursor)[1]].endswith(b')'):
        given = list(cursor.get_arguments())
        for a, b in zip(given, given[1:]):
            (first, middle), (second, behind) = span(a), span(b)
            if a.type.get_canonical().spelling == b.type.get_canonical().spelling and middle <= second:
                yield first, behind, (text[second:behind] + text[middle:second] + text[first:middle]).decode()
    if cursor.kind == CursorKind.INIT_LIST_EXPR:
        for above, row in zip(parts, parts[1:]):
            for a, b in zip(above.get_children(), row.get_children()):
                if a.kind == b.kind and b.kind in LITERALS:
                    yield *span(b), text[slice(*span(a))].decode()


def statements(cursor, parts, text):
    """Statements that are missing, and conditions that are turned round."""
    if cursor.kind == CursorKind.COMPOUND_STMT:
        for part in parts:
            first, behind = span(part)
            if (part.kind.is_expression() or part.kind in JUMPS) and text[behind:behind + 1] == b';':
                yield first, behind, ''
    if cursor.kind in CONDITIONS and parts and parts[0].kind.is_expression():
        first, behind = span(parts[0])
        yield first, behind, f'!({text[first:behind].decode()})'


def made_of(command):
    """The faults of one source and of the headers of ours that it takes in: file, place and what takes it."""
    words = shlex.split(command['command'])
    options = [word for word in words if word.startswith(('-I', '-D', '-std'))]
    options += [word for at, word in enumerate(words) if '-isystem' in (word, words[at - 1])]
    found, texts = set(), {}

    def visit(cursor, name):
        parts = list(cursor.get_children())
        if cursor.kind == CursorKind.STATIC_ASSERT:  # the compiler notices
            return
        for make in (operators, neighbours, statements):
            for first, behind, new in make(cursor, parts, texts[name]):
                # What a macro has written has the place of the macro's name.
                if first < behind and texts[name][first:behind] != new.encode():
                    found.add((name, first, behind, new))
        for part in parts:
            visit(part, name)

    for cursor in Index.create().parse(command['file'], options).cursor.get_children():
        path = cursor.location.file.name if cursor.location.file else ''
        name = path.removeprefix(COPY)
        if name != path and area_of(name) in LEAST:
            if name not in texts:
                with open(name, 'rb') as file:
                    texts[name] = file.read()
            visit(cursor, name)
    return found


def area_of(name):
    folder = name.split('/')[0]
    return 'library' if folder in mutants.LIBRARY else folder


def fault_of(file, first, behind, new):
    content = mutants.read(file).encode()
    begin, end = content.rfind(b'\n', 0, first) + 1, content.find(b'\n', behind)
    lines = (content[begin:end].decode(), content[begin:first].decode() + new + content[behind:end].decode())
    what = ' -> '.join('`%s`' % ' '.join(line.split()) for line in lines)
    return mutants.Fault(file, what, len(content[:first].decode()), len(content[:behind].decode()), new)


def all_faults():
    """All that there are, in an order that is the same everywhere."""
    with open(f'{COPY}{mutants.NATIVE}/compile_commands.json', encoding='utf-8') as database:
        commands = {command['file']: command for command in json.load(database)}
    ours = [command for file, command in commands.items() if area_of(file.removeprefix(COPY)) in LEAST]
    with concurrent.futures.ProcessPoolExecutor() as workers:
        return [fault_of(*place) for place in sorted(set().union(*workers.map(made_of, ours)))]


def try_sample(count, seed, folder=''):
    """Prints the share of a sample's faults that is noticed, and the others by file; whether they are enough."""
    began = time.monotonic()
    os.makedirs(COPY, exist_ok=True)
    mutants.set_up(COPY[:-1])
    equivalent = set(re.findall(r'^(\w.*)\n +\S', mutants.read(EQUIVALENTS), re.MULTILINE))
    chosen = [fault for fault in all_faults() if fault.file.startswith(folder)]
    sample = []
    for area in LEAST:
        faults = [fault for fault in chosen if area_of(fault.file) == area]
        sample += random.Random(seed).sample(faults, min(count // len(LEAST), len(faults)))
    # Not before, so that a seed draws the same ones when more is known of them.
    sample = [fault for fault in sample if str(fault) not in equivalent]
    outcomes = [(fault, outcome) for fault, outcome in mutants.attempts(sample) if outcome != 'does not compile']
    print(f'{len(outcomes)} of {len(chosen)} generated faults, seed {seed}, in {(time.monotonic() - began) / 60:.0f} minutes; '
          f'{len(sample) - len(outcomes)} more do not compile, {len(equivalent)} change nothing')
    enough = True
    for area, least in LEAST.items():
        noticed = [outcome != 'SURVIVES' for fault, outcome in outcomes if area_of(fault.file) == area]
        if noticed:
            enough = enough and sum(noticed) >= least * len(noticed)
            print(f'{area}: {sum(noticed)} of {len(noticed)} noticed, {sum(noticed) / len(noticed):.0%}; '
                  f'at least {least:.0%} are to be')
    for survivor in sorted(str(fault) for fault, outcome in outcomes if outcome == 'SURVIVES'):
        print('  ' + survivor)
    return enough


if __name__ == '__main__':
    sys.exit(0 if try_sample(int(sys.argv[1]), *sys.argv[2:]) else 1)
