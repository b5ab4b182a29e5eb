#!/usr/bin/env bash
# consumers.sh [PREFIX]: builds and runs the projects of tests/consumers, and the Python package's test,
# with what is installed at PREFIX. Without PREFIX it installs a tree with the shared and one with the
# static library, moves both, takes each of these, and last the source tree as a part of a project and
# as what pip makes a wheel of.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" make pkg-config python3-numpy

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# quietly COMMAND...: what it prints is shown only when it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || {
        cat "$work/log"
        return 1
    }
}

build() {
    quietly cmake -S "tests/consumers/$1" -B "$work/$1" -G Ninja --fresh "${@:2}"
    quietly cmake --build "$work/$1"
}

run() {
    quietly "$work/$1/$1" "$file" || {
        echo "  $1: failed"
        return 1
    }
    echo "  $1: its map is that of the lens"
}

sameVersion() {
    local expected=$1 found=$2 where=$3
    [ "$found" = "$expected" ] || {
        echo "CHANGELOG.md ends with version '$expected', but $where with '$found'"
        return 1
    }
}

version=$(sed -n 's/^## \([0-9.]*\) - .*/\1/p' CHANGELOG.md | head -n 1)

consume() {
    local prefix=$1 library libraries package
    library=$(find "$prefix" -name libcalibmap.so -o -name libcalibmap.a)
    libraries=$(dirname "$library")
    export CMAKE_PREFIX_PATH=$prefix PKG_CONFIG_PATH=$libraries/pkgconfig LD_LIBRARY_PATH=$libraries
    export CALIBMAP_TOOL

    sameVersion "$version" "$(pkg-config --modversion calibmap)" "pkg-config"
    sameVersion "calibmap $version" "$("$CALIBMAP_TOOL" --version)" "the program"
    file=$work/lens.bin
    quietly "$CALIBMAP_TOOL" sample -o "$file"

    build find_package
    run find_package
    build exceptions
    run exceptions
    build own_names
    run own_names
    mkdir -p "$work/pkg_config" "$work/dlopen"
    make -s -B -C tests/consumers/pkg_config OUT="$work/pkg_config"
    run pkg_config
    case $library in *.so)
        # shellcheck disable=SC2046 # several flags
        cc -std=c99 -Wall -Wextra -Werror $(pkg-config --cflags calibmap) -o "$work/dlopen/dlopen" \
            tests/consumers/dlopen/main.c -ldl -lm
        run dlopen
        package=$(find "$prefix" -path '*/calibmap/__init__.py' -printf '%h')
        PYTHONPATH=$(dirname "$package") /usr/bin/python3 -B python/test_calibmap.py
        ;;
    esac
}

if [ $# -gt 0 ]; then
    prefix=$(realpath "$1")
    CALIBMAP_TOOL=$prefix/bin/calibmap
    consume "$prefix"
    exit
fi
need "${TOOL_PACKAGES[@]}" python3-pip python3-venv python3-opencv binutils

installAndMove() {
    local preset=$1
    echo "installed by the preset $preset"
    quietly cmake --preset "$preset"
    quietly cmake --build --preset "$preset"
    quietly cmake --install "build/$preset" --prefix "$work/first"
    mv "$work/first" "$work/$preset"
}

installAndMove release
CALIBMAP_TOOL=$work/release/bin/calibmap
quietly "$CALIBMAP_TOOL" --version # the program finds its library
consume "$work/release"
installAndMove static
consume "$work/static"
for suffix in so a; do
    shared=$([ $suffix = so ] && echo ON || echo OFF)
    echo "as a part of a project with BUILD_SHARED_LIBS=$shared"
    build add_subdirectory -DBUILD_SHARED_LIBS="$shared" -DCALIBMAP_INSTALL=ON
    run add_subdirectory
    # The parent names no build type. The library is optimised all the same, and keeps to its own name.
    quietly tests/machine_code.sh "$work/add_subdirectory/calibmap/libcalibmap.$suffix"
    quietly cmake --install "$work/add_subdirectory" --prefix "$work/parent"
    ! find "$work/parent" -path '*parent/*parent*' | grep . || {
        echo "installed under the name of the parent project"
        exit 1
    }
done

# makePython TREE WHAT FOLDER: has a tree make a wheel or a source archive in a folder.
makePython() {
    (cd "$1/python" && quietly /usr/bin/python3 -B -c \
        'import build_wheel, sys; getattr(build_wheel, "build_" + sys.argv[1])(sys.argv[2])' "$2" "$work/$3")
}

# tryPython NAME PIP_ARGUMENT...: installs the package in an environment of its own and tests it there.
tryPython() {
    /usr/bin/python3 -m venv --system-site-packages "$work/$1"
    quietly "$work/$1/bin/pip" --disable-pip-version-check install --no-index "${@:2}"
    "$work/$1/bin/python" -B python/test_calibmap.py
    sameVersion "$version" "$("$work/$1/bin/python" -c \
        'import importlib.metadata; print(importlib.metadata.version("calibmap"))')" "the package"
}

unset LD_LIBRARY_PATH
CALIBMAP_TOOL=$work/release/bin/calibmap
echo "as a source archive that makes itself again, and a wheel"
for folder in sdist again wheel; do mkdir "$work/$folder"; done
makePython . sdist sdist
tar -xzf "$work"/sdist/*.tar.gz -C "$work"
makePython "$work/calibmap-$version" sdist again
cmp "$work"/sdist/*.tar.gz "$work"/again/*.tar.gz
makePython "$work/calibmap-$version" wheel wheel
tryPython from-wheel "$work"/wheel/*.whl
# The oldest C library that the wheel promises to work with is the one that the linker has noted.
needed=$(readelf -VW "$work"/from-wheel/lib/python3*/site-packages/calibmap/libcalibmap.so.1 |
    sed -n 's/.*Name: GLIBC_\([0-9.]*\) .*/\1/p' | sort -Vu | tail -n 1)
promised=$(echo "$work"/wheel/*.whl | sed 's/.*-manylinux_\([0-9]*\)_\([0-9]*\)_.*/\1.\2/')
[ "$(printf '%s\n' "$needed" 2.17 | sort -V | tail -n 1)" = "$promised" ] || {
    echo "the wheel promises to work with glibc $promised, but needs $needed"
    exit 1
}
echo "in place"
tryPython in-place -e .
