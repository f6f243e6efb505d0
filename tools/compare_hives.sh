#!/usr/bin/env bash
# tools/compare_hives.sh FOLDER: reads every registry file below the folder with `brackenfold registry`
# and with foreign readers, and prints what differs. Ends with 0 if nothing does. What is compared, and
# where a foreign reader isn't asked, stands at the top of tools/compare_hives.py.
set -euo pipefail
[ $# -eq 1 ] && [ -d "$1" ] || { echo "usage: $0 FOLDER" >&2; exit 2; }
folder=$(cd "$1" && pwd)
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh
# shellcheck disable=SC2086  # a list of words
need_packages $packages_native $packages_hives
build_preset linux brackenfold
# Debian's own Python has libhivex's binding.
exec /usr/bin/python3 tools/compare_hives.py build/linux/brackenfold "$folder"
