# What a script shows while it works. Sourced by the scripts beside it.

# On a terminal, each step replaces the one before.
step() {
    [[ ! -t 2 ]] || printf '\r\033[K%s' "$*" >&2
}

# quietly WHAT COMMAND...: shows the command's latest line as progress, and all of its
# output, which is kept in $log, if it fails.
quietly() {
    local what=$1 line
    shift
    if ! "$@" 2>&1 | tee "$log" | while IFS= read -r line; do step "$what: ${line:0:60}"; done; then
        step ""
        cat "$log" >&2
        echo "failed: $*" >&2
        exit 1
    fi
}

# build_example TARGET NAME: builds an example program in build/demo/build.
build_example() {
    [[ -t 2 ]] || echo "building $2" >&2
    quietly building cmake --preset release -DQZK_BUILD_TESTS=OFF -B build/demo/build
    quietly building cmake --build build/demo/build --target "$1"
    step ""
}
