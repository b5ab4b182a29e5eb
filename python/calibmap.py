"""Reads calibration files and computes distortion maps with the calibmap library.

    import calibmap

    camera = calibmap.intrinsics("stereoParams.bin").main
    x, y = calibmap.maps("stereoParams.bin", "undistort", ratio=2)

A refused file raises CalibrationError, which carries the library's status and its own words.

One file on ctypes and NumPy. The library is the one that the environment variable
CALIBMAP_LIBRARY names, else the one that the system's loader finds, else the one beside this file.
"""

import ctypes
import operator
import os
import sys
import tempfile
import threading
from typing import NamedTuple

import numpy

SUCCESS, FILE_MISSING = 0, 4
FILE_CHECK = 3
DIRECTIONS = {"distort": 1, "undistort": 2}


class CalibrationError(Exception):
    """The library refused a file or a request."""

    def __init__(self, path, status, message):
        super().__init__(path, status, message)
        self.path = path
        self.status = status  #: one of the library's codes, such as 9 for a wrong checksum
        self.message = message  #: what the library printed

    def __str__(self):
        return f"{self.path}: status {self.status}: {self.message}"


class Intrinsics(NamedTuple):
    """One camera; lengths in pixels."""

    width: int
    height: int
    cx: float
    cy: float
    fx: float
    fy: float
    coeff: tuple  #: six 32-bit words, which the library never interprets


class Cameras(NamedTuple):
    main: Intrinsics
    sub: Intrinsics


class Extrinsics(NamedTuple):
    """What relates the two cameras, which the library never interprets."""

    first: bytes
    second: int
    third: int


def intrinsics(path):
    """The parameters of both cameras."""
    main, sub, _ = _query(path)
    return Cameras(main, sub)


def extrinsics(path):
    """The record that relates the two cameras."""
    return _query(path)[2]


def maps(path, direction="undistort", ratio=1):
    """A map of the main camera, float32 of shape (2, rows, columns): x (column), then y (row).

    `direction` is "undistort" or "distort"; `ratio` is 1 or a positive even number of pixels.
    """
    if direction not in DIRECTIONS:
        raise ValueError(f"direction must be one of {', '.join(DIRECTIONS)}, not {direction!r}")
    ratio = operator.index(ratio)
    if ratio != 1 and (ratio % 2 != 0 or not 0 < ratio < 2**31):
        raise ValueError(f"ratio must be 1 or a positive even number, not {ratio}")
    camera = intrinsics(path).main
    shape = (max(camera.height, 0) // ratio, max(camera.width, 0) // ratio)
    result = numpy.empty((2, *shape), numpy.float32)
    planes = [plane.ctypes.data_as(ctypes.POINTER(ctypes.c_float)) for plane in result]
    _process(path, DIRECTIONS[direction], ratio, _Map(*planes, *shape))
    return result


# The records of the library's header.


class _Camera(ctypes.Structure):
    _fields_ = [
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("cx", ctypes.c_float),
        ("cy", ctypes.c_float),
        ("fx", ctypes.c_float),
        ("fy", ctypes.c_float),
        ("coeff", ctypes.c_uint32 * 6),
    ]

    def value(self):
        *scalars, words = (getattr(self, name) for name, _ in self._fields_)
        return Intrinsics(*scalars, tuple(words))


class _Arrangement(ctypes.Structure):
    _fields_ = [
        ("first", ctypes.c_uint8 * 16),
        ("second", ctypes.c_uint32),
        ("third", ctypes.c_uint32),
    ]


class _Map(ctypes.Structure):
    _fields_ = [
        ("x", ctypes.POINTER(ctypes.c_float)),
        ("y", ctypes.POINTER(ctypes.c_float)),
        ("rows", ctypes.c_int32),
        ("cols", ctypes.c_int32),
    ]


def _load():
    chosen = os.environ.get("CALIBMAP_LIBRARY")
    if chosen:
        candidates = [chosen]
    else:
        beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "libcalibmap.so")
        candidates = ["libcalibmap.so.1", beside + ".1", beside]
    failures = []
    for candidate in candidates:
        try:
            library = ctypes.CDLL(candidate)
            break
        except OSError as error:
            failures.append(str(error))
    else:
        raise ImportError(
            "the calibmap library is not found, name it in CALIBMAP_LIBRARY: " + "; ".join(failures)
        )
    pointer = ctypes.POINTER
    library.isFileExists.argtypes = [ctypes.c_char_p]
    library.getCameraIntrinsicAndExtrinsic.argtypes = [
        ctypes.c_char_p,
        pointer(_Camera),
        pointer(_Camera),
        pointer(_Arrangement),
    ]
    library.doDistortionProcess.argtypes = [
        ctypes.c_char_p,
        ctypes.c_int32,
        ctypes.c_int32,
        pointer(_Map),
        pointer(_Map),
    ]
    return library


_library = _load()
_c_library = ctypes.CDLL(None)
# The library serves one thread at a time, and standard output is the whole process's.
_lock = threading.Lock()


def _name(path):
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("a path cannot hold a null byte")
    return name


def _query(path):
    main, sub, arrangement = _Camera(), _Camera(), _Arrangement()
    if _library.getCameraIntrinsicAndExtrinsic(_name(path), main, sub, arrangement) != SUCCESS:
        # The query does not say why; the verification does.
        _process(path, FILE_CHECK, 1, _Map())
        raise CalibrationError(path, -1, "the file changed while it was read")
    first = bytes(arrangement.first)
    return main.value(), sub.value(), Extrinsics(first, arrangement.second, arrangement.third)


def _process(path, flag, ratio, points):
    name = _name(path)
    with _lock:
        status, printed = _captured(_library.doDistortionProcess, name, flag, ratio, None, points)
    if status != SUCCESS:
        if _library.isFileExists(name) != SUCCESS:
            status = FILE_MISSING
        raise CalibrationError(path, status, printed)


def _captured(function, *arguments):
    """Calls a function of the library and returns its result and what it printed.

    The library prints through the C library, below Python's own standard output, so the descriptor
    itself is led elsewhere meanwhile.
    """
    if sys.stdout is not None:
        sys.stdout.flush()
    _c_library.fflush(None)
    try:
        standard_output = os.dup(1)
    except OSError:  # it is closed
        return function(*arguments), ""
    try:
        with tempfile.TemporaryFile() as scratch:
            os.dup2(scratch.fileno(), 1)
            result = function(*arguments)
            _c_library.fflush(None)
            scratch.seek(0)
            return result, scratch.read().decode(errors="replace").strip()
    finally:
        os.dup2(standard_output, 1)
        os.close(standard_output)
