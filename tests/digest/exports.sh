#!/usr/bin/env bash
# exports.sh CC HEADER DIGEST
# The digests are made of calls of every function that the header declares.
set -euo pipefail
export LC_ALL=C
cc=$1 header=$2 digest=$3

declared=$("$cc" -E -P "$header" | grep -oE '\bQZ_?[A-Za-z0-9]+ *\(' | tr -d ' (' | sort)
called=$("$digest" --level plain --exports | cut -d' ' -f2 | sort -u)

diff <(echo "$declared") <(echo "$called") || { echo "^ declared (<) and called (>) functions differ"; exit 1; }
