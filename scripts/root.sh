# shellcheck shell=bash
# Functions of scripts that need the rights of root.

as_root() {
    if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# bare_debian DIRECTORY SUITE PACKAGES: a bare Debian with further packages, separated by commas. It is
# created once, since that takes long.
bare_debian() {
    [ ! -e "$1/made" ] || return 0
    echo "a bare Debian ($2) in $1"
    as_root rm -rf "$1"
    mkdir -p "$(dirname "$1")"
    as_root debootstrap --variant=minbase --include="$3" "$2" "$1" \
        "${DEBIAN_MIRROR:-http://deb.debian.org/debian}" >"$1.log"
    as_root touch "$1/made"
}

# inside DIRECTORY COMMAND...: runs a command in that Debian.
# shellcheck disable=SC2016  # the variables are those of the inner shell
inside() {
    as_root env HOME=/root DEBIAN_FRONTEND=noninteractive LC_ALL=C \
        PATH=/usr/sbin:/usr/bin:/sbin:/bin unshare --mount --fork sh -ec '
            mount --rbind /dev "$0/dev"
            mount --rbind /proc "$0/proc"
            exec chroot "$0" "$@"' "$@"
}
