"""The package, wherever it is installed, against the program, which CALIBMAP_TOOL names."""

import concurrent.futures
import json
import os
import pickle
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import unittest.mock

import numpy

import calibmap

try:
    import cv2
except ImportError:
    cv2 = None

TOOL = os.environ["CALIBMAP_TOOL"]
PACKAGE = os.path.dirname(os.path.abspath(calibmap.__file__))
LIBRARY = os.path.join(PACKAGE, "libcalibmap.so.1")
HEADER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "calibmap.h")
SAMPLE = "--width 322 --height 246 --fx 210 --fy 215 --cx 159 --cy 124"

MESSAGES = {
    1: "the request makes no sense",
    4: "there is no such file",
    7: "the map cannot be computed",
    8: "the file cannot be read or is shorter than 6268 bytes",
    9: "a checksum of the file is wrong",
    10: "the device did not pass its calibration: the file's pass flag is not 1",
    11: "the count of live vectors is not what it has to be",
    12: "the count of live matrices is not what it has to be",
    13: "there is no such kind of map",
}


def tool(*arguments):
    return subprocess.run([TOOL, *arguments], check=True, capture_output=True).stdout


def python(program, *arguments, package=PACKAGE, **environment):
    """Runs a program of its own with the package; the environment wins over this one's."""
    return subprocess.run(
        [sys.executable, "-B", "-c", program, *arguments],
        env={**os.environ, "PYTHONPATH": os.path.dirname(package), **environment},
        capture_output=True,
        text=True,
    )


def header():
    with open(HEADER, encoding="utf-8") as source:
        return source.read()


