#!/usr/bin/env bash
# Measures under Wine how long the program takes from its start to its main window, without the
# splash window's wait, beside Wine's own notepad in the same run: in a prefix and on a display of its
# own, which are gone afterwards, and on one processor.
#
#   bench/windows/run.sh BUILD-FOLDER [ROUNDS]
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(realpath -e "${1:?usage: bench/windows/run.sh BUILD-FOLDER [ROUNDS]}") || exit 1
for tool in wine wineserver Xvfb; do
    command -v "$tool" >/dev/null || { echo "$tool is missing: the start can't be measured" >&2; exit 1; }
done
. "$here/../../tests/windows/wine.sh"
trap stop_wine EXIT
start_wine >/dev/null || exit 1

install="$drive/Program Files/Brackenfold"
mkdir -p "$install"
cp "$build/Brackenfold.exe" "$build/BKFDCustom.dll" "$install/"
run_wine 300 "$build/bench/windows/start_time.exe" "${2:-11}" \
    '"C:\Program Files\Brackenfold\Brackenfold.exe"' notepad.exe | tr -d '\r'
exit "${PIPESTATUS[0]}"
