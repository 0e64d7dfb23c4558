# A fresh Debian to try things in. Sourced by bash after tools/lib.sh; as root.
# KOVA_CHROOT is the folder that a fresh Debian is made in and kept in, with "-ARCHITECTURE" behind it
# (default build/chroot); it is copied for each use.

machine=$(dpkg --print-architecture)

# emulate: this machine's kernel runs programs for AArch64 (in the emulator).
emulate() {
    install_missing emulate
    update-binfmts --enable qemu-aarch64 || fail "the kernel takes no emulator for arm64"
}

unmount() {
    local place
    for place in proc dev/pts; do
        ! mountpoint -q "$system/$place" || umount "$system/$place"
    done
}

# fresh_debian ARCHITECTURE: $system is a fresh Debian with the folder /shared, gone when the script
# ends.
fresh_debian() {
    local base=${KOVA_CHROOT:-$root/build/chroot}-$1
    [ "$(id -u)" -eq 0 ] || fail "this changes its root folder, which takes root"
    install_missing chroot
    [ "$1" = "$machine" ] || emulate
    if [ ! -e "$base/.complete" ]; then
        say "Making a fresh Debian ($1) in $base"
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
}

# A command line of the shell, in the fresh system.
inside() {
    chroot "$system" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C \
        DEBIAN_FRONTEND=noninteractive sh -ec "cd /shared; $1"
}
