# A whole cleanup of a hijacked prefix by the program itself, and the starts that follow it. The
# hijackers are harmless stand-ins. Sourced by run.sh; uses startup_checks.sh.

program_key='HKEY_CURRENT_USER\Software\Tarnwick Labs\Brackenfold\Current Version'
stamp_name='PaRemover Cleanup Time'
helpers_key='HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Explorer\Browser Helper Objects'
# The boot of 1 January 2001, midnight: the 8 bytes of that date, encoded.
stamp_of_another_boot=AAAAAIAD4kA=

found_box="Brackenfold detected about:blank parasites which can be deleted automatically. Press OK to clean up."
restart_box="Windows restart is required to complete cleanup. Close all opened documents then press OK button to restart Windows. "
complete_box="Operation complete successfully. Close all opened documents then press OK button to restart Windows. "
terminating_box="Operation complete; terminating. Please reboot Windows and restart Brackenfold to see whether no more parasites found. "
refused_box="Bad EXE format for %1. Please restart Windows manually."

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

# as_reg_text: "KEY|NAME|DATA" lines as the text of a registry file.
as_reg_text() {
    echo 'Windows Registry Editor Version 5.00'
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

# set_values: "KEY|NAME|DATA" lines go into the registry.
set_values() {
    { printf '\xff\xfe'; as_reg_text | sed 's/$/\r/' | iconv -f UTF-8 -t UTF-16LE; } >"$work/set.reg"
    run_wine 30 regedit /S "Z:${work//\//\\}\\set.reg"
}

machine_state() { run_wine 30 "$build/tests/windows/machine_state.exe" "$@" | tr -d '\r'; }

# is_same TITLE FILE: its content is what standard input expects.
is_same() {
    diff "$2" - && return
    echo "$1: not as expected (<: what is there)"
    return 1
}

# settings_are BEFORE|AFTER
settings_are() {
    settings "$1" | cut -d'|' -f1-2 >"$work/names"
    machine_state values "Z:$work/names" >"$work/values"
    settings "$1" | is_same "settings" "$work/values"
}

set_stamp() { echo "$program_key|$stamp_name|$1" | set_values; }

# stamp_is TEXT, which is (none) for no stamp.
stamp_is() {
    echo "$program_key|$stamp_name" >"$work/names"
    machine_state values "Z:$work/names" >"$work/values"
    echo "$program_key|$stamp_name|$1" | is_same "stamp" "$work/values"
}

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

# hijack FAMILY: lays out the stand-ins and starts them, and hijacks the registry.
hijack() {
    use_family "$1"
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
    run_wine 90 "$build/tests/windows/drive_window.exe" answer Brackenfold 40 "$@" | tr -d '\r' >"$work/boxes"
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    is_same "boxes" "$work/boxes" || outcome=1
    ! log_has '^[^ ]* [^ ]* [0-4] ' || [ "${may_log_failures:-}" ] || { echo "failures in the log"; outcome=1; }
    [ $outcome -eq 0 ] || cat "$install/BKFD.log"
    return $outcome
}
