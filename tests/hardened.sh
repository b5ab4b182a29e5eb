#!/bin/sh
# hardened.sh FILE READELF: the library, or a program around it, is linked as what runs in privileged
# processes and reads other people's files has to be.
set -eu
file=$1 readelf=$2
failures=0

fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

dynamic=$("$readelf" -dW "$file")
segments=$("$readelf" -lW "$file")
symbols=$("$readelf" --dyn-syms -W "$file")
echo "$dynamic" | grep -q 'BIND_NOW\|FLAGS_1.*NOW' || fail "symbols are bound lazily"
! echo "$dynamic" | grep -q TEXTREL || fail "text relocations"
echo "$symbols" | grep -q ' UND __stack_chk_fail' || fail "no stack protector"
echo "$symbols" | grep -v __stack_chk | grep -q ' UND __[a-z]*_chk' || fail "nothing is fortified"
echo "$segments" | grep -q '^Elf file type is DYN ' || fail "its place in memory is fixed"
echo "$segments" | grep -q GNU_RELRO || fail "no relocation read-only segment"
echo "$segments" | grep -q 'GNU_STACK.* RW ' || fail "the stack is executable"
! echo "$segments" | grep -q ' RWE ' || fail "a segment is writable and executable"

# A device with pages of 16 KiB refuses smaller segments, and makes whole pages read-only: data in the
# last of these would be read-only too.
machine=$("$readelf" -hW "$file" | sed -n 's/^ *Machine: *//p')
if [ "$machine" = AArch64 ]; then
    ! echo "$segments" | awk '$1 == "LOAD" { print $NF }' | grep -v '^0x4000$' || fail "segments are not of 16 KiB"
    echo "$segments" | awk '$1 == "GNU_RELRO" { print $3, $6 }' | while read -r start size; do
        [ $(((start + size) % 0x4000)) = 0 ] || exit 1
    done || fail "read-only relocations end within a page of 16 KiB"
fi

# The system guards branches and returns where the whole library is marked. Of a program the mark is
# the start files' matter.
case $file in *.so*)
    notes=$("$readelf" -nW "$file")
    case $machine in
    AArch64) mark='BTI, PAC' ;;
    *X86-64) mark='IBT, SHSTK' ;;
    *) mark='no mark known' ;;
    esac
    echo "$notes" | grep -q "feature: $mark" || fail "not marked as $mark"
    ;;
esac

[ "$failures" = 0 ]
