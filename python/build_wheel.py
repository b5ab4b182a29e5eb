"""Builds the wheel, an editable one and the source archive, as PEP 517 and 660 have it.

The wheel holds the package as CMake installs it, and the library in it instead of a link to it. The
usual backends would have to be fetched first, and leave the work to CMake anyway.

`build_wheel.py FOLDER` writes into a folder what Python's tools know the package by.
"""

import base64
import datetime
import gzip
import hashlib
import io
import pathlib
import re
import shutil
import subprocess
import sys
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
    libraries = b"".join(content for name, content in files.items() if ".so" in name)
    return _write_wheel(wheel_directory, files, _platform(libraries))


def build_editable(wheel_directory, config_settings=None, metadata_directory=None):
    """A wheel that refers to the package in build/editable, whose sources are those of the tree."""
    build = ROOT / "build" / "editable"
    _build(build)
    path = {"calibmap.pth": f"{build / 'python'}\n".encode()}
    return _write_wheel(wheel_directory, path, sysconfig.get_platform())


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    """Writes what Python's tools know the package by, and returns the name of its folder."""
    name = f"calibmap-{_version()}.dist-info"
    folder = pathlib.Path(metadata_directory, name)
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "METADATA").write_bytes(_metadata())
    return name


def build_sdist(sdist_directory, config_settings=None):
    """Puts the archive of the sources into a folder and returns its name."""
    name = f"calibmap-{_version()}"
    contents = {path: (ROOT / path).read_bytes() for path in _sources()}
    contents["PKG-INFO"] = _metadata()
    target = pathlib.Path(sdist_directory, f"{name}.tar.gz")
    with (
        open(target, "wb") as file,
        gzip.GzipFile("", "wb", fileobj=file, mtime=0) as packed,
        tarfile.open(fileobj=packed, mode="w") as archive,
    ):
        for path, content in sorted(contents.items()):
            entry = tarfile.TarInfo(f"{name}/{path}")
            entry.size = len(content)
            entry.mtime = _released()
            entry.mode = 0o755 if path != "PKG-INFO" and (ROOT / path).stat().st_mode & 0o100 else 0o644
            archive.addfile(entry, io.BytesIO(content))
    return target.name


def _sources():
    """All that is under version control, or that came with the archive."""
    if (ROOT / "PKG-INFO").exists():
        paths = (path.relative_to(ROOT) for path in ROOT.rglob("*") if path.is_file())
        return [str(path) for path in paths if not {"build", "__pycache__"} & set(path.parts)]
    listed = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True)
    return [path for path in listed.stdout.decode().split("\0") if path]


def _write_wheel(folder, files, platform):
    version = _version()
    tag = "py3-none-" + re.sub("[-.]", "_", platform)
    information = f"calibmap-{version}.dist-info"
    files[f"{information}/METADATA"] = _metadata()
    files[f"{information}/WHEEL"] = (
        f"Wheel-Version: 1.0\nGenerator: calibmap {version}\nRoot-Is-Purelib: false\nTag: {tag}\n"
    ).encode()
    record = f"{information}/RECORD"
    files[record] = "".join(
        [*(_recorded(name, content) for name, content in files.items()), f"{record},,\n"]
    ).encode()
    wheel = f"calibmap-{version}-{tag}.whl"
    with zipfile.ZipFile(pathlib.Path(folder, wheel), "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in files.items():
            entry = zipfile.ZipInfo(name)  # dated 1980: the same bytes from the same sources
            entry.external_attr = 0o100644 << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
    return wheel


def _platform(library):
    """The oldest manylinux that has the C library's versions which the library asks for.

    A library for another C library asks for none, and belongs to the machine alone.
    """
    needed = [(int(major), int(minor)) for major, minor in re.findall(rb"GLIBC_(\d+)\.(\d+)", library)]
    platform = sysconfig.get_platform()
    if not needed:
        return platform
    # 2.17 is the oldest that all tools and machines have a name for.
    major, minor = max([*needed, (2, 17)])
    return platform.replace("linux", f"manylinux_{major}_{minor}")


def _build(folder):
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    options = ["CMAKE_BUILD_TYPE=Release", "BUILD_SHARED_LIBS=ON", "CALIBMAP_BUILD_TOOLS=OFF"]
    options += ["CALIBMAP_BUILD_TESTS=OFF", "CALIBMAP_INSTALL_PYTHONDIR=python"]
    options += [f"Python3_EXECUTABLE={sys.executable}"]
    _cmake("-S", ROOT, "-B", folder, *generator, *(f"-D{option}" for option in options))
    _cmake("--build", folder, "--parallel")


def _install(folder):
    """Builds the library and installs it and the package below a folder; returns the package."""
    _build(folder / "build")
    for component in ("runtime", "python"):
        _cmake("--install", folder / "build", "--prefix", folder, "--strip", "--component", component)
    return folder / "python" / "calibmap"


def _cmake(*arguments):
    subprocess.run(["cmake", *arguments], check=True)


def _version():
    header = (ROOT / "calibmap.h").read_text()
    return ".".join(re.findall(r"^#define CALIBMAP_VERSION_[A-Z]+ ([0-9]+)$", header, re.MULTILINE))


def _released():
    """When the version was released, by the changelog, in seconds."""
    date = re.search(r"^## [0-9.]+ - (.*)$", (ROOT / "CHANGELOG.md").read_text(), re.MULTILINE)[1]
    return int(datetime.datetime.fromisoformat(f"{date}T00:00:00+00:00").timestamp())


def _metadata():
    project = tomllib.loads((ROOT / "pyproject.toml").read_text())["project"]
    [maintainer] = project["maintainers"]
    lines = [
        "Metadata-Version: 2.1",
        f"Name: {project['name']}",
        f"Version: {_version()}",
        f"Summary: {project['description']}",
        f"Maintainer-email: {maintainer['name']} <{maintainer['email']}>",
        f"Keywords: {','.join(project['keywords'])}",
        *(f"Classifier: {classifier}" for classifier in project["classifiers"]),
        f"Requires-Python: {project['requires-python']}",
        *(f"Requires-Dist: {name}" for name in project["dependencies"]),
        "Description-Content-Type: text/markdown; charset=UTF-8",
        "",
        (ROOT / project["readme"]).read_text(encoding="utf-8"),
    ]
    return "\n".join(lines).encode()


def _recorded(name, content):
    digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(content)}\n"


if __name__ == "__main__":
    prepare_metadata_for_build_wheel(sys.argv[1])
