# A whole cleanup of a hijacked prefix by the program itself, and the starts that follow it. The
# hijackers are harmless stand-ins. Sourced by run.sh; uses startup_checks.sh.

stamp='HKEY_CURRENT_USER\Software\Tarnwick Labs\Brackenfold\Current Version|PaRemover Cleanup Time'
helpers_key='HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Explorer\Browser Helper Objects'
# The boot of 1 January 2001, midnight: the 8 bytes of that date, encoded.
stamp_of_another_boot=AAAAAIAD4kA=

found_box="Brackenfold detected about:blank parasites which can be deleted automatically. Press OK to clean up."
restart_box="Windows restart is required to complete cleanup. Close all opened documents then press OK button to restart Windows. "
dead_helper="$helpers_key\\{B0000000-0000-4000-8000-000000000002}|"
start_page='HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer\Main|Start Page'
complete_box="Operation complete successfully. Close all opened documents then press OK button to restart Windows. "
terminating_box="Operation complete; terminating. Please reboot Windows and restart Brackenfold to see whether no more parasites found. "
refused_box="... Please restart Windows manually."

# ---------------------------------------------------------------- the hijacked machine

# use_folders FAMILY NAME PARASITES: where the checks that follow have their files.
use_folders() {
    family=$1
    install="$drive/$1 $2"
    windows_folder="C:\\$1 $3"
    folder="$drive/$1 $3"
}

# settings BEFORE|AFTER: the table's rows of the family as "KEY|NAME|DATA" lines.
settings() {
    local lower=${windows_folder,,}
    awk -F'|' -v OFS='|' -v family="$family" -v column="$1" '
        /^#/ || NF != 5 || ($1 != "all" && $1 != family) { next }
        { print $2, $3, column == "AFTER" && $5 != "=" ? $5 : $4 }' "$here/cleanup_settings.txt" |
        sed "s/@FOLDER@/${windows_folder//\\/\\\\}/g; s/@folder@/${lower//\\/\\\\}/g"
}

# as_reg_text: "KEY|NAME|DATA" lines as the text of a registry file, without its first line.
as_reg_text() {
    awk -F'|' '
        function quoted(text) {
            gsub(/\\/, "&&", text)
            gsub(/"/, "\\\"", text)
            return "\"" text "\""
        }
        {
            data = $3 == "(none)" ? "-" : $3 ~ /^dword:/ ? $3 : quoted($3)
            printf "\n[%s]\n%s=%s\n", $1, $2 == "" ? "@" : quoted($2), data
        }'
}

# import_text: the text of a registry file, without its first line, goes into the registry.
import_text() {
    {
        printf '\xff\xfe'
        { echo 'Windows Registry Editor Version 5.00'; cat; } | sed 's/$/\r/' | iconv -f UTF-8 -t UTF-16LE
    } >"$work/set.reg"
    # Once more where Wine can't start it, which happens beside a busy build; it changes nothing then.
    run_wine 30 regedit /S "Z:${work//\//\\}\\set.reg" || run_wine 30 regedit /S "Z:${work//\//\\}\\set.reg"
}

# set_values: "KEY|NAME|DATA" lines go into the registry.
set_values() { as_reg_text | import_text; }

machine_state() { run_wine 30 "$build/tests/windows/machine_state.exe" "$@" | tr -d '\r'; }

# is_same TITLE FILE: its content is what standard input expects.
is_same() {
    diff -a "$2" - && return
    echo "$1: not as expected (<: what is there)"
    return 1
}

# settings_are BEFORE|AFTER
settings_are() {
    settings "$1" | cut -d'|' -f1-2 >"$work/names"
    machine_state values "Z:$work/names" >"$work/values"
    settings "$1" | is_same "settings" "$work/values"
}

# value_is KEY|NAME DATA, which is (none) for no value.
value_is() {
    echo "$1" >"$work/names"
    machine_state values "Z:$work/names" >"$work/values"
    echo "$1|$2" | is_same "value" "$work/values"
}

