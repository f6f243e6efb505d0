# The program itself: what its start leaves in the log and on the screen. Sourced by run.sh.

# new_install FOLDER [COMPONENT]: an installation on the prefix's drive C, with the component's file
# beside the program if one is given.
new_install() {
    install=$drive/$1
    mkdir -p "$install"
    cp "$build/Brackenfold.exe" "$install/"
    [ -z "${2:-}" ] || cp "$2" "$install/"
}

# start_program: in the background, with a time limit of its own.
start_program() {
    timeout -k 5 300 wine "$install/Brackenfold.exe" 2>>"$work/wine.log" &
    program=$!
}

# end_program: the user isn't there to close it.
end_program() {
    kill "$program" 2>/dev/null
    wait "$program" 2>/dev/null
    return 0
}

# drive SECONDS COMMAND...: commands of walk_windows, each with that time.
drive() { run_wine $(($1 * ($# - 1) + 5)) "$build/tests/windows/walk_windows.exe" "$@"; }
log_has() { grep -q -- "$1" "$install/BKFD.log"; }
is_gone() { ! kill -0 "$program"; }

# first_lines: the log begins with the start line, the version line and the boot line.
first_lines() {
    head -n 3 "$install/BKFD.log" | tr -d '\r' | sed 's/^.*: \(\*\*\*\|Brackenfold\|Startup\)/\1/' |
        sed -n '1{/^\*\*\*\*\*\*\*\*\*\* start app$/!q1}
                2{/^Brackenfold ver\.[0-9]*\.[0-9]*\.[0-9]*$/!q1}
                3{/^Startup: [0-9]/!q1}'
}

# starts_up: the main window comes up, and closing it ends the program.
starts_up() {
    local outcome=0
    start_program
    drive 40 close || { echo "no main window"; outcome=1; }
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    cat "$install/BKFD.log"
    first_lines || { echo "the first lines are wrong"; outcome=1; }
    return $outcome
}

normal_start() {
    new_install "$1 normal" "$build/BKFDCustom.dll"
    starts_up || return 1
    compgen -G "$install/Backup/*.reg" || { echo "no backup"; return 1; }
    ! log_has ' 0 .* FMain\.Form_Initialize: '
}

missing_message="Component 'BKFDCUSTOM.DLL' or one of its dependencies not correctly registered: a file is missing or invalid. Try to reinstall Brackenfold."

# refuses_to_start: the box of the missing component, its line in the log, and nothing else.
refuses_to_start() {
    local outcome=0
    start_program
    drive 40 "ok $missing_message" || { echo "the box is wrong"; outcome=1; }
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    cat "$install/BKFD.log"
    first_lines || { echo "the first lines are wrong"; outcome=1; }
    [ "$(wc -l <"$install/BKFD.log")" -eq 4 ] || { echo "not four lines"; outcome=1; }
    log_has " 4 .*$missing_message" || { echo "no line of level 4"; outcome=1; }
    [ ! -e "$install/Backup" ] || { echo "something was done"; outcome=1; }
    return $outcome
}

invalid_component() {
    echo "no library" >"$work/BKFDCustom.dll"
    new_install "$1 invalid" "$work/BKFDCustom.dll"
    refuses_to_start
}

# registered_component: found where it was registered; not any more after its removal.
registered_component() {
    local elsewhere=$drive/"$1 elsewhere"
    mkdir -p "$elsewhere"
    cp "$build/BKFDCustom.dll" "$elsewhere/"
    run_wine 30 regsvr32 /s "$elsewhere/BKFDCustom.dll" || { echo "not registered"; return 1; }
    new_install "$1 registered"
    starts_up || return 1
    run_wine 30 regsvr32 /s /u "$elsewhere/BKFDCustom.dll" || { echo "not unregistered"; return 1; }
    for name in 'BKFDCustom.CCustom2' 'CLSID\{3F88A2A3-A85A-493C-829F-DDADBA0ED08C}' \
        'CLSID\{50117FF6-355B-4DF1-A2D5-F33BBF302521}'; do
        ! run_wine 30 reg query "HKCR\\$name" || { echo "$name is still there"; return 1; }
    done
    new_install "$1 unregistered"
    refuses_to_start
}

# replaced_logger: the boot line is the last of BKFD.log, all else goes to the other logger.
replaced_logger() {
    local outcome=0
    new_install "$1 replaced" "$build/tests/windows/component/BKFDCustom.dll"
    BKFD_TEST_LOG="C:\\$1 replaced\\other.log" starts_up || outcome=1
    cat "$install/other.log"
    [ "$(wc -l <"$install/BKFD.log")" -eq 3 ] || { echo "BKFD.log went on"; outcome=1; }
    grep -q '^5 0 FMain\.LogTabState: ' "$install/other.log" || { echo "not taken over"; outcome=1; }
    return $outcome
}

# planted_libraries: what lies beside the program under the names of libraries that it looks up, or that
# Windows loads for it, isn't taken for them. Wine is told to prefer such files to its own libraries.
planted_libraries() {
    local name WINEDLLOVERRIDES="$WINEDLLOVERRIDES;uxtheme,psapi,winmm=n,b;winedbg.exe=d"
    new_install "$1 planted" "$build/BKFDCustom.dll"
    for name in uxtheme psapi winmm; do
        cp "$build/tests/windows/planted_library.dll" "$install/$name.dll"
    done
    starts_up || return 1
    ! compgen -G "$install/*.loaded" || { echo "these were loaded"; return 1; }
}

startup_checks() {
    check "$1: normal start" normal_start "$1"
    check "$1: component is no library" invalid_component "$1"
    check "$1: component registered elsewhere, then no more" registered_component "$1"
    check "$1: libraries beside the program" planted_libraries "$1"
    check "$1: component replaces the logger" replaced_logger "$1"
}
