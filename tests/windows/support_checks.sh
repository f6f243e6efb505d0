# The support report from the window to the support desk: the tab of step 3 is filled in by keys, and
# what the program posts over HTTP on loopback is taken by the receiver and decoded, or answered
# oddly. The program asks for its real address; the prefix names the server as its proxy. Sourced by
# run.sh; uses startup_checks.sh and cleanup_checks.sh.

internet_settings='HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Internet Settings'
zone_map="$internet_settings\\ZoneMap\\Domains\\test.example"
sent_box="Your support request has been sent successfully. Please allow up to 48 hours for a response."
not_sent_box="Cannot send support request. Ensure you are online now. "

# decoder: the command line of whichever native build is there.
decoder() {
    local program
    for program in "$here"/../../build/linux-asan/brackenfold "$here"/../../build/linux/brackenfold; do
        [ ! -x "$program" ] || { timeout 60 "$program" "$@"; return; }
    done
    echo "no native build of brackenfold"
    return 1
}

# serve PROGRAM ARGUMENT...: a server on loopback, in the background, on the port of the one before.
serve() {
    stop_serving
    : >"$work/server"
    timeout 300 python3 "$here/../../$1" --port "${port:-0}" "${@:2}" >"$work/server" 2>&1 &
    server=$!
    wait_until 20 grep -q '^listening on' "$work/server" || { cat "$work/server"; return 1; }
    port=$(sed -n 's/^listening on .*:\([0-9]*\)$/\1/p' "$work/server")
}

stop_serving() {
    [ -n "${server:-}" ] || return 0
    kill "$server" 2>/dev/null
    wait "$server" 2>/dev/null
    server=
}

# name_proxy: to the system's network settings, from which programs started from now on take it.
name_proxy() {
    set_values <<END
$internet_settings|ProxyEnable|dword:00000001
$internet_settings|ProxyServer|127.0.0.1:$port
$zone_map|http|dword:00000004
END
}

type_text() { timeout 20 xdotool type --delay 15 -- "$1"; }
press() { timeout 10 xdotool key "$@"; }
next_tab() { timeout 10 xdotool keydown ctrl key Tab keyup ctrl; }

# request: presses the button by its key; prints the text of the box that tells the end.
request() {
    press alt+r
    drive 60 ok | tr -d '\r'
}

# tells EXPECTED: the box does.
tells() {
    request >"$work/box"
    grep -qxF -- "$1" "$work/box" && return
    echo "the box is wrong:"
    cat "$work/box" "$work/server"
    return 1
}

# has_focus: the main window; without a window manager nobody gives it the focus when it lost it.
has_focus() {
    [ "$(timeout 5 xdotool getwindowfocus getwindowname)" = Brackenfold ] && return
    timeout 5 xdotool search --onlyvisible --name '^Brackenfold$' windowfocus
    return 1
}

# advance_clock MINUTES: of the program, which starts at ten in the morning. It never goes back, and
# the file is never seen half written: Wine counts a pause that is under way by this clock.
advance_clock() {
    minutes=$((minutes + $1))
    date -u -d "2026-11-16 10:00 $minutes minutes" '+@%Y-%m-%d %H:%M:%S' >"$work/clock.new"
    mv "$work/clock.new" "$work/clock"
}

# open_support_tab: with a clock that stands in a file; CLOCK_LIBRARY is what that takes besides. The parasite of the prefix is found at the
# start; it is left alone.
open_support_tab() {
    minutes=0
    advance_clock 0
    LD_PRELOAD=$(dpkg -L libfaketime | grep libfaketimeMT)${CLOCK_LIBRARY:+:$CLOCK_LIBRARY} FAKETIME_NO_CACHE=1 \
        FAKETIME_TIMESTAMP_FILE="$work/clock" FAKETIME_DONT_FAKE_MONOTONIC=1 start_program
    drive 40 cancel || return 1
    wait_until 20 log_has 'FMain\.LogTabState: ' && wait_until 20 has_focus || return 1
    next_tab && next_tab && next_tab
}

