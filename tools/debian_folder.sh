# A bare Debian 12 in a folder, for what is tried on another system than this one. Sourced; needs root.

# make_debian FOLDER ARCHITECTURE PACKAGE...: makes it, unless it is there with these packages. A folder
# is finished when it has its name.
make_debian() {
    local folder=$1 architecture=$2
    shift 2
    [ "$(cat "$folder/.packages" 2>/dev/null)" != "$architecture $*" ] || return 0
    command -v debootstrap >/dev/null || { echo "debootstrap is missing: no Debian of $architecture can be made" >&2; return 1; }
    echo "Making a Debian of $architecture in $folder ..." >&2
    rm -rf --one-file-system "$folder" "$folder.new"
    mkdir -p "$(dirname "$folder")"
    local log=$folder.log
    if ! { debootstrap --arch="$architecture" --variant=minbase bookworm "$folder.new" \
               "${DEBIAN_MIRROR:-http://deb.debian.org/debian}" && add_packages "$folder.new" "$@"; } >"$log" 2>&1 </dev/null; then
        tail -n 20 "$log" >&2
        echo "No Debian of $architecture could be made; the whole output is in $log." >&2
        return 1
    fi
    echo "$architecture $*" >"$folder.new/.packages"
    mv "$folder.new" "$folder"
}

add_packages() {
    local folder=$1
    shift
    [ $# -gt 0 ] || return 0
    case " $* " in *:amd64\ *) in_debian "$folder" dpkg --add-architecture amd64 || return 1 ;; esac
    in_debian "$folder" sh -c 'apt-get update &&
        DEBIAN_FRONTEND=noninteractive exec apt-get install -y --no-install-recommends "$@"' sh "$@"
}

# in_debian FOLDER COMMAND...: runs it there, with the system's own devices, in process and mount tables
# of its own: what it leaves running ends with it. The lines of $debian_binds are paths of this computer
# that are there too.
in_debian() {
    local folder=$1
    shift
    unshare --mount --pid --fork --kill-child bash -c '
        folder=$1; shift
        set -e
        mount -t proc proc "$folder/proc"
        mount --rbind /dev "$folder/dev"
        [ ! -e /etc/resolv.conf ] || cp -L /etc/resolv.conf "$folder/etc/resolv.conf"
        while IFS= read -r path; do
            [ -n "$path" ] || continue
            mkdir -p "$folder$path"
            mount --bind "$path" "$folder$path"
        done <<<"$debian_binds"
        exec chroot "$folder" "$@"' in_debian "$folder" "$@"
}
export debian_binds=
