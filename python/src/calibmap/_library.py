"""The shared library: where it is, and what of its header the package uses.

A wheel and an installation have it beside this file; failing that, the system's loader knows where it
is. The environment variable CALIBMAP_LIBRARY names another one.
"""

import ctypes
import os

FILE_SIZE = 6268
PASS_FLAG = 1
SONAME = "libcalibmap.so.1"

FileImage = ctypes.c_uint8 * FILE_SIZE


class Camera(ctypes.Structure):
    _fields_ = [
        ("width", ctypes.c_int32),
        ("height", ctypes.c_int32),
        ("cx", ctypes.c_float),
        ("cy", ctypes.c_float),
        ("fx", ctypes.c_float),
        ("fy", ctypes.c_float),
        ("coeff", ctypes.c_uint32 * 6),
    ]


class Arrangement(ctypes.Structure):
    _fields_ = [
        ("first", ctypes.c_uint8 * 16),
        ("second", ctypes.c_uint32),
        ("third", ctypes.c_uint32),
    ]


class Map(ctypes.Structure):
    _fields_ = [
        ("x", ctypes.POINTER(ctypes.c_float)),
        ("y", ctypes.POINTER(ctypes.c_float)),
        ("rows", ctypes.c_int32),
        ("cols", ctypes.c_int32),
    ]


def _open() -> ctypes.CDLL:
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), SONAME)
    chosen = os.environ.get("CALIBMAP_LIBRARY")
    if chosen:
        return ctypes.CDLL(chosen)
    # By its name alone it would be found in this folder only with luck, and perhaps another one.
    return ctypes.CDLL(beside if os.path.exists(beside) else SONAME)


def _declare(found: ctypes.CDLL) -> ctypes.CDLL:
    int32 = ctypes.c_int32
    for name, result, arguments in (
        ("isFileExists", int32, [ctypes.c_char_p]),
        ("readCalibrationDataC", int32, [ctypes.c_char_p, FileImage]),
        ("checksumTest", int32, [FileImage]),
        ("extractMainCameraIntrn", Camera, [FileImage]),
        ("extractSubCameraIntrn", Camera, [FileImage]),
        ("extractCameraExteral", Arrangement, [FileImage]),
        (
            "doDistortionProcess",
            int32,
            [ctypes.c_char_p, int32, int32, ctypes.POINTER(Map), ctypes.POINTER(Map)],
        ),
    ):
        function = getattr(found, name)
        function.restype = result
        function.argtypes = arguments
    return found


def _load() -> ctypes.CDLL:
    try:
        return _declare(_open())
    except (OSError, AttributeError) as error:
        raise ImportError(
            f"no calibmap library beside the package or where the system looks for {SONAME};"
            f" CALIBMAP_LIBRARY may name one: {error}"
        ) from error


library = _load()
