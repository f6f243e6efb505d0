#!/usr/bin/env bash
# Makes twenty machines of the examples, scans them and makes the page of all.
#
#   tools/show_fleet.sh PROGRAM FOLDER    FOLDER is made anew
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
program=$1
folder=$2

rm -rf "$folder"
mkdir -p "$folder/disks"
examples=(hijacked-xp hijacked-98 hijacked-xp hijacked-98 clean-xp)
for number in {01..20}; do
    cp -r "$root/examples/machines/${examples[10#$number % 5]}" "$folder/disks/pc-$number"
done
rm "$folder/disks/pc-07/machine.json"  # one that wasn't copied whole
cd "$folder"
show() {
    echo "\$ brackenfold-fleet $*"
    "$root/tools/brackenfold-fleet" "$@" || true
    echo
}
ls -d disks/* >list.txt
show run list.txt --out fleet --program "$program"
cp "$root/examples/machines/hijacked-98/machine.json" disks/pc-07/
show resume fleet
show merge fleet
echo "The page: $PWD/fleet/fleet.html"
