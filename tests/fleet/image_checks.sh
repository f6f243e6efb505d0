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
    if [ "$3" = vfat ]; then
        mkfs.vfat --offset "$2" "$1" 30000 >/dev/null 2>&1 &&
            LC_ALL=C.UTF-8 MTOOLS_SKIP_CHECK=1 mcopy -s -i "$1@@$(($2 * 512))" "tree-$4"/* ::/
        return
    fi
    loop=$(losetup --find --show --offset $(($2 * 512)) --sizelimit 30720000 "$1") || return 1
    mkntfs --quiet --fast "$loop" 2>/dev/null && mount -t ntfs-3g "$loop" mounted &&
        cp -r "tree-$4/." mounted/ && umount mounted
    losetup --detach "$loop"
}

# disk NAME LABEL MACHINE TYPE PARTITION: an image with an empty partition before that of Windows.
disk() {
    truncate -s 40M "$1"
    printf 'label: %s\nstart=2048, size=2048\nstart=8192, type=%s\n' "$2" "$5" | sfdisk --quiet "$1" && fill "$1" 8192 "$4" "$3"
}
disk images/mbr.raw dos hijacked-xp ntfs 7 &&
    disk images/gpt.raw gpt clean-xp ntfs EBD0A0A2-B9E5-4433-87C0-68B6B72699C7 &&
    disk images/fat.raw dos hijacked-98 vfat c || { echo "FAILED: the images could not be made"; exit 1; }
# Its Windows is in a logical partition.
truncate -s 40M images/logical.raw
printf 'label: dos\nstart=2048, size=2048\nstart=6144, type=f\nstart=8192\n' | sfdisk --quiet images/logical.raw
dd if=images/mbr.raw of=images/logical.raw bs=512 skip=8192 seek=8192 count=60000 conv=notrunc status=none
# Two of Windows, one after the other; and partitions with none: one is empty, one damaged.
cp images/fat.raw images/two.raw
truncate -s 80M images/two.raw
dd if=images/mbr.raw of=images/two.raw bs=512 skip=8192 seek=81920 count=60000 conv=notrunc status=none
printf 'label: dos\nstart=8192, size=60000, type=c\nstart=81920, size=60000, type=7\n' | sfdisk --quiet images/two.raw >/dev/null 2>&1
truncate -s 40M images/none.raw
printf 'label: dos\nstart=2048, size=2048\nstart=8192, type=7\n' | sfdisk --quiet images/none.raw
mkfs.vfat --offset 2048 images/none.raw 1024 >/dev/null 2>&1
dd if=images/mbr.raw of=images/none.raw bs=512 skip=8192 seek=8192 count=1 conv=notrunc status=none
qemu-img convert -f raw -O qcow2 images/mbr.raw images/mbr.qcow2
qemu-img convert -f raw -O qcow2 images/fat.raw images/fat.qcow2
head -c 100000 images/mbr.qcow2 >images/cut.qcow2
head -c 3M images/mbr.raw >images/cut.raw
qemu-img convert -f raw -O vmdk images/mbr.raw images/mbr.vmdk
head -c 5M /dev/zero >images/empty.raw
echo "no image" >images/text.raw
sha256sum images/* >before
failed=0
options=
# scans KIND CODE LINES ENTRY...: a run over the entries ends so, and the verdicts are those.
scans() {
    local kind=$1 code=$2 verdicts=$3 status=0
    shift 3
    printf '%s\n' "$@" >list
    rm -rf out
    # shellcheck disable=SC2086  # a list of options
    "$here/../../tools/brackenfold-fleet" run list --out out --program "$program" --open "$kind" $options >said 2>&1 || status=$?
    cat out/records/*/*.json 2>/dev/null | grep -o '"verdict":"[a-z]*"' | sort | uniq -c | tr -s ' \n' ' ' >>said
    [ $status -eq "$code" ] && grep -qF -- "$verdicts" said && { echo "ok     $kind: $verdicts"; return; }
    failed=$((failed + 1))
    echo "FAILED $kind: ended with $status"
    sed 's/^/       /' said
}
scans raw 0 '1 "verdict":"clean" 2 "verdict":"parasites"' images/{mbr,gpt,logical}.raw
scans raw 0 '1 "verdict":"parasites"' images/fat.raw
cmp <(sed 's/fat.raw/X/' out/records/*/*.json) <("$program" --machine tree-hijacked-98 scan --record --name images/X) ||
    { echo "FAILED: the FAT volume isn't read as its folder is" && failed=$((failed + 1)); }
if ! grep -qw vfat /proc/filesystems; then
    options=--times scans raw 1 "so that it can't be scanned with --times here" images/fat.raw
fi
scans raw 1 'holds Windows in partitions 1 and 2: IMAGE@1 takes that one' images/two.raw
scans raw 0 '2 "verdict":"parasites"' images/two.raw@{1,2}
scans raw 1 'none.raw: partition 2 mount: Failed to mount' images/none.raw
scans raw 1 'has no partition 7 with a file system' images/mbr.raw@7
scans raw 1 'partition 2 lies behind the end of the image, which was cut off' images/cut.raw
scans qcow2 1 'cut.qcow2: open: images/cut.qcow2: ' images/cut.qcow2
scans qcow2 0 '2 "verdict":"parasites"' images/{mbr,fat}.qcow2
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
