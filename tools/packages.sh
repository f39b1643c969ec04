# Debian packages on demand. Sourced by the scripts beside it.

# need_packages PACKAGE...
# Installs those of the packages that are missing, and nothing when none is. Needs root or sudo.
need_packages() {
    local package missing=() as_root=()
    for package in "$@"; do
        [[ $(dpkg-query -W -f '${Status}' "$package" 2>/dev/null) == *' installed' ]] || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    if ((EUID)); then
        command -v sudo >/dev/null || {
            echo "missing packages: ${missing[*]} (install them, or run this as root)" >&2
            return 1
        }
        as_root=(sudo)
    fi
    as_root+=(env DEBIAN_FRONTEND=noninteractive)
    echo "installing ${missing[*]}" >&2
    # One broken index among several does not make the others useless: the installation decides.
    "${as_root[@]}" apt-get update -qq >&2 || echo "apt-get update failed: trying with the indexes there are" >&2
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}
