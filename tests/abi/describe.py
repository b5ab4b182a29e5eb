"""describe.py LIBRARY HEADER: prints the binary interface as text, in an order of its own.

What is built tells the exported names, the size of exported data, the SONAME and the libraries
that are needed; the header, as a compiler reads it, tells constants, records and signatures.
"""

import re
import subprocess
import sys

from clang import cindex
from clang.cindex import CursorKind

# The device and the workstation: one description has to serve both.
TARGETS = ("aarch64-linux-android29", "x86_64-linux-gnu")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def built(library):
    dynamic = output("readelf", "--wide", "--dynamic", library)
    for tag in ("SONAME", "NEEDED"):
        for name in sorted(re.findall(rf"\({tag}\).*\[(.*)\]", dynamic)):
            yield f"{tag} {name}"
    for line in output("nm", "--dynamic", "--defined-only", "--print-size", library).splitlines():
        _, *size, kind, name = line.split()
        # The size of data is part of the interface: a program that is linked at a fixed address
        # holds a copy of it.
        yield f"export {name}" + ("" if kind in "TW" else f" data {int(size[0], 16)} bytes")


def described(header, target):
    arguments = ["-xc", "-std=c99", "-ffreestanding", f"--target={target}"]
    unit = cindex.Index.create().parse(header, arguments)
    problems = [problem for problem in unit.diagnostics if problem.severity > 1]
    if problems:
        sys.exit("\n".join(map(str, problems)))
    for cursor in unit.cursor.get_children():
        if cursor.location.file is None or cursor.location.file.name != header:
            continue
        if cursor.kind == CursorKind.ENUM_DECL:
            for constant in cursor.get_children():
                yield f"constant {constant.spelling} = {constant.enum_value}"
        elif cursor.kind == CursorKind.STRUCT_DECL:
            size, alignment = cursor.type.get_size(), cursor.type.get_align()
            lines = [f"record {cursor.spelling}: {size} bytes, aligned to {alignment}"]
            for field in cursor.type.get_fields():
                offset = cursor.type.get_offset(field.spelling) / 8
                lines.append(f"    {offset:g} {field.spelling}: {canonical(field)}")
            yield "\n".join(lines)
        elif cursor.kind == CursorKind.TYPEDEF_DECL:
            yield f"type {cursor.spelling}: {cursor.type.get_canonical().spelling}"
        elif cursor.kind == CursorKind.FUNCTION_DECL:
            parameters = ", ".join(canonical(parameter) for parameter in cursor.get_arguments())
            result = cursor.result_type.get_canonical().spelling
            yield f"function {cursor.spelling}({parameters}) -> {result}"
        elif cursor.kind == CursorKind.VAR_DECL:
            yield f"datum {cursor.spelling}: {canonical(cursor)}"


def canonical(cursor):
    """The type without typedefs, so that a new spelling of the same type is no change."""
    return cursor.type.get_canonical().spelling


library, header = sys.argv[1:]
facts, other = (list(described(header, target)) for target in TARGETS)
if facts != other:
    sys.exit(f"the interface is not the same on {' and '.join(TARGETS)}")
print("\n".join(sorted(built(library)) + sorted(facts)))
