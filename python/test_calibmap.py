"""The reader against the program and the library, both named in the environment."""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

import numpy

import calibmap

TOOL = os.environ["CALIBMAP_TOOL"]
LIBRARY = os.environ["CALIBMAP_LIBRARY"]
SAMPLE = "--width 322 --height 246 --fx 210 --fy 215 --cx 159 --cy 124"
HERE = os.path.dirname(os.path.abspath(__file__))


def tool(*arguments):
    return subprocess.run([TOOL, *arguments], check=True, capture_output=True).stdout


class Reader(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        # Longer than the library's own path may be, and not ASCII.
        self.file = os.path.join(self.folder, "Kalibrierung für das vordere Kamerapaar.bin")
        tool("sample", *SAMPLE.split(), "-o", self.file)

    def changed(self, offset):
        with open(self.file, "rb") as source:
            content = bytearray(source.read())
        content[offset] ^= 1
        name = os.path.join(self.folder, f"changed-{offset}.bin")
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

    def test_refusals(self):
        short = os.path.join(self.folder, "short.bin")
        with open(short, "wb") as target:
            target.write(bytes(6267))
        missing = os.path.join(self.folder, "missing.bin")
        for name, status, words in (
            (missing, 4, "readCalibrationDataC fail(-1)"),
            (short, 8, "readCalibrationDataC fail(-1)"),
            (self.changed(100), 9, "checksum fail"),
        ):
            for request in (calibmap.intrinsics, calibmap.extrinsics, calibmap.maps):
                with self.assertRaises(calibmap.CalibrationError) as caught:
                    request(name)
                self.assertEqual(caught.exception.status, status)
                self.assertIn("ERROR: doDistortionProcess line:", caught.exception.message)
                self.assertIn(words, caught.exception.message)
        with self.assertRaises(calibmap.CalibrationError) as caught:
            calibmap.maps(self.file, ratio=248)
        self.assertEqual(caught.exception.status, 7)
        for arguments in (("sideways",), ("distort", 0), ("distort", 3), ("distort", 2**32 + 2)):
            with self.assertRaises(ValueError):
                calibmap.maps(self.file, *arguments)
        with self.assertRaises(ValueError):
            calibmap.maps(self.file + "\0")

    def test_standard_output_is_left_alone(self):
        """What the program prints stays in order, and nothing of the library's is mixed with it."""
        program = (
            "import calibmap, sys\n"
            "print('before')\n"
            "try: calibmap.intrinsics('/')\n"
            "except calibmap.CalibrationError as error: print(error.status)\n"
            "print('after')\n"
        )
        run = [sys.executable, "-c", program]
        environment = {**os.environ, "PYTHONPATH": HERE}
        self.assertEqual(
            subprocess.run(run, env=environment, check=True, capture_output=True).stdout,
            b"before\n8\nafter\n",
        )
        subprocess.run(["sh", "-c", '"$@" >&-', "sh", *run], env=environment, check=True)

    def test_threads(self):
        expected = calibmap.maps(self.file).tobytes()
        found = []

        def work():
            for _ in range(20):
                found.append(calibmap.maps(self.file).tobytes() == expected)

        threads = [threading.Thread(target=work) for _ in range(4)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(found, [True] * 80)

    def test_where_the_library_is_looked_for(self):
        shutil.copy(os.path.join(HERE, "calibmap.py"), self.folder)
        environment = {**os.environ, "PYTHONPATH": self.folder, "LD_LIBRARY_PATH": ""}
        environment.pop("CALIBMAP_LIBRARY")
        run = [sys.executable, "-c", "import calibmap; print(calibmap._library._name)"]

        def loaded(**more):
            return subprocess.run(
                run, env={**environment, **more}, check=True, capture_output=True, text=True
            ).stdout.strip()

        system = os.path.join(self.folder, "system")
        os.mkdir(system)
        shutil.copy(LIBRARY, os.path.join(system, "libcalibmap.so.1"))
        shutil.copy(LIBRARY, os.path.join(self.folder, "libcalibmap.so"))
        self.assertEqual(loaded(), os.path.join(self.folder, "libcalibmap.so"))
        self.assertEqual(loaded(LD_LIBRARY_PATH=system), "libcalibmap.so.1")
        self.assertEqual(loaded(LD_LIBRARY_PATH=system, CALIBMAP_LIBRARY=LIBRARY), LIBRARY)
        refused = subprocess.run(
            run, env={**environment, "CALIBMAP_LIBRARY": "/"}, capture_output=True, text=True
        )
        self.assertIn("ImportError", refused.stderr)


if __name__ == "__main__":
    unittest.main()
