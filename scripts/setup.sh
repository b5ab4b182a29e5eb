# Sourced by the other scripts: `need PACKAGE...` installs the Debian packages that are missing, by
# name, says so, and asks for root only if there is something to install.
# shellcheck shell=bash disable=SC2034

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

need() {
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    echo "installing: ${missing[*]}"
    local asRoot=()
    [ "$(id -u)" = 0 ] || asRoot=(sudo)
    "${asRoot[@]}" apt-get update -qq
    "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

BUILD_PACKAGES=(g++ cmake ninja-build)
TOOL_PACKAGES=(libcli11-dev libeigen3-dev libspng-dev libturbojpeg0-dev libcairo2-dev libyaml-cpp-dev nlohmann-json3-dev
    libpugixml-dev pkg-config help2man)
TEST_PACKAGES=(libgtest-dev python3-numpy)
PAGE_PACKAGES=(clang lld llvm wasi-libc libc++-14-dev-wasm32 libclang-rt-14-dev-wasm32 esbuild python3
    python3-debian)
BROWSER_PACKAGES=(chromium chromium-driver firefox-esr python3-websockets python3-pil)
BENCH_PACKAGES=(libgsl-dev libeigen3-dev libopencv-calib3d-dev libopencv-imgproc-dev)

# configure PRESET, build PRESET [TARGET...]: they speak only of what goes wrong.
configure() {
    # A toolchain file is used in the first run only, of which the later ones would warn.
    cmake --preset "$1" --no-warn-unused-cli >/dev/null
}

build() {
    configure "$1"
    cmake --build --preset "$1" ${2:+--target "${@:2}"} -- --quiet | sed '/^ninja: no work to do\.$/d'
}

# sources SUFFIX...: the files of the tree with one of these suffixes.
sources() {
    git ls-files "${@/#/*.}"
}
