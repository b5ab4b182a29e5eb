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
TOOL_PACKAGES=(libcli11-dev libeigen3-dev libpng-dev libcairo2-dev nlohmann-json3-dev pkg-config
    help2man)
TEST_PACKAGES=(libgtest-dev python3-numpy)
