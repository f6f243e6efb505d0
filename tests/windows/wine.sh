# A Wine prefix with a display of its own. Sourced by run.sh.

# start_wine: makes $work, the display and the prefix. Without a display no window could be made.
start_wine() {
    stay_on_one_processor || return 1
    work=$(mktemp -d)
    export WINEPREFIX=$work/prefix WINEDEBUG=-all LC_ALL=C.UTF-8
    export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$work/display" >/dev/null 2>&1 &
    display_process=$!
    wait_until 10 test -s "$work/display" || { echo "Xvfb didn't start" >&2; return 1; }
    DISPLAY=:$(cat "$work/display")
    export DISPLAY
    add_fonts
    run_wine 90 wineboot -i || { echo "wineboot failed" >&2; return 1; }
    # There is no window manager, for whose answers Wine would wait whenever a window goes.
    run_wine 30 reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f || return 1
    drive=$WINEPREFIX/drive_c
    # The system folder of the Windows 95 family, which Wine doesn't make.
    mkdir -p "$drive/windows/system"
}

# stay_on_one_processor: this shell and all that it starts from now on. A program, Wine's server and
# the display wait for each other at every step, and a virtual machine takes longer to wake another
# processor than the step takes: on one, all is several times faster and the same from run to run.
stay_on_one_processor() {
    local allowed
    allowed=$(taskset -cp $$) && taskset -cp "${allowed##*[ ,-]}" $$ >/dev/null
}

# add_fonts: into a prefix that isn't made yet, the system's own fonts, which Debian's Wine doesn't
# find by itself. Windows look and measure as they should with them.
add_fonts() {
    mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
    cp /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
}

# stop_wine: ends what start_wine started, and nothing else.
stop_wine() {
    [ -n "${work:-}" ] || return
    [ -d "$WINEPREFIX" ] && timeout 20 wineserver -k
    [ -n "${display_process:-}" ] && kill "$display_process" 2>/dev/null
    rm -rf "$work"
}

# run_wine SECONDS PROGRAM ARGUMENT...: a Windows program, with a time limit.
run_wine() {
    local limit=$1
    shift
    timeout -k 5 "$limit" wine "$@" 2>>"$work/wine.log"
}

# wait_until SECONDS COMMAND...: asks again and again, quietly.
wait_until() {
    local limit=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $limit ] || return 1
        sleep 0.1
    done
}

# set_family VERSION: the Windows version that programs started from now on see.
set_family() {
    run_wine 30 reg add 'HKCU\Software\Wine' /v Version /d "$1" /f
}

# set_resolution DOTS: the dots per inch that programs started from now on see.
set_resolution() {
    run_wine 30 reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$1" /f || return 1
    timeout 20 wineserver -k
    timeout 20 wineserver -w
}
