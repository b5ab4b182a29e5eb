#!/bin/bash
# android_blueprint.sh BLUEPRINT ITEM...: the module builds exactly the given sources with the given
# -f and -Wl options, and the file is well-formed.

set -euo pipefail

blueprint=$1
shift
expected=$(printf '%s\n' "$@" | sort)

# The strings of one list property of the module.
list() {
    sed -n "/^    $1: \[/,/\]/p" "$blueprint" | grep -o '"[^"]*"' | tr -d '"'
}

# Visibility and optimisation are properties of the build type and the target in CMake, not options.
found=$( { list srcs; list cflags | grep -v -e '^-W' -e '^-O' -e '^-fvisibility'; list ldflags; } | sort)
diff <(echo "$expected") <(echo "$found") || {
    echo "$blueprint (>) and cmake/CalibmapLibrary.cmake (<) differ"
    exit 1
}

if command -v bpfmt >/dev/null; then
    difference=$(bpfmt -d "$blueprint")
    [ -z "$difference" ] || {
        echo "$difference"
        exit 1
    }
else
    echo "bpfmt (package blueprint-tools) is not installed: syntax not checked"
fi
