#!/bin/bash
# check-machine-code.sh LIBRARY [OBJDUMP]: the machine code of an optimised, unstripped library holds
# no instruction that fuses a product and a sum into one rounding, and its kernels work on vectors of
# doubles. Knows arm64 and x86-64.

set -euo pipefail

library=$1
objdump=${2:-objdump}

code=$("$objdump" -d -C --no-show-raw-insn "$library")
case $("$objdump" -f "$library") in
*aarch64*)
    fused='^(fn?m(add|sub)|fml[as]l?|fnml[as]|fn?m(ad|sb))$'
    suffix='v[0-9]+[.]2d,'
    add=fadd subtract=fsub multiply=fmul divide=fdiv narrow=fcvtn
    ;;
*x86-64*)
    fused='^vfn?m(add|sub|addsub|subadd)[0-9]*[ps][sd]$'
    suffix=''
    add='v?addpd' subtract='v?subpd' multiply='v?mulpd' divide='v?divpd' narrow='v?cvtpd2ps[xy]?'
    ;;
*)
    echo "no rules for this machine: $library" >&2
    exit 1
    ;;
esac

awk -v fused="$fused" -v operand="^$suffix" -v needs="\
addArrays $add
subtractArrays $subtract
addScalar $add
subtractScalar $subtract
multiplyScalar $multiply
divideScalar $divide
multiply $multiply
multiply $add
computeMaps $multiply
computeMaps $add
computeMaps $narrow
roundToFloats $narrow" '
    /^[0-9a-f]+ <.*>:$/ { symbol = $0; next }
    /^ +[0-9a-f]+:/ {
        ++instructions
        if ($2 ~ fused) {
            print "fused: " symbol " " $0
            ++faults
        }
        mnemonic[$2, symbol] += ($2 ~ /cvt/ || $3 ~ operand)
    }
    END {
        split(needs, lines, "\n")
        for (n = 1; n in lines; ++n) {
            split(lines[n], need, " ")
            count = 0
            for (key in mnemonic) {
                split(key, part, SUBSEP)
                if (part[1] ~ ("^" need[2] "$") && part[2] ~ ("[^A-Za-z]" need[1] "[(<]")) {
                    count += mnemonic[key]
                }
            }
            printf "%-20s %-15s %d vector instructions\n", need[1], need[2], count
            faults += count == 0
        }
        printf "%d instructions, %d faults\n", instructions, faults
        exit faults > 0 || instructions == 0
    }' <<<"$code"
