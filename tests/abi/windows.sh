#!/usr/bin/env bash
# windows.sh HEADER DIRECTORY
# The 32-bit Windows library exports what the header declares, undecorated, and needs only the system's own
# libraries.
set -euo pipefail
export LC_ALL=C
header=$1 dll=$2/qzkg1.dll importLibrary=$2/libqzkg1.dll.a

tables=$(i686-w64-mingw32-objdump -p "$dll")
declared=$(i686-w64-mingw32-gcc -E -P "$header" | grep -oE '\bQZ_?[A-Za-z0-9]+ *\(' | tr -d ' (' | sort)
exported=$(sed -nE '/Ordinal\/Name Pointer/,/^$/ s/.*\[ *[0-9]+\] (.*)$/\1/p' <<<"$tables" | sort)
imported=$(sed -nE 's/.*DLL Name: (.*)/\L\1/p' <<<"$tables" | sort | paste -sd' ')

failed=0
diff <(echo "$declared") <(echo "$exported") || { echo "^ declared (<) and exported (>) functions differ"; failed=1; }
[[ $imported == 'kernel32.dll msvcrt.dll user32.dll' ]] || { echo "imports from $imported"; failed=1; }
for function in MessageBoxA wsprintfA FatalAppExitA; do
    grep -qw "$function" <<<"$tables" || { echo "does not import $function"; failed=1; }
done
[[ -f $importLibrary ]] || { echo "no import library $importLibrary"; failed=1; }
exit $failed
