"""Builds the wheel and the source archive, as PEP 517 has it.

The wheel holds the package as CMake installs it, and the library in it instead of a link to it. The
usual backends would have to be fetched first, and leave the work to CMake anyway.
"""

import base64
import hashlib
import io
import pathlib
import re
import shutil
import subprocess
import sysconfig
import tarfile
import tempfile
import tomllib
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[1]


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    """Puts the wheel into a folder and returns its name."""
    with tempfile.TemporaryDirectory() as folder:
        package = _install(pathlib.Path(folder))
        files = {f"calibmap/{path.name}": path.read_bytes() for path in sorted(package.iterdir())}
    version = _version()
    tag = "py3-none-" + re.sub("[-.]", "_", sysconfig.get_platform())
    information = f"calibmap-{version}.dist-info"
    files[f"{information}/METADATA"] = _metadata(version)
    files[f"{information}/WHEEL"] = (
        f"Wheel-Version: 1.0\nGenerator: calibmap {version}\nRoot-Is-Purelib: false\nTag: {tag}\n"
    ).encode()
    record = f"{information}/RECORD"
    files[record] = "".join(
        [*(_recorded(name, content) for name, content in files.items()), f"{record},,\n"]
    ).encode()
    wheel = f"calibmap-{version}-{tag}.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory, wheel), "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name)  # dated 1980: the same bytes from the same sources
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
    return wheel


def build_sdist(sdist_directory, config_settings=None):
    """Puts the archive of all that is under version control into a folder and returns its name."""
    version = _version()
    name = f"calibmap-{version}"
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True)
    with tarfile.open(pathlib.Path(sdist_directory, f"{name}.tar.gz"), "w:gz") as archive:
        for path in filter(None, listed.stdout.decode().split("\0")):
            archive.add(ROOT / path, f"{name}/{path}")
        metadata = _metadata(version)
        entry = tarfile.TarInfo(f"{name}/PKG-INFO")
        entry.size = len(metadata)
        archive.addfile(entry, io.BytesIO(metadata))
    return f"{name}.tar.gz"


def _install(folder):
    """Builds the library and installs it and the package below a folder; returns the package."""
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    options = ["CMAKE_BUILD_TYPE=Release", "BUILD_SHARED_LIBS=ON", "CALIBMAP_BUILD_TOOLS=OFF"]
    options += ["CALIBMAP_BUILD_TESTS=OFF", "CALIBMAP_INSTALL_PYTHONDIR=python"]
    _cmake("-S", ROOT, "-B", folder / "build", *generator, *(f"-D{option}" for option in options))
    _cmake("--build", folder / "build", "--parallel")
    for component in ("runtime", "python"):
        _cmake("--install", folder / "build", "--prefix", folder, "--strip", "--component", component)
    return folder / "python" / "calibmap"


def _cmake(*arguments):
    subprocess.run(["cmake", *arguments], check=True)


def _version():
    header = (ROOT / "calibmap.h").read_text()
    return ".".join(re.findall(r"^#define CALIBMAP_VERSION_[A-Z]+ ([0-9]+)$", header, re.MULTILINE))


def _metadata(version):
    project = tomllib.loads((ROOT / "pyproject.toml").read_text())["project"]
    lines = [
        "Metadata-Version: 2.1",
        f"Name: {project['name']}",
        f"Version: {version}",
        f"Summary: {project['description']}",
        f"Requires-Python: {project['requires-python']}",
        *(f"Requires-Dist: {name}" for name in project["dependencies"]),
    ]
    return "\n".join([*lines, ""]).encode()


def _recorded(name, content):
    digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(content)}\n"
