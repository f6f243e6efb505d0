#!/usr/bin/env bash
# tools/compare_hives.sh [--change] FOLDER: reads every registry file below the folder with `brackenfold
# registry` and with foreign readers, and prints what differs; with --change, copies of the hives in which
# keys and values were changed, and then taken back to the byte. Ends with 0 if nothing differs. What is compared, and
# where a foreign reader isn't asked, stands at the top of tools/compare_hives.py.
set -euo pipefail
change=()
if [ "${1-}" = --change ]; then
    change=(--change build/linux/tests/formats/change_hive)
    shift
fi
[ $# -eq 1 ] && [ -d "$1" ] || { echo "usage: $0 [--change] FOLDER" >&2; exit 2; }
folder=$(cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh
# shellcheck disable=SC2086  # a list of words
need_packages $packages_native $packages_hives
build_preset linux brackenfold change_hive
# Debian's own Python has libhivex's binding.
exec /usr/bin/python3 tools/compare_hives.py "${change[@]}" build/linux/brackenfold "$folder"