fill_in() {
    press alt+n && type_text 'Kit <b> & "K"' || return 1
    press alt+e && type_text 'kit@example' || return 1
    press shift+Tab shift+Tab && type_text "It's back + 100% <x>"
}

temporary_files() {
    find "$drive" -ipath '*/temp/*' \( -name 'sc*.zip' -o -name '*-*-*-*-*.xml' \) | wc -l
}

# ---------------------------------------------------------------- the checks

lay_out_support() {
    install="$drive/$1 support"
    folder="$drive/$1 Support Parasites"
    desk="$work/$1-desk"
    rm -rf "$desk"
    mkdir -p "$folder" "$desk"
    cp "$build/tests/windows/parasite/parasite_program.exe" "$folder/sys32.exe"
    new_install "$1 support" "$build/BKFDCustom.dll"
    find "$drive" -ipath '*/temp/*' -type f -delete
    stand_in sys32.exe
    parasite=$!
    serve tools/receiver/receiver.py "$desk" && name_proxy
}

start_support() { lay_out_support "$1" && open_support_tab; }

# asks_for: what is missing, in the order description, name, address; each field then has the focus,
# and the placeholder is typed over. Nothing is sent.
asks_for() {
    tells "Please describe the problem. " && type_text x || return 1
    drive 10 'shows edit x' || return 1
    tells "Please type your name. " && type_text n || return 1
    tells "Please type your e-mail. " && type_text e || return 1
    drive 10 'shows edit n' 'shows edit e' || return 1
    press ctrl+a BackSpace
    press alt+n ctrl+a BackSpace shift+Tab ctrl+a BackSpace
    ! grep -q POST "$work/server"
}

# sends: the report arrives; the temporary files stay.
sends() {
    fill_in || return 1
    tells "$sent_box" || return 1
    grep -q 'POST http://support\.tarnwick\.example.*/php/ic\.php HTTP/1\.1" 200' "$work/server" ||
        { cat "$work/server"; return 1; }
    log_has ' 5 00000000 ucSupport\.cmdRequestSupport_Click: Requesting support' || return 1
    [ "$(temporary_files)" -eq 2 ] || { echo "$(temporary_files) temporary files"; return 1; }
}

# decodes FAMILY: every entry is what it should be.
decodes() {
    local decoded="$work/$1-decoded" body entry problem=0
    body=$(find "$desk" -name body)
    decoder decode --out "$decoded" "$body" || return 1
    expect() { [ "$(cat "$decoded/$1")" = "$2" ] || { echo "$1: $(cat "$decoded/$1")"; problem=1; }; }
    has() { grep -qai -- "$2" "$decoded/$1" || { echo "$1 lacks $2"; problem=1; }; }
    expect name 'Kit <b> & "K"'
    expect email 'kit@example'
    expect answer "It's back + 100% <x>"
    has WindowsVersion '^Windows '
    for entry in SuspiciousFiles Processes ProcessFileInfo; do
        xmllint --noout "$decoded/$entry.xml" || problem=1
    done
    has SuspiciousFiles.xml 'sys32\.exe'
    has Processes.xml 'sys32\.exe'
    has ProcessFileInfo.xml 'sys32\.exe'
    # On the 9x family Wine's libraries don't lie in the system folder.
    [ "$1" = win98 ] || ! grep -qi 'system.*\\\(ntdll\|kernel32\|user32\)\.dll' "$decoded"/Process*.xml ||
        { echo "known system files are in it"; problem=1; }
    has Log 'FMain\.LogTabState'
    # A registry file that the registry editor takes.
    run_wine 30 reg delete "$zone_map" /f >/dev/null
    run_wine 30 regedit /S "Z:${decoded//\//\\}\\ZoneMap.reg"
    value_is "$zone_map|http" dword:4 || problem=1
    decoder decode --list "$body" | grep -A1 -i 'sys32\.exe$' | tail -n 1 | tr -d ' ' | base64 -d |
        iconv -f UTF-16LE -t UTF-8 | grep -qi 'sys32\.exe$' || { echo "--list is wrong"; problem=1; }
    return $problem
}

