#!/bin/bash
# Writes tests/golden.txt anew, from the reference evaluation; the library is not even built. Needed
# only when cases are added: the hashes of an existing case are a promise.

# shellcheck source=scripts/setup.sh
. "$(dirname "$0")/setup.sh"

need "${BUILD_PACKAGES[@]}"
mkdir -p build
g++ -std=c++20 -O0 -ffp-contract=off -fno-fast-math \
    -I . tests/golden_reference.cpp tests/golden_write.cpp -o build/golden_write
build/golden_write >build/golden.txt
mv build/golden.txt tests/golden.txt
git diff --stat -- tests/golden.txt
