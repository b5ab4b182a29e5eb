"""Reads calibration files and computes distortion maps with the calibmap library.

    import calibmap

    camera = calibmap.intrinsics("stereoParams.bin").main
    x, y = calibmap.maps("stereoParams.bin", "undistort", ratio=2)

A refused file raises CalibrationError, whose `status` says why. Threads may call at once, and compute
at once: the interpreter is free while the library works.
"""

import ctypes
import enum
import operator
import os
from typing import Literal, NamedTuple, SupportsIndex

import numpy
import numpy.typing

from ._library import FILE_SIZE, PASS_FLAG, Camera, FileImage, Map, library
from ._version import __version__

__all__ = [
    "AnyPath",
    "CalibrationError",
    "Cameras",
    "Extrinsics",
    "Intrinsics",
    "Status",
    "__version__",
    "extrinsics",
    "intrinsics",
    "maps",
]

AnyPath = str | bytes | os.PathLike[str] | os.PathLike[bytes]


class Status(enum.IntEnum):
    """Why the library refuses a file or a request, by its own codes."""

    BAD_ARGUMENT = 1
    FILE_MISSING = 4
    STEP_FAILED = 7
    FILE_UNREADABLE = 8
    CHECKSUM_WRONG = 9
    NOT_PASSED = 10
    VECTOR_LEAK = 11
    MATRIX_LEAK = 12
    UNSUPPORTED = 13


_MESSAGES = {
    Status.BAD_ARGUMENT: "the request makes no sense",
    Status.FILE_MISSING: "there is no such file",
    Status.STEP_FAILED: "the map cannot be computed",
    Status.FILE_UNREADABLE: f"the file cannot be read or is shorter than {FILE_SIZE} bytes",
    Status.CHECKSUM_WRONG: "a checksum of the file is wrong",
    Status.NOT_PASSED: "the device did not pass its calibration: the file's pass flag is not 1",
    Status.VECTOR_LEAK: "the count of live vectors is not what it has to be",
    Status.MATRIX_LEAK: "the count of live matrices is not what it has to be",
    Status.UNSUPPORTED: "there is no such kind of map",
}

_DIRECTIONS = {"distort": 1, "undistort": 2}
_MOST_SAMPLES = 2**28 - 1  # of a map that the library computes


class CalibrationError(Exception):
    """The library refused a file or a request."""

    def __init__(self, path: AnyPath, status: int) -> None:
        super().__init__(path, status)
        self.path = path
        self.status = Status(status)

    @property
    def message(self) -> str:
        """What the status means."""
        return _MESSAGES[self.status]

    def __str__(self) -> str:
        return f"{os.fsdecode(self.path)}: {self.message} (status {self.status.value})"


class Intrinsics(NamedTuple):
    """One camera; lengths in pixels."""

    width: int
    height: int
    cx: float
    cy: float
    fx: float
    fy: float
    coeff: tuple[int, ...]  #: six 32-bit words, which the library never interprets


class Cameras(NamedTuple):
    """The parameters of both cameras."""

    main: Intrinsics
    sub: Intrinsics


class Extrinsics(NamedTuple):
    """What relates the two cameras, which the library never interprets."""

    first: bytes
    second: int
    third: int


def intrinsics(path: AnyPath) -> Cameras:
    """The parameters of both cameras."""
    image = _verified_image(path)
    return Cameras(
        _intrinsics(library.extractMainCameraIntrn(image)),
        _intrinsics(library.extractSubCameraIntrn(image)),
    )


def extrinsics(path: AnyPath) -> Extrinsics:
    """The record that relates the two cameras."""
    record = library.extractCameraExteral(_verified_image(path))
    return Extrinsics(bytes(record.first), record.second, record.third)


def maps(
    path: AnyPath,
    direction: Literal["undistort", "distort"] = "undistort",
    ratio: SupportsIndex = 1,
) -> numpy.typing.NDArray[numpy.float32]:
    """A map of the main camera, of shape (2, rows, columns): x (column), then y (row).

    `ratio` is 1 or a positive even number of pixels. Position (r, c) holds the fractional column and
    row, in samples of the same grid, that the sample in row r and column c is taken to. Where a file is
    sound and its model is not, the library says more on the process's standard output.
    """
    choices = " or ".join(map(repr, _DIRECTIONS))
    if not isinstance(direction, str):
        raise TypeError(f"direction must be {choices}, not of type {type(direction).__name__}")
    if direction not in _DIRECTIONS:
        raise ValueError(f"direction must be {choices}, not {direction!r}")
    pixels = operator.index(ratio)
    if pixels != 1 and (pixels % 2 != 0 or not 0 < pixels < 2**31):
        raise ValueError(f"ratio must be 1 or a positive even number, not {pixels}")
    camera = intrinsics(path).main
    rows, columns = max(camera.height, 0) // pixels, max(camera.width, 0) // pixels
    if not 0 < rows * columns <= _MOST_SAMPLES:
        raise CalibrationError(path, Status.STEP_FAILED)
    result = numpy.empty((2, rows, columns), numpy.float32)
    x, y = (plane.ctypes.data_as(ctypes.POINTER(ctypes.c_float)) for plane in result)
    status = library.doDistortionProcess(
        _name(path), _DIRECTIONS[direction], pixels, None, Map(x, y, rows, columns)
    )
    if status != 0:
        raise CalibrationError(path, status)
    return result


def _name(path: AnyPath) -> bytes:
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("a path cannot hold a null byte")
    return name


def _verified_image(path: AnyPath) -> ctypes.Array[ctypes.c_uint8]:
    """The content of a file that the services accept.

    Piece by piece, because these pieces print nothing, and each says what is wrong.
    """
    name = _name(path)
    image = FileImage()
    if library.isFileExists(name) != 0:
        raise CalibrationError(path, Status.FILE_MISSING)
    if library.readCalibrationDataC(name, image) != 0:
        raise CalibrationError(path, Status.FILE_UNREADABLE)
    if library.checksumTest(image) != 0:
        raise CalibrationError(path, Status.CHECKSUM_WRONG)
    if image[PASS_FLAG] != 1:
        raise CalibrationError(path, Status.NOT_PASSED)
    return image


def _intrinsics(camera: Camera) -> Intrinsics:
    return Intrinsics(
        camera.width, camera.height, camera.cx, camera.cy, camera.fx, camera.fy, tuple(camera.coeff)
    )
