#!/bin/sh
# stack_frames.sh OBJECTS COUNT: by the compiler's reports beside the library's COUNT objects, no
# function has a frame of 4 KiB or more, or one whose size is not known, so that no call can step over
# a guard page; only the two that hold the image of a file have more, of known size.
set -eu
objects=$1 count=$2

reports=$(find "$objects" -name '*.su')
[ "$(echo "$reports" | wc -l)" -ge "$count" ] || {
    echo "FAILED: fewer reports than the $count sources: $reports"
    exit 1
}
# shellcheck disable=SC2086 # several files
awk -F '\t' '
    { ++functions }
    $1 ~ /(processFile|queryFile)/ && $3 == "static" {
        images += $2 < 8192
        next
    }
    $2 >= 4096 || $3 == "dynamic" {
        print "FAILED: a frame of " $2 " bytes, " $3 ": " $1
        ++faults
    }
    $2 > largest { largest = $2; where = $1 }
    END {
        printf "%d functions, the largest frame has %d bytes: %s\n", functions, largest, where
        exit faults > 0 || images != 2
    }' $reports
