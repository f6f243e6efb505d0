#!/usr/bin/env bash
# The ready openers of brackenfold-fleet: hijacked Windows volumes in raw, qcow2 and VMDK images, with
# tables of both kinds, with a FAT volume, and images that can't be opened.
#
#   tests/fleet/image_checks.sh PROGRAM        takes root and /dev/fuse; exit status 77 without them
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
program=$(realpath -e "${1:?usage: tests/fleet/image_checks.sh PROGRAM}") || exit 1
[ -c /dev/fuse ] && [ -c /dev/loop-control ] || { echo "no /dev/fuse or no loop devices: images can't be mounted"; exit 77; }
[ "$(id -u)" -eq 0 ] || { echo "not root: images can't be mounted"; exit 77; }
[ -n "${BKFD_MOUNTS:-}" ] || BKFD_MOUNTS=own exec unshare -m "${BASH_SOURCE[0]}" "$@"

work=$(mktemp -d)
trap 'umount "$work/mounted" 2>/dev/null; rm -rf "$work"' EXIT
export ASAN_OPTIONS=detect_leaks=0
cd "$work" || exit 1
mkdir mounted images

# fill IMAGE START TYPE MACHINE: a file system of that type from the sector on, with the machine's volume.
fill() {
    local loop
    "$here/../../tools/make_volume.py" "$here/../../examples/machines/$4" "tree-$4" 2>/dev/null
    loop=$(losetup --find --show --offset $(($2 * 512)) --sizelimit 30720000 "$1") || return 1
    if [ "$3" = ntfs ]; then
        mkntfs --quiet --fast "$loop" 2>/dev/null && mount -t ntfs-3g "$loop" mounted
    else
        mkfs.vfat "$loop" >/dev/null && mount -t vfat -o utf8 "$loop" mounted
    fi && cp -r "tree-$4/." mounted/ && umount mounted
    losetup --detach "$loop"
}

# disk NAME LABEL MACHINE TYPE PARTITION: an image with an empty partition before that of Windows.
disk() {
    truncate -s 40M "$1"
    printf 'label: %s\nstart=2048, size=2048\nstart=8192, type=%s\n' "$2" "$5" | sfdisk --quiet "$1" && fill "$1" 8192 "$4" "$3"
}
disk images/mbr.raw dos hijacked-xp ntfs 7 &&
    disk images/gpt.raw gpt clean-xp ntfs EBD0A0A2-B9E5-4433-87C0-68B6B72699C7 &&
    { ! grep -qw vfat /proc/filesystems || disk images/fat.raw dos hijacked-98 vfat c; } || { echo "FAILED: the images could not be made"; exit 1; }
# Its Windows is in a logical partition.
truncate -s 40M images/logical.raw
printf 'label: dos\nstart=2048, size=2048\nstart=6144, type=f\nstart=8192\n' | sfdisk --quiet images/logical.raw
dd if=images/mbr.raw of=images/logical.raw bs=512 skip=8192 seek=8192 count=60000 conv=notrunc status=none
qemu-img convert -f raw -O qcow2 images/mbr.raw images/mbr.qcow2
qemu-img convert -f raw -O vmdk images/mbr.raw images/mbr.vmdk
head -c 5M /dev/zero >images/empty.raw
echo "no image" >images/text.raw
sha256sum images/* >before
failed=0
# scans KIND CODE LINES ENTRY...: a run over the entries ends so, and the verdicts are those.
scans() {
    local kind=$1 code=$2 verdicts=$3 status=0
    shift 3
    printf '%s\n' "$@" >list
    rm -rf out
    "$here/../../tools/brackenfold-fleet" run list --out out --program "$program" --open "$kind" >said 2>&1 || status=$?
    cat out/records/*/*.json 2>/dev/null | grep -o '"verdict":"[a-z]*"' | sort | uniq -c | tr -s ' \n' ' ' >>said
    [ $status -eq "$code" ] && grep -qF -- "$verdicts" said && { echo "ok     $kind: $verdicts"; return; }
    failed=$((failed + 1))
    echo "FAILED $kind: ended with $status"
    sed 's/^/       /' said
}
scans raw 0 '1 "verdict":"clean" 2 "verdict":"parasites"' images/{mbr,gpt,logical}.raw
if grep -qw vfat /proc/filesystems; then
    scans raw 0 '1 "verdict":"parasites"' images/fat.raw
else
    echo "not checked: this system's kernel has no FAT"
fi
scans qcow2 0 '1 "verdict":"parasites"' images/mbr.qcow2
scans vmdk 0 '1 "verdict":"parasites"' images/mbr.vmdk
scans raw 1 'empty.raw: open: images/empty.raw: has neither partitions nor a file system' images/empty.raw
scans raw 1 'text.raw: open: images/text.raw: has neither partitions' images/text.raw
scans raw 1 'missing.raw: No such file or directory' images/missing.raw
scans qcow2 1 'text.raw: open: images/text.raw:' images/text.raw
sha256sum --quiet -c before || failed=$((failed + 1))
if losetup --list --noheadings | grep -F "$work"; then
    echo "FAILED: loop devices are left"
    failed=$((failed + 1))
fi
[ $failed -eq 0 ]
