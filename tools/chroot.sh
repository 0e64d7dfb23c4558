# Functions that provide a fresh Debian system in a chroot. To be sourced by bash after tools/lib.sh.
# Requires root.
# KOVA_CHROOT plus "-ARCHITECTURE" is the folder of the pristine system (default build/chroot), which is
# created once and copied for each use.

machine=$(dpkg --print-architecture)

# emulate: enables this machine's kernel to run AArch64 programs in the emulator.
emulate() {
    install_missing emulate
    update-binfmts --enable qemu-aarch64 || fail "the kernel does not accept an emulator for arm64"
}

unmount() {
    local place
    for place in proc dev/pts; do
        ! mountpoint -q "$system/$place" || umount "$system/$place"
    done
}

# fresh_debian ARCHITECTURE: creates a fresh Debian with the folder /shared and sets $system to its
# root. The system is deleted when the script ends.
fresh_debian() {
    local base=${KOVA_CHROOT:-$root/build/chroot}-$1
    [ "$(id -u)" -eq 0 ] || fail "chroot requires root"
    install_missing chroot
    [ "$1" = "$machine" ] || emulate
    if [ ! -e "$base/.complete" ]; then
        say "Creating a fresh Debian ($1) in $base"
        rm -rf "$base"
        mkdir -p "$base"
        debootstrap --arch="$1" --variant=minbase \
            "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$base" >"$base.log" ||
            { tail "$base.log"; fail "debootstrap"; }
        touch "$base/.complete"
    fi
    system=$base.copy
    unmount
    rm -rf --one-file-system "$system"
    cp -a "$base" "$system"
    trap 'unmount; rm -rf --one-file-system "$system"' EXIT
    mount -t proc proc "$system/proc"
    mount -t devpts -o ptmxmode=666,newinstance devpts "$system/dev/pts"
    mkdir "$system/shared"
    # Debian's installer writes this file, but debootstrap does not.
    printf '127.0.0.1 localhost\n::1 localhost\n' >"$system/etc/hosts"
    # Certificates that this machine trusts besides Debian's, for example of a proxy. The package
    # ca-certificates of the fresh system adds them when it is installed.
    local own=/usr/local/share/ca-certificates
    [ ! -d $own ] || cp -a $own "$system/usr/local/share/"
}

# inside COMMAND: runs a shell command line in the fresh system.
inside() {
    chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C \
        DEBIAN_FRONTEND=noninteractive sh -ec "cd /shared; $1"
}
