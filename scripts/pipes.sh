#!/usr/bin/env bash
# pipes.sh: what the inner loop of a map costs on two arm64 processors, as far as a model of their
# pipes can say without the processors. The loop is taken from the library as GCC and Clang compile it
# for arm64: the one with most products and sums in the object of arithmetic/maps.cpp.
# shellcheck source-path=SCRIPTDIR
. "$(dirname "${BASH_SOURCE[0]}")/setup.sh"

need "${BUILD_PACKAGES[@]}" clang llvm g++-aarch64-linux-gnu googletest

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# innermostLoop OBJECT: of all stretches of code that a branch closes and no other branch divides, the
# one with most vector products and sums.
innermostLoop() {
    aarch64-linux-gnu-objdump -d --no-show-raw-insn "$1" | awk '
        /^[0-9a-f]+ <.*>:$/ { count = 0; next }
        /^ +[0-9a-f]+:/ {
            address = $1
            sub(/:/, "", address)
            $1 = ""
            sub(/^ +/, "")
            sub(/ *(\/\/|<).*/, "")
            place[address] = ++count
            line[count] = $0
            work[count] = ($1 ~ /^f(mul|add)$/ && $2 ~ /2d/)
            isBranch = $1 ~ /^(b|b\..*|cbn?z|tbn?z|bl|blr|br|ret)$/
            if (isBranch && place[$NF] && place[$NF] > lastBranch[1] + 0) {
                total = 0
                for (n = place[$NF]; n <= count; ++n) {
                    total += work[n]
                }
                if (total > most) {
                    most = total
                    loop = "loop:\n"
                    for (n = place[$NF]; n < count; ++n) {
                        loop = loop line[n] "\n"
                    }
                    sub(/[0-9a-f]+$/, "loop")
                    loop = loop $0 "\n"
                }
            }
            if (isBranch) {
                lastBranch[1] = count
            }
        }
        count == 0 { lastBranch[1] = 0; split("", place) }
        END { printf "%s", loop }'
}

# A pixel has two coordinates, each the sum of seven products: so many B-splines are not zero there. An
# instruction of the loop makes two products or two sums.
cyclesOf() {
    local compiler=$1 processor=$2 width=$3 iterations=1000 operations
    operations=$(grep -c -E '^f(mul|add)\b.*2d' "$work/$compiler.s")
    llvm-mca --mtriple=aarch64 --mcpu="$processor" --iterations=$iterations "$work/$compiler.s" |
        awk -v row="| $processor | $compiler" -v operations="$operations" -v width="$width" \
            -v iterations=$iterations '
            /^Total Cycles:/ { cycles = $NF / iterations }
            /^Block RThroughput:/ { least = $NF }
            END {
                if (!cycles || !operations) {
                    exit 1
                }
                pixel = 2 * 7 / operations
                printf "%s | %d | %.1f | %.1f | %.1f | %.1f |\n", row, operations, cycles,
                    cycles * pixel, least * pixel, operations / width * pixel
            }'
}

for preset in arm64 arm64-clang; do
    build $preset calibmap
    innermostLoop build/$preset/CMakeFiles/calibmap.dir/arithmetic/maps.cpp.o >"$work/$preset.s"
done
echo "| processor | build | products and sums in the loop | cycles | cycles a pixel | with the model's pipes always busy | with the processor's |"
echo "|---|---|---:|---:|---:|---:|---:|"
# How many of these instructions the two pipes of a processor start in a cycle: they are 64 or 128 bits
# wide.
for preset in arm64 arm64-clang; do
    cyclesOf $preset cortex-a55 1
    cyclesOf $preset cortex-a76 2
done
echo
echo "$(llvm-mca --version | grep -o 'LLVM version [0-9.]*') takes the cortex-a76 for a cortex-a57, whose"
echo "pipes start half as many of these instructions in a cycle."