class Reader(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = folder.name
        # Longer than the library's own path may be, and not ASCII.
        cls.file = os.path.join(cls.folder, "Kalibrierung für das vordere Kamerapaar.bin")
        tool("sample", *SAMPLE.split(), "-o", cls.file)

    def changed(self, changes):
        """A copy of the file with numbers added to the bytes at some offsets."""
        with open(self.file, "rb") as source:
            content = bytearray(source.read())
        for offset, change in changes.items():
            content[offset] = (content[offset] + change) % 256
        name = os.path.join(self.folder, f"changed-{min(changes)}.bin")
        with open(name, "wb") as target:
            target.write(content)
        return name

    def test_cameras(self):
        told = json.loads(tool("info", "--json", self.file))
        cameras = calibmap.intrinsics(self.file)
        for camera, name in ((cameras.main, "mainCamera"), (cameras.sub, "subCamera")):
            expected = told[name]
            self.assertEqual(
                camera,
                (
                    *(expected[key] for key in ("imageWidth", "imageHeight", "cx", "cy", "fx", "fy")),
                    tuple(int(word, 16) for word in expected["coeff"]),
                ),
            )
        found = calibmap.extrinsics(self.file)
        self.assertEqual(
            found.first + found.second.to_bytes(4, "little") + found.third.to_bytes(4, "little"),
            bytes.fromhex(told["extrinsics"]),
        )

    def test_maps(self):
        for direction in ("undistort", "distort"):
            for ratio in (1, 2, numpy.int64(6)):
                output = os.path.join(self.folder, "map.npy")
                tool("map", self.file, "--direction", direction, "--ratio", str(ratio), "-o", output)
                expected = numpy.load(output)
                found = calibmap.maps(self.file, direction, ratio)
                self.assertEqual(found.dtype, expected.dtype)
                self.assertEqual(found.shape, (2, 246 // ratio, 322 // ratio))
                self.assertEqual(found.tobytes(), expected.tobytes())
        self.assertEqual(
            calibmap.maps(self.file).tobytes(), calibmap.maps(self.file, "undistort", 1).tobytes()
        )

    @unittest.skipIf(cv2 is None, "the distribution's OpenCV is not installed")
    def test_maps_as_opencv_takes_them(self):
        """A picture whose values are its columns, or rows, remapped holds where each value came from."""
        rows, columns = numpy.indices((246, 322), numpy.float32)
        for direction in ("undistort", "distort"):
            x, y = calibmap.maps(self.file, direction)
            inside = (x >= 0) & (x <= 321) & (y >= 0) & (y <= 245)
            self.assertGreater(numpy.count_nonzero(inside), 50000)
            for picture, expected in ((columns, x), (rows, y)):
                found = cv2.remap(picture, x, y, cv2.INTER_LINEAR)
                # OpenCV takes positions to 32nds of a pixel.
                self.assertLess(numpy.abs(found - expected)[inside].max(), 1 / 60)

    def refused_files(self):
        """Files with the status of each."""
        short = os.path.join(self.folder, "short.bin")
        with open(short, "wb") as target:
            target.write(bytes(6267))
        return (
            (os.path.join(self.folder, "missing.bin"), 4),
            (self.folder, 8),
            (short, 8),
            (self.changed({100: 1}), 9),
            (self.changed({1: -1, 6267: 1}), 10),  # the pass flag, and the checksum of it
        )

    def test_refusals(self):
        for name, status in self.refused_files():
            for request in (calibmap.intrinsics, calibmap.extrinsics, calibmap.maps):
                with self.assertRaises(calibmap.CalibrationError) as caught:
                    request(name)
                self.assertEqual(caught.exception.status, status)
                self.assertIn(name, str(caught.exception))
                self.assertEqual(
                    str(caught.exception), f"{name}: {MESSAGES[status]} (status {status})"
                )
                again = pickle.loads(pickle.dumps(caught.exception))
                self.assertEqual(
                    (again.path, repr(again.status)), (name, repr(calibmap.Status(status)))
                )
        # Byte 20 is the highest of the image's height; the checksum behind the block makes up for it.
        huge = self.changed({20: 0x10, 4125: -0x10})
        self.assertEqual(calibmap.intrinsics(huge).main.height, 246 + 0x10000000)
        # An order that the models do not have, of which only the library's computation tells.
        order = self.changed({97: -2, 4125: 2})
        for name, ratio in ((os.fsencode(self.file), 248), (huge, 1), (order, 1)):
            with self.assertRaises(calibmap.CalibrationError) as caught:
                calibmap.maps(name, ratio=ratio)
            self.assertEqual(caught.exception.status, calibmap.Status.STEP_FAILED)
            self.assertTrue(str(caught.exception).startswith(os.fsdecode(name) + ": the map cannot"))
        for arguments in (("sideways",), ("distort", 0), ("distort", 3), ("distort", 2**31)):
            with self.assertRaises(ValueError):
                calibmap.maps(self.file, *arguments)
        with unittest.mock.patch("calibmap._MOST_SAMPLES", 246 * 322):
            calibmap.maps(self.file)
        with unittest.mock.patch("calibmap._MOST_SAMPLES", 246 * 322 - 1):
            self.assertRaises(calibmap.CalibrationError, calibmap.maps, self.file)
        with self.assertRaises(ValueError):
            calibmap.maps(self.file + "\0")
        with self.assertRaisesRegex(TypeError, "'undistort', not of type list"):
            calibmap.maps(self.file, ["undistort"])

    def test_what_the_header_says(self):
        version = re.findall(r"#define CALIBMAP_VERSION_[A-Z]+ (\d+)", header())
        self.assertEqual(calibmap.__version__, ".".join(version))
        codes = re.search(r"enum \{\s*(CALIBMAP_SUCCESS = 0.*?)\}", header(), re.DOTALL)[1]
        expected = {name: int(code) for name, code in re.findall(r"CALIBMAP_(\w+) = (\d+)", codes)}
        self.assertEqual(expected.pop("SUCCESS"), 0)
        self.assertEqual({status.name: status.value for status in calibmap.Status}, expected)
        for status in calibmap.Status:
            error = calibmap.CalibrationError("", status.value)
            self.assertEqual((error.message, repr(error.status)), (MESSAGES[status], repr(status)))

    def test_standard_output_belongs_to_the_program(self):
        """Refusals print nothing, and what other threads print meanwhile comes through."""
        program = (
            "import calibmap, os, sys, threading\n"
            "def write():\n"
            "    for i in range(5000): os.write(1, b'line %d\\n' % i)\n"
            "thread = threading.Thread(target=write)\n"
            "thread.start()\n"
            "for _ in range(20):\n"
            "    calibmap.maps(sys.argv[1])\n"
            "    for name in sys.argv[2:]:\n"
            "        try: calibmap.maps(name)\n"
            "        except calibmap.CalibrationError: pass\n"
            "thread.join()\n"
        )
        ran = python(program, self.file, *(name for name, _ in self.refused_files()))
        self.assertEqual(ran.stderr, "")
        self.assertEqual(ran.stdout, "".join(f"line {i}\n" for i in range(5000)))

    def test_threads(self):
        expected = calibmap.maps(self.file).tobytes()
        with concurrent.futures.ThreadPoolExecutor(4) as threads:
            found = list(threads.map(calibmap.maps, [self.file] * 100))
        self.assertEqual([map.tobytes() == expected for map in found], [True] * 100)

    def test_where_the_library_is_looked_for(self):
        program = "import calibmap; print(calibmap._library.library._name)"
        package = os.path.join(self.folder, "calibmap")
        shutil.copytree(PACKAGE, package, ignore=shutil.ignore_patterns("*.so*", "__pycache__"))
        beside = os.path.join(package, "libcalibmap.so.1")
        system = os.path.join(self.folder, "system")
        os.mkdir(system)
        other = shutil.copy(LIBRARY, os.path.join(system, "other.so"))

        refused = python(program, package=package, LD_LIBRARY_PATH="", CALIBMAP_LIBRARY="/")
        self.assertIn("ImportError: no calibmap library", refused.stderr)
        shutil.copy(LIBRARY, os.path.join(system, "libcalibmap.so.1"))
        for environment, expected in (
            ({"LD_LIBRARY_PATH": system, "CALIBMAP_LIBRARY": ""}, "libcalibmap.so.1"),
            ({"LD_LIBRARY_PATH": system, "CALIBMAP_LIBRARY": other}, other),
        ):
            found = python(program, package=package, **environment)
            self.assertEqual((found.stdout.strip(), found.stderr), (expected, ""))
        shutil.copy(LIBRARY, beside)
        for chosen in ("", other):
            found = python(program, package=package, LD_LIBRARY_PATH=system, CALIBMAP_LIBRARY=chosen)
            self.assertEqual(found.stdout.strip(), chosen or beside)


if __name__ == "__main__":
    unittest.main()
