#!/usr/bin/env bash
# Builds the Windows program and opens it under Wine, on a hijacked machine: a prefix of its own,
# build/wine, which stays from one run to the next; remove it to be hijacked again. Without a display
# it takes a picture of every window.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
. tools/packages.sh
. tests/windows/wine.sh
. tools/hijack_prefix.sh

if [ -z "${DISPLAY:-}" ]; then
    echo "No display: taking pictures of the windows." >&2
    tools/take_screenshots.sh build/screenshots
    echo "The pictures are in $PWD/build/screenshots."
    exit
fi

# shellcheck disable=SC2086  # lists of words
need_packages $packages_native $packages_windows $packages_wine
build_preset mingw64 Brackenfold BKFDCustom

export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
program="$WINEPREFIX/drive_c/Program Files/Brackenfold"
exec 9>build/wine.lock
flock -n 9 || { echo "It is open already." >&2; exit 1; }
# The wineserver must not outlive the display that it was started on.
trap 'wineserver -k 2>/dev/null || :' EXIT

# make_prefix: finished at once or not at all.
make_prefix() {
    echo "Making a Wine prefix ..." >&2
    rm -rf "$WINEPREFIX"
    add_fonts
    wine wineboot -i >/dev/null 2>&1
    hijack_prefix examples/machines/hijacked-xp >/dev/null 2>&1
    touch "$WINEPREFIX/hijacked"
}

# Without a window manager Wine would wait for its answers whenever a window goes.
choose_frames() {
    local managed=Y
    xdotool get_num_desktops >/dev/null 2>&1 || managed=N
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d $managed /f >/dev/null 2>&1
}

[ -e "$WINEPREFIX/hijacked" ] || make_prefix
choose_frames
mkdir -p "$program"
cp build/mingw64/Brackenfold.exe build/mingw64/BKFDCustom.dll "$program/"
echo "Opening Brackenfold in $WINEPREFIX ..." >&2
echo "(A restart ends the program alone here; when the next start asks for it again, answer Cancel.)" >&2
cd "$program"
wine Brackenfold.exe
