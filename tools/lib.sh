# What ./run, ./test and .ci/run share. Sourced by bash with `set -euo pipefail` in force.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }

fail() {
    printf '\nFAILED: %s\n' "$*" >&2
    exit 1
}

# The packages of the named groups of packages.txt, a name a line.
packages() {
    local group
    for group in "$@"; do
        sed -n "s/^$group: *\([^ #]*\).*/\1/p" "$root/packages.txt"
    done
}

is_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installs what is missing of the named groups; touches the network only then.
install_missing() {
    local name missing=() as_root=()
    command -v dpkg-query >/dev/null ||
        fail "this script installs Debian packages; elsewhere, install what packages.txt lists and use cmake --preset release"
    for name in $(packages "$@"); do
        is_installed "$name" || missing+=("$name")
    done
    if [ ${#missing[@]} -eq 0 ]; then
        say "All packages are installed"
        return
    fi
    say "Installing ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null ||
            fail "ask an administrator to run: apt-get install ${missing[*]}"
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update || fail "apt-get update: is the network there?"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}" ||
        fail "apt-get could not install ${missing[*]}"
}

# Configures and builds a preset; further arguments go to the build.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    cd "$root"
    cmake --preset "$preset" || fail "cmake could not configure the preset $preset"
    cmake --build --preset "$preset" "$@" || fail "the build of the preset $preset"
}