set_stamp() { echo "$stamp|$1" | set_values; }
stamp_is() { value_is "$stamp" "$1"; }

# holders_are: the processes that hold a file of the stand-ins' folder, from standard input.
holders_are() {
    cat >"$work/expected"
    wait_until 20 are_holders "$work/expected" || is_same "holders" "$work/holders" <"$work/expected"
}
are_holders() {
    machine_state holders "$windows_folder" >"$work/holders"
    cmp "$work/holders" "$1"
}

list_files() { (cd "$folder" && find . -type f -printf '%P\n' | LC_ALL=C sort); }

# files_are: the files in that folder, from standard input.
files_are() {
    list_files >"$work/files"
    LC_ALL=C sort | is_same "files" "$work/files"
}

stand_in() { (cd "$folder" && exec timeout 180 wine "$@") >/dev/null 2>>"$work/wine.log" & }

# lay_out: the stand-ins' files. The program and the library have no version record, the host names
# a company.
lay_out() {
    local made=$build/tests/windows/parasite name
    rm -rf "$folder"
    mkdir -p "$folder/web"
    for name in sys32.exe load.tmp.exe nonamer.exe; do cp "$made/parasite_program.exe" "$folder/$name"; done
    for name in host.exe bystander.exe; do cp "$made/parasite_host.exe" "$folder/$name"; done
    for name in Helper.dll AcroIEHelper.ocx x.tmp.dll web/se.dll; do cp "$made/parasite_library.dll" "$folder/$name"; done
    [ "$family" != win10 ] || cp "$made/parasite_program.exe" "$folder/ж32.exe"
}

# A name beyond the code page is for the NT family alone.
holders_before() {
    cat <<'END'
bystander.exe
host.exe x.tmp.dll web\se.dll
load.tmp.exe
nonamer.exe
sys32.exe
END
    [ "$family" != win10 ] || echo 'ж32.exe'
}

# hijack: lays out the stand-ins and starts them, and hijacks the registry.
hijack() {
    lay_out
    list_files >"$work/files_before"
    new_install "$family cleanup" "$build/BKFDCustom.dll"
    settings BEFORE | set_values || return 1
    stand_in sys32.exe
    stand_in load.tmp.exe
    stand_in nonamer.exe
    stand_in host.exe x.tmp.dll 'web\se.dll'
    stand_in bystander.exe
    [ "$family" != win10 ] || stand_in 'ж32.exe'
    holders_before | holders_are
}

nothing_changed() {
    settings_are BEFORE && files_are <"$work/files_before" && holders_before | holders_are
}

# ---------------------------------------------------------------- runs of the program

# run_program COMMAND...: starts it and drives it. It must end by itself then.
run_program() {
    local outcome=0
    rm -f "$install/BKFD.log"
    start_program
    drive 30 "$@" || { echo "not as driven: $*"; outcome=1; }
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    [ $outcome -eq 0 ] || cat "$install/BKFD.log"
    return $outcome
}

# count_of COUNT COMMAND...: the command prints so many lines.
count_of() {
    local expected=$1
    shift
    [ "$("$@" | wc -l)" -eq "$expected" ] || { echo "not $expected lines: $*"; "$@"; return 1; }
}

# log_has_lines: so many with each text, "COUNT TEXT" a line of standard input, and no others but the
# main window's.
log_has_lines() {
    local count text all=0 outcome=0
    while read -r count text; do
        count_of "$count" grep -F -- "$text" "$install/BKFD.log" || outcome=1
        all=$((all + count))
    done
    count_of $all grep -v ' FMain\.' "$install/BKFD.log" || outcome=1
    return $outcome
}

# startup_time: the boot as the log's first lines tell it, in days since 30 December 1899.
startup_time() {
    local told
    told=$(tr -d '\r' <"$install/BKFD.log" | sed -n 's/.*: Startup: //p')
    awk -v seconds="$(date -u -d "$told" +%s)" 'BEGIN { printf "%.9f", seconds / 86400 + 25569 }'
}

