#!/bin/sh
# The built library's boundary: the names that it exports and the libraries that it needs; and that its
# archive has no other name in common with programs.
# Usage: boundary.sh LIBRARY HEADER NAMES NM READELF POSITION_DEPENDENT_PROGRAM ARCHIVE
set -eu
library=$1 header=$2 names=$3 nm=$4 readelf=$5 program=$6 archive=$7
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

exported=$("$nm" -D --defined-only "$library" | awk '{ sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort)
listed=$(sed -n '/global:/,/local:/ s/^ *\([A-Za-z_0-9]*\);$/\1/p' "$names" | LC_ALL=C sort)
# A declaration ends with a name and one of ( [ ; after the last word before it.
declared=$(tr '\n' ' ' <"$header" | grep -o '[;}/] *\(extern \)\?CALIBMAP_API [^(;[]*' |
    sed 's/.*[ *]\([A-Za-z_0-9]*\) *$/\1/' | LC_ALL=C sort)
[ "$(echo "$listed" | wc -l)" = 80 ] || fail "$(echo "$listed" | wc -l) names are listed, not 80"
[ "$exported" = "$listed" ] || fail "exported names are not the listed ones: $exported"
[ "$declared" = "$listed" ] || fail "declared names are not the listed ones: $declared"

# A program may have any other name of its own.
global=$("$nm" -C --defined-only --extern-only "$archive" | sed -n 's/^[0-9a-f]* [A-Z] //p' |
    grep -v '\(^\| \)calibmap::' | LC_ALL=C sort -u)
[ "$global" = "$listed" ] || fail "an archive has other names than the listed ones: $global"

needed=$("$readelf" -dW "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
for each in $needed; do
    case $each in
    libc.so.6 | ld-linux-*) ;;
    *) fail "needs $each" ;;
    esac
done
[ -n "$needed" ] || fail "no needed library found: is this a dynamic library?"

# Without this the test of a program's own copy of the data tests nothing.
"$readelf" -rW "$program" | grep -q '_COPY.*calibin' || fail "$program has no copy of calibin"

[ "$failures" = 0 ] || exit 1
echo "80 names, needs: $needed"
