# Functions common to ./run, ./test and the scripts in tools. To be sourced by bash under
# `set -euo pipefail`.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

say() { printf '\n== %s\n' "$*"; }

fail() {
    printf '\nFAILED: %s\n' "$*" >&2
    exit 1
}

# Prints the packages in the named groups of packages.txt, one per line.
packages() {
    local group
    for group in "$@"; do
        sed -n "s/^$group: *\([^ #]*\).*/\1/p" "$root/packages.txt"
    done
}

is_installed() {
    [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installs the missing packages of the named groups. Uses the network only if a package is missing.
install_missing() {
    local name missing=() as_root=()
    command -v dpkg-query >/dev/null ||
        fail "this script installs Debian packages; on other systems, install the packages in packages.txt and use cmake --preset release"
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
    "${as_root[@]}" apt-get update || fail "apt-get update: is the network available?"
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}" ||
        fail "apt-get could not install ${missing[*]}"
}

# Options that `build` passes to CMake when it configures.
configure_options=()

# Configures and builds a preset. Passes further arguments to the build.
build() {
    local preset=$1
    shift
    say "Building ($preset)"
    cd "$root"
    cmake --preset "$preset" "${configure_options[@]}" || fail "cmake could not configure the preset $preset"
    cmake --build --preset "$preset" "$@" || fail "could not build the preset $preset"
}