# stamp_is_this_boot: within 5 seconds of what the log tells; keeps its text for later checks.
stamp_is_this_boot() {
    echo "$stamp" >"$work/names"
    machine_state values "Z:$work/names" | sed 's/.*|//' >"$work/stamp"
    cat "$work/stamp"
    base64 -d "$work/stamp" | od -An -tf8 |
        awk -v boot="$(startup_time)" '{ apart = ($1 - boot) * 86400; exit !(apart > -5 && apart < 5) }'
}

# ---------------------------------------------------------------- what a cleanup leaves

# Under Wine the Windows 95 family's process list names a program without its folder. A stand-in is
# then found among the modules, but the one that only its startup entry gives away isn't; and a bare
# name with ".tmp" is on the list too, which no move can find: the second attempt is for it.
files_after() {
    if [ "$family" = win10 ]; then
        printf 'parasite_%s.parasite\n' nonamer.exe ж32.exe
    else
        echo 'nonamer.exe'
    fi
    cat <<'END'
AcroIEHelper.ocx
bystander.exe
host.exe
parasite_Helper.dll.parasite
parasite_load.tmp.exe.parasite
parasite_sys32.exe.parasite
parasite_x.tmp.dll.parasite
web/parasite_se.dll.parasite
END
}

# The restart: Wine accepts it, asks the windows to close and runs the startup entries, but ends no
# process that has no window. So the bystander runs twice, and what was disabled wasn't started.
holders_after() {
    printf 'bystander.exe\nbystander.exe\n'
    [ "$family" = win10 ] || printf 'nonamer.exe\nnonamer.exe\n'
}

