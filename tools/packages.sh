# Debian packages on demand. Sourced by the scripts beside it.

# as_root COMMAND...
# Runs the command as root, directly or with sudo; fails where neither is possible.
as_root() {
    if ((EUID == 0)); then
        "$@"
    elif command -v sudo >/dev/null; then
        sudo "$@"
    else
        return 1
    fi
}

# need_packages PACKAGE...
# Installs those of the packages that are missing, and nothing when none is. Needs root or sudo. Never removes
# or downgrades what is there.
need_packages() {
    local package missing=() suite install
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' installed' ]] || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    echo "installing ${missing[*]}" >&2
    # One broken index among several does not make the others useless: the installation decides.
    as_root apt-get update -qq >&2 || echo "apt-get update failed: trying with the indexes there are" >&2
    install=(as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends --no-remove)
    # Where the index of another suite is broken for one of two architectures, only the release's own suite has
    # the same version of a package for both.
    suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
    "${install[@]}" "${missing[@]}" >&2 || { [[ $suite ]] && "${install[@]}" -t "$suite" "${missing[@]}" >&2; } || {
        echo "missing packages: ${missing[*]} (install them, or run this as root)" >&2
        return 1
    }
}

# need_32bit_linux, need_mingw, need_wine: what the 32-bit targets need, each fails where it cannot be had.
need_32bit_linux() {
    need_packages g++-multilib googletest
}

need_mingw() {
    need_packages g++-mingw-w64-i686-posix googletest
}

need_wine() {
    dpkg --print-foreign-architectures | grep -qx i386 || as_root dpkg --add-architecture i386 || return 1
    need_packages wine32:i386 wine
}
