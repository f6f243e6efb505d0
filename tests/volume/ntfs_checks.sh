#!/usr/bin/env bash
# A hijacked Windows XP on an NTFS volume: an image file made by mkntfs and mounted by ntfs-3g, in a
# mount namespace of its own. Scanned, cleaned up, mounted anew and undone, with access lists,
# attributes, short names, streams, junctions and compressed files that must come back; then what goes
# wrong with real disks.
#
#   tests/volume/ntfs_checks.sh PROGRAM
#
# Exit status 77 where there is no /dev/fuse.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
program=$(realpath -e "${1:?usage: tests/volume/ntfs_checks.sh PROGRAM}") || exit 1
[ -c /dev/fuse ] || { echo "no /dev/fuse: the checks on NTFS can't run"; exit 77; }
[ -n "${BKFD_MOUNTS:-}" ] || BKFD_MOUNTS=own exec unshare -m "${BASH_SOURCE[0]}" "$@"

work=$(mktemp -d)
disk=$work/pc
trap 'unmount 2>/dev/null; rm -rf "$work"' EXIT
export ASAN_OPTIONS=detect_leaks=0
mkdir "$disk"

passed=0
failed=0
check() {
    local name=$1
    shift
    if "$@" >"$work/checked" 2>&1; then
        passed=$((passed + 1))
        echo "ok     $name"
    else
        failed=$((failed + 1))
        echo "FAILED $name"
        tail -n 40 "$work/checked" | sed 's/^/       /'
    fi
}

# ends_with STATUS ARGUMENT...: a run of the program on the volume.
ends_with() {
    local wanted=$1 status=0
    shift
    timeout 120 "$program" --machine "$disk" "$@" >"$work/out" 2>&1 || status=$?
    [ $status -eq "$wanted" ] && return
    echo "$* ended with $status instead of $wanted"
    cat "$work/out"
    return 1
}

# ---------------------------------------------------------------- the volume

mount_volume() {
    ntfs-3g -o "no_detach,streams_interface=xattr${1:+,$1}" "$work/volume" "$disk" >"$work/ntfs-3g.log" 2>&1 &
    driver=$!
    local limit=$((SECONDS + 10))
    until mountpoint -q "$disk"; do
        kill -0 $driver 2>/dev/null && [ $SECONDS -lt $limit ] || { cat "$work/ntfs-3g.log"; return 1; }
        sleep 0.05
    done
}

unmount() { umount "$disk" && wait "$driver"; }
mount_anew() { unmount && mount_volume "$@"; }

# set_attribute FILE NUMBER: Windows' attributes, in hexadecimal digits.
set_attribute() { setfattr -n system.ntfs_attrib_be -v "0x$2" "$disk/$1"; }

# What no cleanup touches, and what a cleanup renames, each with what an NTFS file can have.
fill() {
    "$here/../../tools/make_volume.py" "$here/../../examples/machines/hijacked-xp" "$work/tree" &&
        cp -r --preserve=xattr "$work/tree/." "$disk/" || return 1
    setfattr -n system.ntfs_dos_name -v 'PROGRA~1' "$disk/Program Files"
    setfattr -n system.ntfs_dos_name -v 'DOCUME~1' "$disk/Documents and Settings"
    set_attribute WINDOWS/system32/winhook.dll 00000027
    set_attribute WINDOWS/system32/config 00000016
    set_attribute WINDOWS/system32/config/SOFTWARE 00000026
    setfattr -n user.Zone.Identifier -v '[ZoneTransfer]' "$disk/WINDOWS/system32/winhook.dll"
    mkdir "$disk/compressed" && set_attribute compressed 00000810 && yes compress | head -n 9999 >"$disk/compressed/text"
    local name
    for name in 'жук.txt' '字.txt' 'ünï.txt' 'a:b?c*.txt' 'point.' 'NUL' ' blank'; do
        echo "$name" >"$disk/$name" || echo "not on this volume: $name"
    done
    # A junction as Windows makes it, which leads to the profiles by their Windows path.
    mkdir "$disk/Users"
    setfattr -n system.ntfs_reparse_data -v "$(junction_data 'C:\Documents and Settings')" "$disk/Users"
}

# junction_data PATH: a mount point's reparse data, in hexadecimal digits.
junction_data() {
    python3 - "$1" <<'END'
import struct, sys
target = ("\\??\\" + sys.argv[1]).encode("utf-16-le")
shown = sys.argv[1].encode("utf-16-le")
names = target + b"\0\0" + shown + b"\0\0"
data = struct.pack("<HHHH", 0, len(target), len(target) + 2, len(shown)) + names
print("0x" + (struct.pack("<IHH", 0xA0000003, len(data), 0) + data).hex())
END
}

make_volume() {
    truncate -s 64M "$work/volume" && mkntfs -q -F -Q -L OLDPC "$work/volume" && mount_volume && fill && mount_anew &&
        state >"$work/state"
}

# state: every file with its content, access list, attributes, short name and streams, but for the
# program's own. Times of files that were written anew are their own.
state() {
    python3 - "$disk" <<'END'
import hashlib, os, sys
NAMES = ["system.ntfs_acl", "system.ntfs_attrib_be", "system.ntfs_dos_name", "system.ntfs_reparse_data"]
top = os.fsencode(sys.argv[1])
lines = []
for folder, folders, files in os.walk(top):
    if folder.endswith(b"/Program Files/Brackenfold"):
        folders.clear()
        continue
    for name in folders + files:
        path = os.path.join(folder, name)
        is_plain = os.path.isfile(path) and not os.path.islink(path)
        facts = [hashlib.sha256(open(path, "rb").read()).hexdigest() if is_plain else "-"]
        for attribute in NAMES + sorted(os.listxattr(path, follow_symlinks=False)):
            try:
                facts.append(f"{attribute}={os.getxattr(path, attribute, follow_symlinks=False).hex()}")
            except OSError:
                pass
        lines.append(f"{path[len(top):]!r} {' '.join(facts)}")
print("\n".join(sorted(lines)))
END
}

