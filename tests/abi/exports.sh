#!/usr/bin/env bash
# exports.sh CC HEADER LIBRARY
# The shared library exports what the header declares, and nothing else, under the right name.
set -euo pipefail
export LC_ALL=C
cc=$1 header=$2 library=$3

declared=$("$cc" -E -P "$header" | grep -oE '\bQZ_?[A-Za-z0-9]+ *\(' | tr -d ' (' | sort)
exported=$(nm -D --defined-only "$library" | awk '$2 == "T" { print $3 }' | sort)
other=$(nm -D --defined-only "$library" | awk '$2 != "T"')
soname=$(readelf -d "$library" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')

failed=0
diff <(echo "$declared") <(echo "$exported") || { echo "^ declared (<) and exported (>) functions differ"; failed=1; }
[[ $(uniq -d <<<"$declared") == '' ]] || { echo "declared twice: $(uniq -d <<<"$declared")"; failed=1; }
[[ $other == '' ]] || { echo "exported, but no functions: $other"; failed=1; }
[[ $soname == libqzk.so.3 ]] || { echo "SONAME is '$soname'"; failed=1; }
exit $failed