# Detection runs twice, at the start and at the cleanup's. The bare name fails twice, the second time
# behind the end of all holders.
log_of_cleanup() {
    local found=${windows_folder,,}
    cat <<'END'
1 5 00000000 CPaRemover.Check: True
1 5 00000000 CPaRemover.CleanUp: CleanUp started
1 5 00000000 : Deleting BHO({B0000000-0000-4000-8000-000000000001})
1 5 00000000 : Deleting BHO({B0000000-0000-4000-8000-000000000002})
1 5 00000000 CPaRemover.RestoreConfigurationSettings: Restoring all configuration settings
END
    [ "$family" != win10 ] || cat <<END
2 5 00000000 CPaDetector.DetectParasites: RunningStartupNonamer found: $found\\ж32.exe
2 5 00000000 CPaDetector.DetectParasites: RunningStartupNonamer found: $found\\nonamer.exe
4 5 00000000 CPaDetector.DetectParasites: Running parasite process: $found\\
4 5 00000000 CPaDetector.DetectParasites: Running parasite module: $found\\
1 5 00000000 CStartupManager.RemoveItemInfo: Deleted: 'HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Run', 'Cyrillic', '$windows_folder\\ж32.exe'
7 5 00000000 CProcessManager.RenameFileNT: File renamed sucessfullly: '
1 5 00000000 CProcessManager.RenameParasiteFilesEx: FilesToPostDelete.Count=0
5 ' terminated successfully.
END
    [ "$family" != win98 ] || cat <<END
2 5 00000000 CPaDetector.DetectParasites: Running parasite process: load.tmp.exe
8 5 00000000 CPaDetector.DetectParasites: Running parasite module: $found\\
5 5 00000000 CProcessManager.RenameFile9x: File renamed sucessfullly: '
2 5 00000000 CProcessManager.RenameFile9x: Failed to rename file 'load.tmp.exe', (
2 5 00000000 CProcessManager.RenameFile9x: Encoded file name: bABvAGEAZAAuAHQAbQBwAC4AZQB4AGUA
1 5 00000000 CProcessManager.RenameParasiteFilesEx: FilesToPostDelete.Count=1
3 ' terminated successfully.
END
}

# ---------------------------------------------------------------- the checks, in their order

cancelled_offer() {
    run_program "cancel $found_box" close && nothing_changed && stamp_is '(none)'
}

# Parasites that outlived a cleanup and a restart: no offer, and the stamp stays.
parasites_after_restart() {
    set_stamp $stamp_of_another_boot
    run_program close && nothing_changed && stamp_is $stamp_of_another_boot
}

whole_cleanup() {
    local outcome=0
    set_stamp '(none)'
    run_program "ok $found_box" "ok $complete_box" || return 1
    log_of_cleanup | log_has_lines || outcome=1
    stamp_is_this_boot || { echo "not this boot"; outcome=1; }
    settings_are AFTER || outcome=1
    files_after | files_are || outcome=1
    holders_after | holders_are || outcome=1
    return $outcome
}

# As far as the boot tells the restart didn't happen. Cancel drops the stamp; no start asks again.
put_off_restart() {
    run_program "cancel $restart_box" close && stamp_is '(none)' && run_program close
}

# A parasite that came behind the cleanup: Cancel leaves it and drops the stamp.
parasites_of_same_boot() {
    { echo "$dead_helper|Dead helper"; echo "$stamp|$(cat "$work/stamp")"; } | set_values
    run_program "cancel $found_box" close && stamp_is '(none)' && value_is "$dead_helper" 'Dead helper'
}

# The helper object of the check before is still there.
cleanup_without_restart() {
    run_program "ok $found_box" "cancel $complete_box" close && stamp_is '(none)' && value_is "$dead_helper" '(none)'
}

# The system can't start the program that would end the session.
refused_restart() {
    local ender=$drive/windows/system32/wineboot.exe outcome=0
    set_stamp "$(cat "$work/stamp")"
    mv "$ender" "$work/ender"
    echo "no program" >"$ender"
    run_program "ok $restart_box" "ok $refused_box" || outcome=1
    mv "$work/ender" "$ender"
    [ "$(grep -c ' 0 00000000 CPaRemover\.Perform: .*\. Please restart Windows manually\.' "$install/BKFD.log")" -eq 1 ] ||
        { echo "not told once"; outcome=1; }
    stamp_is "$(cat "$work/stamp")" || outcome=1
    return $outcome
}

clean_after_restart() {
    set_stamp $stamp_of_another_boot
    run_program close && stamp_is '(none)'
}

# A parasite in the program's own process: it ends itself, and repairs no settings.
parasite_in_program() {
    local outcome=0
    echo "$start_page|http://hijack.example/" | set_values
    cp "$build/tests/windows/parasite/parasite_library.dll" "$folder/own.tmp.dll"
    cp "$build/tests/windows/component/BKFDCustom.dll" "$install/"
    BKFD_TEST_LIBRARY="$windows_folder\\own.tmp.dll" run_program "ok $found_box" "ok $terminating_box" ||
        outcome=1
    log_has 'CProcessManager\.MyTerminateProcess: Process for file .my:' && { echo "it went on"; outcome=1; }
    [ -e "$folder/parasite_own.tmp.dll.parasite" ] || { echo "not renamed"; outcome=1; }
    value_is "$start_page" 'http://hijack.example/' && stamp_is '(none)' || outcome=1
    return $outcome
}

cleanup_checks() {
    use_folders "$1" cleanup Parasites
    check "$1: hijack" hijack
    check "$1: parasites; cancelled" cancelled_offer
    check "$1: parasites, stamp of another boot" parasites_after_restart
    check "$1: parasites; cleaned up, restarted" whole_cleanup
    check "$1: stamp of the same boot; restart put off" put_off_restart
    check "$1: parasites, stamp of the same boot; cancelled" parasites_of_same_boot
    check "$1: parasites; cleaned up, restart put off" cleanup_without_restart
    check "$1: stamp of the same boot; restart refused" refused_restart
    check "$1: stamp of another boot" clean_after_restart
    check "$1: parasite in the program's process" parasite_in_program
}