is_as_before() { state | diff "$work/state" -; }

# hives_are_sound: other readers read each to its end.
hives_are_sound() {
    local hive
    for hive in SYSTEM SOFTWARE DEFAULT; do
        hivexml "$disk/WINDOWS/system32/config/$hive" >/dev/null && reglookup "$disk/WINDOWS/system32/config/$hive" >/dev/null ||
            return 1
    done
}

# ---------------------------------------------------------------- the checks

cleaned_and_undone() {
    ends_with 1 scan && is_as_before || return 1
    ends_with 0 clean --yes && hives_are_sound || return 1
    is_as_before >/dev/null && { echo "nothing was changed"; return 1; }
    mount_anew && ends_with 0 scan || return 1
    ends_with 0 undo last --yes && mount_anew && ends_with 1 scan && is_as_before
}

# The junction is followed, and the short name too.
links_are_followed() {
    ends_with 0 identify 'C:\PROGRA~1\Notes\notes.exe' && grep -q Larkspur "$work/out" || { cat "$work/out"; return 1; }
}

refused() {
    ends_with 2 clean --yes && grep -q "$1" "$work/out" || { cat "$work/out"; return 1; }
    is_as_before
}

read_only() {
    mount_anew ro || return 1
    local sum
    sum=$(sha256sum <"$work/volume")
    ends_with 1 scan && refused 'read-only' && unmount || return 1
    [ "$sum" = "$(sha256sum <"$work/volume")" ] || { echo "the volume was written to"; return 1; }
    mount_volume
}

hibernated() {
    printf 'hibr%04092d' 0 >"$disk/hiberfil.sys"
    state >"$work/with_hibernation"
    ends_with 1 scan && ends_with 2 clean --yes && grep -qi 'hibernat' "$work/out" || { cat "$work/out"; return 1; }
    state | diff "$work/with_hibernation" - && rm "$disk/hiberfil.sys"
}

# With so much room a cleanup fails as a whole or in part, or is done; either way it comes back.
full() {
    local room status
    for room in 0 32 64 128 192 256 512; do
        mountpoint -q "$disk" || return 1
        dd if=/dev/zero of="$disk/filler" bs=4k count=16384 2>/dev/null
        truncate -s -${room}K "$disk/filler"
        timeout 120 "$program" --machine "$disk" clean --yes >"$work/out" 2>&1
        status=$?
        rm -f "$disk/filler"
        [ $status -eq 2 ] || { [ $room -gt 0 ] && [ $status -eq 0 ]; } || { echo "ended with $status"; cat "$work/out"; return 1; }
        hives_are_sound && undo_if_recorded && is_as_before || { echo "with $room KiB of room"; return 1; }
    done
}

undo_if_recorded() {
    timeout 120 "$program" --machine "$disk" undo last --yes >"$work/out" 2>&1
    case $? in
        0) return ;;
        2) grep -q 'nothing to undo' "$work/out" && return ;;
    esac
    cat "$work/out"
    return 1
}

# clean_until PATTERN: a cleanup whose driver is killed as soon as there is a file of that name, or
# another one than there was.
clean_until() {
    local before limit=$((SECONDS + 60))
    before=$(compgen -G "$disk/$1")
    timeout 120 "$program" --machine "$disk" clean --yes >"$work/out" 2>&1 &
    local cleanup=$!
    while [ "$(compgen -G "$disk/$1")" = "$before" ]; do
        kill -0 $cleanup 2>/dev/null && [ $SECONDS -lt $limit ] || { echo "no $1 appeared"; cat "$work/out"; return 1; }
    done
    kill -9 "$driver"
    wait "$cleanup" "$driver" 2>/dev/null
    umount -l "$disk"
    mount_volume
}

# The driver is killed while the cleanup works: at its backup, at its record, when a file has its new
# name, when the registry is to be written. A scan reads through the journal of a hive that was half
# written; what changes something puts it in order first.
driver_is_killed() {
    local pattern own="Program Files/Brackenfold" status
    for pattern in "$own/Backup/*" "$own/Undo/*.undo" 'WINDOWS/system32/parasite_*' "$own/Undo/*.registry"; do
        clean_until "$pattern" || return 1
        timeout 120 "$program" --machine "$disk" scan >"$work/out" 2>&1
        status=$?
        [ $status -le 1 ] ||
            { echo "killed at $pattern: scan ended with $status"; cat "$work/out"; return 1; }
        undo_if_recorded && ends_with 1 scan && hives_are_sound && is_as_before ||
            { echo "killed at $pattern"; cat "$work/out"; return 1; }
    done
}

check "NTFS: a volume" make_volume
check "NTFS: found, cleaned up, mounted anew, undone to the byte" cleaned_and_undone
check "NTFS: short names" links_are_followed
check "NTFS: mounted to be read only" read_only
check "NTFS: hibernated" hibernated
check "NTFS: full" full
check "NTFS: the driver is killed" driver_is_killed
echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
