#!/usr/bin/env bash
# linked.sh FILE compiled BUILD OBJECTS [PART...]
# linked.sh FILE loaded BINARY
# Whose code is in FILE or is loaded with it, a line each: FILE, how, and the Debian package's name, version,
# architecture and source. Compiled in are the headers that objects of the folder BUILD, those whose names match
# OBJECTS, were compiled with, and the PARTs that a linker or a packer has added; loaded is what BINARY names.
set -euo pipefail

# owners: of the files on standard input.
owners() {
    local path
    sort -u | xargs realpath | sort -u | { grep -v "^$PWD/" || true; } | while read -r path; do
        # Packages of merged directories still say /lib.
        dpkg-query -S "$path" 2>/dev/null || dpkg-query -S "${path#/usr}"
    done | sed 's/: .*//' | sort -u | xargs -r dpkg-query -W \
        -f "$file\t$how\t\${Package}\t\${Version}\t\${Architecture}\t\${source:Package}\n"
}

compiled() {
    local build=$1 objects=$2
    shift 2
    {
        ninja -C "$build" -t deps | awk -v objects="$objects" '
            /^[^ ]/ { wanted = $1 ~ objects }
            /^    \// && wanted { print $1 }'
        [ $# = 0 ] || printf '%s\n' "$@"
    } | owners
}

loaded() {
    local names
    names=$(readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    ldd "$1" | awk -v names="$names" 'index("\n" names "\n", "\n" $1 "\n") && $3 ~ /^\// { print $3 }' | owners
}

file=$1
how=$2
"$how" "${@:3}"