# answered BOX MODE...: the odd server's answer gives that box.
answered() {
    serve tests/common/odd_server.py "${@:2}" || return 1
    tells "$1" || return 1
    grep -q '^POST ' "$work/server" || [ "$2" = close ] || { echo "nothing was posted"; return 1; }
}

# gives_up: the program does after five minutes by its clock, which goes on by six whenever it hasn't.
gives_up() {
    local driver
    drive 60 ok >"$work/box" &
    driver=$!
    while kill -0 $driver 2>/dev/null; do
        advance_clock 6
        wait_until 5 grep -q . "$work/box"
    done
    wait $driver
    tr -d '\r' <"$work/box" | grep -qxF -- "$not_sent_box" || { cat "$work/box"; return 1; }
    log_has ' 4 8004038A ucSupport\.cmdRequestSupport_Click: Cannot contact\. .'
}

# no_server: Wine's service doesn't tell that there is none. Nothing was exchanged: no file stays.
no_server() {
    local before
    before=$(temporary_files)
    stop_serving
    press alt+r
    gives_up || return 1
    [ "$(temporary_files)" -eq "$before" ] || { echo "temporary files are left"; return 1; }
}

# hangs MODE: the server does when it has the request.
hangs() {
    serve tests/common/odd_server.py "$1" || return 1
    press alt+r
    wait_until 30 grep -q '^POST ' "$work/server" || { echo "nothing was posted"; return 1; }
    gives_up
}

# closed_meanwhile: while the server is silent the user closes the progress window. The button stays
# grey until it is over.
closed_meanwhile() {
    serve tests/common/odd_server.py hang || return 1
    press alt+r
    wait_until 30 grep -q '^POST ' "$work/server" || { echo "nothing was posted"; return 1; }
    drive 20 'window Brackenfold' close 'window Brackenfold' \
        'shows button Request Support (grey)' 'shows label Sending request...' || return 1
    gives_up && drive 20 'shows button Request Support'
}

# close_support: ends the stand-in too, which the program's next start would find.
close_support() {
    stop_serving
    drive 20 close
    end_program
    kill "$parasite" 2>/dev/null
    wait "$parasite" 2>/dev/null
    wait_until 20 is_gone
}

# step NAME COMMAND...: one of a check's; a failure is told, and the steps that follow are taken.
step() {
    local name=$1
    shift
    "$@" && return
    echo "failed: $name"
    problem=1
}

# report_arrives FAMILY: from the tab to the desk.
report_arrives() {
    local problem=0
    if start_support "$1"; then
        step "asks for what is missing" asks_for
        step "sends the report" sends
        step "the report decodes" decodes "$1"
    else
        problem=1
    fi
    step "the window closes" close_support
    return $problem
}

# answers_are_judged FAMILY: every end of the exchange, in one run of the program.
answers_are_judged() {
    local problem=0 status
    if start_support "$1" && fill_in; then
        for status in 206 302 304; do step $status answered "$sent_box" status $status; done
        step "302 with an address" answered "$sent_box" redirect
        for status in 404 500; do step $status answered "$not_sent_box" status $status; done
        step "an answer cut in its body" answered "$sent_box" half
        step "an answer cut in its head" answered "$not_sent_box" half-head
        step "no server" no_server
        step "no answer for five minutes" hangs hang
        step "no end of the answer for five minutes" hangs hang-body
        step "the progress window closed during the request" closed_meanwhile
    else
        problem=1
    fi
    step "the window closes" close_support
    return $problem
}

support_checks() {
    check "$1: a support report, from its tab to the desk" report_arrives "$1"
    # The family makes no difference to them.
    [ "$1" != win10 ] || check "$1: answers to a support report" answers_are_judged "$1"
}
