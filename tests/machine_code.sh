#!/bin/bash
# machine_code.sh LIBRARY [OBJDUMP]: the machine code of an optimised, unstripped library holds no
# instruction that fuses a product and a sum into one rounding, and its kernels work on vectors of
# doubles. Knows arm64 and x86-64.

set -euo pipefail

library=$1
objdump=${2:-objdump}

# The functions that are written for vectors, each with what it has to do on them.
kernels='
addArrays       add
subtractArrays  subtract
addScalar       add
subtractScalar  subtract
multiplyScalar  multiply
divideScalar    divide
(addPiece|multiply) multiply add
compute(Together|Maps?) multiply add narrow
evaluateSites   multiply divide
roundToFloats   narrow
'

code=$("$objdump" -d -C --no-show-raw-insn "$library")
case $("$objdump" -f "$library") in
*aarch64*)
    fused='^(fn?m(add|sub)|fml[as]l?|fnml[as]|fn?m(ad|sb))$'
    suffix='v[0-9]+[.]2d,'
    mnemonics='add=fadd subtract=fsub multiply=fmul divide=fdiv narrow=fcvtn'
    ;;
*x86-64*)
    fused='^vfn?m(add|sub|addsub|subadd)[0-9]*[ps][sd]$'
    suffix=''
    mnemonics='add=v?addpd subtract=v?subpd multiply=v?mulpd divide=v?divpd narrow=v?cvtpd2ps[xy]?'
    ;;
*)
    echo "no rules for this machine: $library" >&2
    exit 1
    ;;
esac

awk -v fused="$fused" -v operand="^$suffix" -v kernels="$kernels" -v mnemonics="$mnemonics" '
    /^[0-9a-f]+ <.*>:$/ { symbol = $0; next }
    /^ +[0-9a-f]+:/ {
        ++instructions
        if ($2 ~ fused) {
            print "fused: " symbol " " $0
            ++faults
        }
        found[$2, symbol] += ($2 ~ /cvt/ || $3 ~ operand)
    }
    # How many vector instructions of that kind are in functions of that name.
    function vectors(kernel, operation,    key, part, count) {
        for (key in found) {
            split(key, part, SUBSEP)
            if (part[1] ~ ("^(" mnemonic[operation] ")$") && part[2] ~ ("[^A-Za-z]" kernel "[(<]")) {
                count += found[key]
            }
        }
        return count + 0
    }
    END {
        for (n = split(mnemonics, pairs, " "); n > 0; --n) {
            split(pairs[n], pair, "=")
            mnemonic[pair[1]] = pair[2]
        }
        split(kernels, lines, "\n")
        for (n = 1; n in lines; ++n) {
            for (operations = split(lines[n], words, " "); operations > 1; --operations) {
                count = vectors(words[1], words[operations])
                printf "%-20s %-10s %d vector instructions\n", words[1], words[operations], count
                faults += count == 0
            }
        }
        printf "%d instructions, %d faults\n", instructions, faults
        exit faults > 0 || instructions == 0
    }' <<<"$code"
