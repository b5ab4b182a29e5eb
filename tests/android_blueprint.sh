#!/bin/bash
# android_blueprint.sh BLUEPRINT MACHINE ITEM...: for that machine the module builds exactly the given
# sources with the given -f, -m and -Wl options, and the file is well-formed.

set -euo pipefail

blueprint=$1 machine=$2
shift 2
expected=$(printf '%s\n' "$@" | sort)

# The strings of one list property of the module, and of that for the machine.
list() {
    {
        sed -n "/^    $1: \[/,/\]/p" "$blueprint"
        sed -n "/^        $machine: {/,/^        }/p" "$blueprint" | sed -n "/ $1: \[/,/\]/p"
    } | grep -o '"[^"]*"' | tr -d '"'
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
