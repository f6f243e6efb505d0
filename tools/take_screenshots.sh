#!/usr/bin/env bash
# Takes a picture of every window of the Windows program, on a hijacked machine, in a Wine prefix and
# on a display of its own.
#
#   tools/take_screenshots.sh [FOLDER]       into docs/images, or the folder
#
# BKFD_LOOK names a registry file that is imported before, for other colours, fonts or resolutions.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1
shots=$(realpath -m "${1:-docs/images}")
. tools/packages.sh
# shellcheck disable=SC2086  # lists of words
need_packages $packages_native $packages_windows $packages_wine || exit 1
build_preset mingw64 Brackenfold BKFDCustom || exit 1
. tests/windows/wine.sh
. tools/hijack_prefix.sh

installed='C:\Program Files\Brackenfold'
removed_key='HKCU\Software\Tarnwick Labs\Brackenfold\Current Version\Removed Files'
removed_files='C:\WINDOWS\system32\hpjk.dll
C:\WINDOWS\system32\srchast.dll
C:\WINDOWS\winsrvhp.exe'

give_up() {
    echo "$*" >&2
    import -window root "$shots/failed.png"
    exit 1
}

# ---------------------------------------------------------------- the machine

# prepare_machine: what there is to see. A proxy that never answers lets the progress window stay.
prepare_machine() {
    local folder=$drive/Program\ Files/Brackenfold settings='HKCU\Software\Microsoft\Windows\CurrentVersion\Internet Settings'
    local file name
    hijack_prefix examples/machines/hijacked-xp
    cp build/mingw64/Brackenfold.exe build/mingw64/BKFDCustom.dll "$folder/"
    while IFS= read -r file; do
        name=${file##*\\}
        echo "a disabled file" >"$drive/$(dirname "$(sed 's/^C:.WINDOWS/windows/; s/\\/\//g' <<<"$file")")/parasite_$name.parasite"
        run_wine 30 reg add "$removed_key" /v "$file" /d "$file" /f
    done <<<"$removed_files"
    run_wine 30 reg add "$settings" /v ProxyEnable /t REG_DWORD /d 1 /f
    run_wine 30 reg add "$settings" /v ProxyServer /d "127.0.0.1:$silent_port" /f
    # A desktop of its own colour, for the pictures that show more than one window.
    run_wine 30 reg add 'HKCU\Control Panel\Colors' /v Background /d '58 110 110' /f
    [ -z "${BKFD_LOOK:-}" ] || import_registry "$BKFD_LOOK"
    timeout 20 wineserver -k
    wait_until 10 is_server_gone
}

is_server_gone() { ! timeout 1 wineserver -k 0; }

# start_silent_proxy: takes connections and says nothing.
start_silent_proxy() {
    python3 - >"$work/port" <<'END' &
import socket, time
listener = socket.create_server(("127.0.0.1", 0))
print(listener.getsockname()[1], flush=True)
while True:
    time.sleep(3600)
END
    proxy_process=$!
    wait_until 10 test -s "$work/port" || give_up "no proxy"
    silent_port=$(cat "$work/port")
}

# ---------------------------------------------------------------- windows

windows() { xdotool search --onlyvisible --class brackenfold 2>/dev/null | sort; }
unseen_window() { window=$(windows | grep -vxFf "$work/seen" | tail -n 1) && [ -n "$window" ]; }

# wait_for_window NAME: the next window; sets $window.
wait_for_window() {
    wait_until 40 unseen_window || give_up "no window: $1"
    unseen_window
    echo "$window" >>"$work/seen"
}

is_gone_window() { ! windows | grep -qx "$1"; }

# Two equal looks one after the other: all is painted.
is_at_rest() {
    local before
    before=$(import -window root rgb:- | md5sum)
    sleep 0.15
    [ "$before" = "$(import -window root rgb:- | md5sum)" ]
}

geometry_of() {
    eval "$(xdotool getwindowgeometry --shell "$1")"
    echo "${WIDTH}x${HEIGHT}+${X}+${Y}"
}

# take NAME [WINDOW]: what the screen shows in the window's place, the last new one if none is named.
take() {
    wait_until 10 is_at_rest
    import -window root -crop "$(geometry_of "${2:-$window}")" +repage "$work/$1.png"
    convert "$work/$1.png" -strip +dither -colors 200 -define png:compression-level=9 "PNG8:$shots/$1.png"
    echo "$1"
}

# key KEY...: to the window that is in front. Wine's state of a shift key runs ahead of the messages,
# so it stays down until the other key is through.
key() {
    local each shift
    for each in "$@"; do
        shift=${each%+*}
        [ "$shift" = "$each" ] || xdotool keydown "$shift"
        xdotool key "${each##*+}"
        wait_until 5 is_at_rest
        [ "$shift" = "$each" ] || xdotool keyup "$shift"
        wait_until 5 is_at_rest
    done
}

# point_at X Y: in the window, in parts of a thousand of its size.
point_at() {
    eval "$(xdotool getwindowgeometry --shell "$window")"
    xdotool mousemove $((X + WIDTH * $1 / 1000)) $((Y + HEIGHT * $2 / 1000))
}

# close_window: by Escape.
close_window() {
    xdotool key Escape
    wait_until 10 is_gone_window "$window" || give_up "the window stays"
}

# choose KEY...: an entry of the main window's menus.
choose() {
    window=$main
    key "$@"
}

# ---------------------------------------------------------------- the walk

take_all() {
    echo none >"$work/seen"
    (cd "$drive/Program Files/Brackenfold" && exec timeout 300 wine "$installed\\Brackenfold.exe" 2>>"$work/wine.log") &
    wait_for_window "splash"
    take splash
    wait_for_window "offer of a cleanup"
    take found
    close_window
    wait_for_window "main window"
    main=$window
    point_at 500 600
    take main-help
    key ctrl+Tab
    take main-helpers
    point_at 300 300
    xdotool click 3
    take main-menu
    xdotool key Escape
    ignore_selected
    key ctrl+Tab
    take main-settings
    key ctrl+Tab
    take main-support
    key F12
    wait_for_window "question"
    take question "$main"
    close_window
    choose alt+t s
    wait_for_window "Safe Remover"
    xdotool type --delay 20 'C:\WINDOWS\system32\hpjk.dll'
    key Return
    xdotool type --delay 20 'srchast.dll'
    take saferemover
    close_window
    choose alt+t p
    wait_for_window "Restore Removed Programs"
    take restore
    close_window
    clean_up_and_undo
    choose alt+h a
    wait_for_window "About"
    take about
    close_window
    take_progress
}

# ignore_selected: the selected helper object is on the list while the pictures of that are taken.
ignore_selected() {
    local list
    key Menu i
    choose alt+t i
    wait_for_window "Ignore List"
    list=$window
    take ignore
    key alt+s
    wait_for_window "question"
    key Return
    wait_until 10 is_gone_window "$window" || give_up "the question stays"
    window=$list
    close_window
    window=$main
}

clean_up_and_undo() {
    window=$main
    key F12
    wait_for_window "question"
    key Return
    wait_for_window "end of the cleanup"
    close_window
    choose alt+t u
    wait_for_window "Undo Changes"
    take undo
    close_window
}

take_progress() {
    window=$main
    key alt+n
    xdotool type --delay 20 'Robin'
    key alt+e
    xdotool type --delay 20 'robin@mail.example'
    key shift+Tab shift+Tab
    xdotool type --delay 20 'My home page changes back to a search page whenever I restart Windows.'
    key alt+r
    wait_for_window "progress window"
    take progress "$main"
}

clean_up() {
    [ -z "${proxy_process:-}" ] || kill "$proxy_process" 2>/dev/null
    stop_wine
}

mkdir -p "$shots"
trap clean_up EXIT
start_wine >/dev/null || exit 1
start_silent_proxy
prepare_machine >/dev/null
take_all
