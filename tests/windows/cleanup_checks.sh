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
refused_box="REASON. Please restart Windows manually."

# ---------------------------------------------------------------- the hijacked machine

# use_family FAMILY: where its checks have their files.
use_family() {
    family=$1
    install="$drive/$family cleanup"
    windows_folder="C:\\$family Parasites"
    folder="$drive/$family Parasites"
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
    run_wine 30 regedit /S "Z:${work//\//\\}\\set.reg"
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
    local expected
    expected=$(cat)
    machine_state holders "$(grep -c . <<<"$expected")" 20 "$windows_folder" >"$work/holders"
    is_same "holders" "$work/holders" <<<"$expected"
}

# files_are: the files in that folder, from standard input.
files_are() {
    (cd "$folder" && find . -type f -printf '%P\n' | LC_ALL=C sort) >"$work/files"
    is_same "files" "$work/files"
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
with_cyrillic() { cat; [ "$family" != win10 ] || echo "$1"; }

files_before() {
    with_cyrillic 'ж32.exe' <<'END'
AcroIEHelper.ocx
Helper.dll
bystander.exe
host.exe
load.tmp.exe
nonamer.exe
sys32.exe
web/se.dll
x.tmp.dll
END
}

holders_before() {
    with_cyrillic 'ж32.exe' <<'END'
bystander.exe
host.exe x.tmp.dll web\se.dll
load.tmp.exe
nonamer.exe
sys32.exe
END
}

# hijack: lays out the stand-ins and starts them, and hijacks the registry.
hijack() {
    lay_out
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
    settings_are BEFORE && files_before | files_are && holders_before | holders_are
}

# ---------------------------------------------------------------- runs of the program

# run_program STEP...: starts it and answers its boxes; standard input expects what they say. It must
# end by itself then.
run_program() {
    local outcome=0
    rm -f "$install/BKFD.log"
    start_program >/dev/null
    run_wine 60 "$build/tests/windows/drive_window.exe" answer Brackenfold 30 "$@" |
        sed "s/\r//; s/^[A-Z].*\. \(Please restart Windows manually\. \)/REASON. \1/" >"$work/boxes"
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    is_same "boxes" "$work/boxes" || outcome=1
    [ $outcome -eq 0 ] || cat "$install/BKFD.log"
    return $outcome
}

# in_groups: lines "LEVEL CODE SOURCE: TEXT", those of one source that follow one another sorted: which
# of several processes comes first is the system's affair.
in_groups() {
    awk '{ if ($3 != source) ++group; source = $3; print group "\t" $0 }' |
        LC_ALL=C sort -k1,1n -k2 | cut -f2-
}

# log_is: what the log tells of detection and removal, from standard input, without times, sizes and
# hashes, and process identifiers.
log_is() {
    tr -d '\r' <"$install/BKFD.log" | cut -d' ' -f3- | grep -v ' FMain\.' |
        sed "s/([0-9]*, -\?[0-9]*)/(SIZE, HASH)/; s/file '[0-9]*' terminated/file 'ID' terminated/" |
        in_groups >"$work/log"
    in_groups | is_same "log" "$work/log"
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
        echo 'parasite_nonamer.exe.parasite'
        echo 'parasite_ж32.exe.parasite'
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

found_by_detection() {
    local source='5 00000000 CPaDetector.DetectParasites' folder=${windows_folder,,}
    if [ "$family" = win10 ]; then
        echo "$source: RunningStartupNonamer found: $folder\\ж32.exe"
        echo "$source: RunningStartupNonamer found: $folder\\nonamer.exe"
        echo "$source: Running parasite process: $folder\\sys32.exe"
        echo "$source: Running parasite process: $folder\\load.tmp.exe"
    else
        echo "$source: Running parasite module: $folder\\sys32.exe"
        echo "$source: Running parasite process: load.tmp.exe"
        echo "$source: Running parasite module: $folder\\load.tmp.exe"
    fi
    echo "$source: Running parasite module: $folder\\x.tmp.dll"
    echo "$source: Running parasite module: $folder\\web\\se.dll"
}

# renamed SOURCE FILE...
renamed() {
    local source=$1 file
    shift
    for file in "$windows_folder\\Helper.dll" "${@/#/${windows_folder,,}\\}"; do
        echo "5 00000000 CProcessManager.$source: File renamed sucessfullly: '$file', (SIZE, HASH)"
    done
}

# ended COUNT
ended() {
    for ((i = 0; i < $1; ++i)); do
        echo "5 00000000 CProcessManager.MyTerminateProcess: Process for file 'ID' terminated successfully. "
    done
}

left_for_later() { echo "5 00000000 CProcessManager.RenameParasiteFilesEx: FilesToPostDelete.Count=$1"; }

removal_NT() {
    local run='HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\Run'
    echo "5 00000000 CStartupManager.RemoveItemInfo: Deleted: '$run', 'Cyrillic', '$windows_folder\\ж32.exe'"
    renamed RenameFileNT ж32.exe nonamer.exe sys32.exe load.tmp.exe x.tmp.dll 'web\se.dll'
    left_for_later 0
    ended 5
}

# The bare name fails twice, the second time behind the end of all holders.
removal_9x() {
    local failed="5 00000000 CProcessManager.RenameFile9x: Failed to rename file 'load.tmp.exe', (SIZE, HASH). File not found.(2)
5 00000000 CProcessManager.RenameFile9x: Encoded file name: bABvAGEAZAAuAHQAbQBwAC4AZQB4AGUA"
    renamed RenameFile9x sys32.exe load.tmp.exe x.tmp.dll 'web\se.dll'
    echo "$failed"
    left_for_later 1
    ended 3
    echo "$failed"
}

log_of_cleanup() {
    found_by_detection
    echo '5 00000000 CPaRemover.Check: True'
    echo '5 00000000 CPaRemover.CleanUp: CleanUp started'
    found_by_detection
    echo '5 00000000 : Deleting BHO({B0000000-0000-4000-8000-000000000001})'
    echo '5 00000000 : Deleting BHO({B0000000-0000-4000-8000-000000000002})'
    if [ "$family" = win10 ]; then removal_NT; else removal_9x; fi
    echo '5 00000000 CPaRemover.RestoreConfigurationSettings: Restoring all configuration settings'
}

# ---------------------------------------------------------------- the checks, in their order

cancelled_offer() {
    run_program cancel close <<<"$found_box [Cancel]
[window closed]" && nothing_changed && stamp_is '(none)'
}

# Parasites that outlived a cleanup and a restart: no offer, and the stamp stays.
parasites_after_restart() {
    set_stamp $stamp_of_another_boot
    run_program close <<<'[window closed]' && nothing_changed && stamp_is $stamp_of_another_boot
}

whole_cleanup() {
    local outcome=0
    set_stamp '(none)'
    run_program ok ok <<<"$found_box [OK]
$complete_box [OK]" || return 1
    log_of_cleanup | log_is || outcome=1
    stamp_is_this_boot || { echo "not this boot"; outcome=1; }
    settings_are AFTER || outcome=1
    files_after | LC_ALL=C sort | files_are || outcome=1
    holders_after | holders_are || outcome=1
    return $outcome
}

# As far as the boot tells the restart didn't happen. Cancel drops the stamp; no start asks again.
put_off_restart() {
    run_program cancel close <<<"$restart_box [Cancel]
[window closed]" && stamp_is '(none)' && run_program close <<<'[window closed]'
}

# A parasite that came behind the cleanup: Cancel leaves it and drops the stamp.
parasites_of_same_boot() {
    { echo "$dead_helper|Dead helper"; echo "$stamp|$(cat "$work/stamp")"; } | set_values
    run_program cancel close <<<"$found_box [Cancel]
[window closed]" && stamp_is '(none)' && value_is "$dead_helper" 'Dead helper'
}

# The helper object of the check before is still there.
cleanup_without_restart() {
    run_program ok cancel close <<<"$found_box [OK]
$complete_box [Cancel]
[window closed]" && stamp_is '(none)' && value_is "$dead_helper" '(none)'
}

# The system can't start the program that would end the session.
refused_restart() {
    local ender=$drive/windows/system32/wineboot.exe outcome=0
    set_stamp "$(cat "$work/stamp")"
    mv "$ender" "$work/ender"
    echo "no program" >"$ender"
    run_program ok ok <<<"$restart_box [OK]
$refused_box [OK]" || outcome=1
    mv "$work/ender" "$ender"
    [ "$(grep -c ' 0 00000000 CPaRemover\.Perform: .*\. Please restart Windows manually\.' "$install/BKFD.log")" -eq 1 ] ||
        { echo "not told once"; outcome=1; }
    stamp_is "$(cat "$work/stamp")" || outcome=1
    return $outcome
}

clean_after_restart() {
    set_stamp $stamp_of_another_boot
    run_program close <<<'[window closed]' && stamp_is '(none)'
}

# A parasite in the program's own process: it ends itself, and repairs no settings.
parasite_in_program() {
    local outcome=0
    echo "$start_page|http://hijack.example/" | set_values
    cp "$build/tests/windows/parasite/parasite_library.dll" "$folder/own.tmp.dll"
    cp "$build/tests/windows/component/BKFDCustom.dll" "$install/"
    BKFD_TEST_LIBRARY="$windows_folder\\own.tmp.dll" run_program ok ok <<<"$found_box [OK]
$terminating_box [OK]" || outcome=1
    log_has 'CProcessManager\.MyTerminateProcess: Process for file .my:' && { echo "it went on"; outcome=1; }
    [ -e "$folder/parasite_own.tmp.dll.parasite" ] || { echo "not renamed"; outcome=1; }
    value_is "$start_page" 'http://hijack.example/' && stamp_is '(none)' || outcome=1
    return $outcome
}

# cleanup_check FAMILY NAME COMMAND
cleanup_check() {
    use_family "$1"
    check "$1: $2" "$3"
}

cleanup_checks() {
    cleanup_check "$1" "hijack" hijack
    cleanup_check "$1" "parasites; cancelled" cancelled_offer
    cleanup_check "$1" "parasites, stamp of another boot" parasites_after_restart
    cleanup_check "$1" "parasites; cleaned up, restarted" whole_cleanup
    cleanup_check "$1" "stamp of the same boot; restart put off" put_off_restart
    cleanup_check "$1" "parasites, stamp of the same boot; cancelled" parasites_of_same_boot
    cleanup_check "$1" "parasites; cleaned up, restart put off" cleanup_without_restart
    cleanup_check "$1" "stamp of the same boot; restart refused" refused_restart
    cleanup_check "$1" "stamp of another boot" clean_after_restart
    cleanup_check "$1" "parasite in the program's process" parasite_in_program
}
