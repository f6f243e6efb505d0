#!/usr/bin/env bash
# Builds the Windows program and opens it under Wine, in a prefix of its own under build/. Without a
# display it starts Xvfb and takes a screenshot.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh
need_packages $packages_native $packages_windows $packages_wine
build_preset mingw64 Brackenfold

export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
folder=$WINEPREFIX/drive_c/Brackenfold

# open_program: makes the prefix where needed and runs the program until it is closed.
open_program() {
    wineboot -u >/dev/null 2>&1
    mkdir -p "$folder"
    cp build/mingw64/Brackenfold.exe build/mingw64/BKFDCustom.dll "$folder/"
    wine "$folder/Brackenfold.exe"
}

if [ -n "${DISPLAY:-}" ]; then
    open_program
    exit
fi

echo "No display: using Xvfb." >&2
export -f open_program
export folder
shots=$PWD/build/screenshots
mkdir -p "$shots"
# The wineserver must not outlive the display that it was started on.
trap 'wineserver -k 2>/dev/null || :' EXIT
export shots
xvfb-run -a -s "-screen 0 1024x768x24" bash -c '
    open_program & program=$!
    for second in 2 4 8; do
        sleep 2
        [ $second = 4 ] || import -window root "$shots/after-${second}s.png"
    done
    kill $program 2>/dev/null
    wineserver -k' || :
echo "Screenshots: $(ls "$shots"/*.png | tr "\n" " ")"
