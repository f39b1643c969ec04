#!/usr/bin/env bash
# install.sh CMAKE BUILD_DIRECTORY CC EXAMPLE_DIRECTORY [PYTHON]
# The installed library serves a find_package project, a pkg-config build, a plain compiler call and Python.
set -euo pipefail
cmake=$1 build=$2 cc=$3 example=$4 python=${5-}
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
prefix=$directory/prefix

expect() {
    local expected=$1 actual
    shift
    actual=$("$@")
    [[ $actual == "$expected" ]] || { echo "$*: expected '$expected', got '$actual'"; exit 1; }
}
tone='strongest frequency: 1000 Hz'

"$cmake" --install "$build" --prefix "$prefix" >"$directory/log" || { cat "$directory/log"; exit 1; }
package=$(dirname "$(find "$prefix" -name qzk.pc)")
library=$(dirname "$(find "$prefix" -name libqzk.so)")

{
    "$cmake" -S "$example" -B "$directory/find" -G Ninja -DCMAKE_C_COMPILER="$cc" -DCMAKE_PREFIX_PATH="$prefix"
    "$cmake" --build "$directory/find"
} >"$directory/log" || { cat "$directory/log"; exit 1; }
expect "$tone" "$directory/find/minimal"

export PKG_CONFIG_PATH=$package
expect 3.1.4 pkg-config --modversion qzk
read -ra flags <<<"$(pkg-config --cflags --libs qzk)"
"$cc" "$example/minimal.c" "${flags[@]}" -lm -o "$directory/packaged"
"$cc" "$example/minimal.c" -I"$prefix/include" -L"$library" -lqzk -lm -o "$directory/plain"

export LD_LIBRARY_PATH=$library
expect "$tone" "$directory/packaged"
expect "$tone" "$directory/plain"
[[ -z $python ]] || expect 14.0 "$python" "$example/minimal.py"
