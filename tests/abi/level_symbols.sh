#!/usr/bin/env bash
# level_symbols.sh LEVEL OBJECT...
# An object built with one level's flags may define nothing for others but its install functions: a function or
# variable that the linker could merge with another object's copy would run these instructions on every
# processor. It may need nothing from outside but block operations and functions of the library that are built
# without such flags.
set -euo pipefail
export LC_ALL=C
level=$1
shift
objects=$#
installs=0 failed=0

while read -r kind name; do
    case $kind:$name in
        T:qzk::simd::"$level"::install\(*Kernels\&\)) installs=$((installs + 1)) ;;
        U:__ctzdi2 | U:__chkstk_ms) ;; # the compiler's own, on 32-bit Windows
        U:memcpy | U:memmove | U:memset | U:_GLOBAL_OFFSET_TABLE_) ;;
        U:qzk::simd::sse2::* | U:qzk::simd::avx2::* | U:qzk::simd::avx512::*) echo "$kind $name"; failed=1 ;;
        U:qzk::*) ;;
        T:__x86.get_pc_thunk.*) ;; # reads the program counter, the same in every copy
        [a-t]:*) ;;
        *) echo "$kind $name"; failed=1 ;;
    esac
done < <(nm --demangle "$@" | sed -nE 's/^ *[0-9a-f]* *([A-Za-z]) (.*)$/\1 \2/p')

[[ $installs == "$objects" ]] || { echo "$installs install functions in $objects objects"; failed=1; }
exit $failed
