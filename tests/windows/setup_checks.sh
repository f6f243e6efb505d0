# The setup: installs what fits the system, over what is there, never over a program that runs; is finished
# by the next run when it was stopped, and takes away its own alone. Sourced by run.sh; uses
# startup_checks.sh; needs what ./package makes.

dist=$here/../../dist
menu_entry() { [ -n "$(find "$drive" -name Brackenfold.lnk)" ]; }
uninstall_key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\Brackenfold'

# ends_with STATUS PROGRAM ARGUMENT...: a Windows program does.
ends_with() {
    local status=0
    run_wine 120 "${@:2}" || status=$?
    [ $status -eq "$1" ] || { echo "${*:2} ended with $status instead of $1"; return 1; }
}
setup() { ends_with "$1" "$(compgen -G "$dist/Brackenfold-*-setup.exe")" /S; }

# remove: it goes on in a copy of itself, whose status isn't to be had.
remove() { run_wine 60 "$install/Uninstall.exe" /S && wait_until 30 is_removal_over; }
is_removal_over() { ! pgrep -f '~nsu.*\.exe'; }

# is_new FILE: it is what the archive holds for this system under that name.
is_new() { cmp "$1" "$work"/unpacked/*/"$bits-bit/$(basename "$1")"; }

# is_whole: all is installed, and nothing is left over.
is_whole() {
    is_new "$install/Brackenfold.exe" && is_new "$install/BKFDCustom.dll" &&
        [ ! -e "$install/Setup.new" ] && [ -e "$install/Guide/guide.html" ]
}

installs() {
    setup 0 && is_whole && menu_entry || return 1
    run_wine 30 reg query "$uninstall_key" /v DisplayVersion /reg:$bits | tee "$work/version"
    grep -q "REG_SZ    $(basename "$work"/unpacked/* | cut -d- -f2)" "$work/version" || return 1
    starts_up
}

# Neither the setup nor the removal touches a program that runs.
leaves_running() {
    local outcome=0
    start_program
    wait_until 20 test -s "$install/BKFD.log"
    echo changed >"$install/third-party.txt"
    setup 2 || outcome=1
    remove
    grep -qx changed "$install/third-party.txt" && is_whole || outcome=1
    drive 40 close
    wait_until 20 is_gone || outcome=1
    end_program
    setup 0 && ! grep -qx changed "$install/third-party.txt" || outcome=1
    return $outcome
}

# Killed at any moment, each file is the old one, the new one, or still to take its place.
stopped() {
    local delay file
    for delay in 0.2 0.3 0.4 0.45 0.5 0.55 0.6 0.65 0.7 0.8 0.9 1 1.5; do
        for file in Brackenfold.exe BKFDCustom.dll; do echo old >"$install/$file"; done
        timeout -s KILL $delay wine "$(compgen -G "$dist/Brackenfold-*-setup.exe")" /S 2>>"$work/wine.log"
        for file in Brackenfold.exe BKFDCustom.dll; do
            is_new "$install/$file" || grep -qsx old "$install/$file" || is_new "$install/Setup.new/$file" ||
                { echo "after $delay s"; return 1; }
        done
    done
    setup 0 && is_whole
}

removes() {
    local kept
    mkdir -p "$install/Undo"
    echo kept | tee "$install/Undo/0001.undo" "$install/ignore.txt" "$drive/windows/parasite_x.dll.parasite" >/dev/null
    kept=$(cd "$install" && sha256sum BKFD.log ignore.txt Backup/* Undo/*)
    remove
    [ "$(cd "$install" && find . -type f | wc -l)" -eq "$(($(wc -l <<<"$kept") + $(compgen -G "$install/short.log" | wc -l)))" ] ||
        { find "$install"; return 1; }
    (cd "$install" && sha256sum --quiet -c <<<"$kept") && [ -e "$drive/windows/parasite_x.dll.parasite" ] || return 1
    ! menu_entry && ! run_wine 30 reg query "$uninstall_key" /reg:$bits
}

setup_checks() {
    compgen -G "$dist/*-setup.exe" >/dev/null || { check "$1: setup" eval 'echo "dist/ holds none; ./package makes it"; false'; return; }
    bits=32
    if [ -d "$drive/windows/syswow64" ]; then
        bits=64
        [ "$1" != win98 ] || return  # of which there is no such one
    fi
    install="$drive/Program Files/Brackenfold"
    rm -rf "$install" "$work/unpacked"
    check "$1: archive unpacked" python3 -m zipfile -e "$(compgen -G "$dist/Brackenfold-*.zip")" "$work/unpacked"
    check "$1: setup installs" installs
    check "$1: setup and removal leave a running program" leaves_running
    check "$1: setup stopped half way" stopped
    check "$1: removal leaves what is the user's" removes
}
