# A user's way through the program's windows on a hijacked prefix: by window messages, and by keys of
# the display where it is about the keyboard. Sourced by run.sh; uses startup_checks.sh and
# cleanup_checks.sh.

helper() { echo "$helpers_key\\{C0000000-0000-4000-8000-00000000000$1}"; }
class_of_helper() { echo "HKEY_CLASSES_ROOT\\CLSID\\{C0000000-0000-4000-8000-00000000000$1}"; }
removed_key='HKEY_CURRENT_USER\Software\Tarnwick Labs\Brackenfold\Current Version\Removed Files'

# ---------------------------------------------------------------- steps

# start_driver: in the background, with its input and output as 7 and 8 of this shell and all below.
start_driver() {
    rm -f "$work/told" "$work/answers"
    mkfifo "$work/told" "$work/answers"
    timeout -k 5 300 wine "$build/tests/windows/walk_windows.exe" 15 \
        <"$work/told" >"$work/answers" 2>>"$work/wine.log" &
    driver=$!
    exec 7>"$work/told" 8<"$work/answers"
}

# Programs that were started meanwhile have its input open too, so it is told.
end_driver() {
    echo quit >&7
    wait "$driver"
    exec 7>&- 8<&-
}

# tell COMMAND: to the driver.
tell() {
    local line
    printf '%s\n' "$1" >&7
    while IFS= read -r -t 40 line <&8 && [ "$line" != '. failed' ]; do
        [ "$line" != '. ok' ] || return 0
        printf '%s\n' "$line"
    done
    echo "failed: $1"
    return 1
}

# press_keys NAME...: each as "ctrl+shift+Tab". The modifiers are released behind the key.
press_keys() {
    local key part parts actions=()
    for key; do
        IFS=+ read -ra parts <<<"$key"
        local modifiers=("${parts[@]::${#parts[@]}-1}")
        for part in "${modifiers[@]}"; do actions+=(keydown "$part"); done
        actions+=(key "${parts[-1]}")
        for part in "${modifiers[@]}"; do actions+=(keyup "$part"); done
    done
    timeout 10 xdotool "${actions[@]}"
}

# steps: takes the steps of standard input, one a line: commands of the driver, and keys of the
# display as "keys NAME...", or "box-keys NAME..." while a box is up.
steps() {
    local step
    while IFS= read -r step; do
        case $step in
            'keys '*) tell ready && press_keys ${step#keys } || return 1 ;;
            'box-keys '*) press_keys ${step#box-keys } || return 1 ;;
            *) tell "$step" || return 1 ;;
        esac
    done
}

backups() { find "$install/Backup" -name 'Backup *.reg'; }
# logged TEXT
logged() { grep -qF -- "$1" "$install/BKFD.log" || { echo "not in the log: $1"; cat "$install/BKFD.log"; return 1; }; }

# ---------------------------------------------------------------- the hijacked machine

hijack_for_walk() {
    local made=$build/tests/windows/parasite
    rm -rf "$folder"
    mkdir -p "$folder"
    cp "$made/parasite_library.dll" "$folder/Search.dll"
    cp "$made/parasite_library.dll" "$folder/two.dll"
    cp "$made/parasite_program.exe" "$folder/one.exe"
    cp "$made/parasite_host.exe" "$folder/reader.exe"
    new_install "$family walk" "$build/BKFDCustom.dll"
    import_text <<END || return 1
[-$helpers_key]

[-$removed_key]
END
    set_values <<END
$(helper 1)||Search helper
$(class_of_helper 1)\\InProcServer32||$windows_folder\\Search.dll
$(helper 2)||Reader & Notes
$(class_of_helper 2)\\LocalServer32||"$windows_folder\\reader.exe" /embedding
$(helper 3)||‮ж
$start_page|http://hijack.example/
$stamp|(none)
END
    stand_in one.exe
    stand_in reader.exe
    holders_are <<<'one.exe
reader.exe'
}

# ---------------------------------------------------------------- the checks, in their order

# The splash goes by a click on the one family, by its time on the other. The offer comes before the
# main window.
opens() {
    local splash=splash
    [ "$family" != win10 ] || splash=click-splash
    steps <<END || return 1
$splash
no-splash
box $found_box
gone Brackenfold
cancel $found_box
shows tab 1
shows label The latest version of Brackenfold is always available at http://www.tarnwick.example/brackenfold/
END
    count_of 1 backups && logged 'CPaRemover.Check: True' &&
        logged "FMain.LogTabState: BHO: {C0000000-0000-4000-8000-000000000001}, 'Search helper', '$windows_folder\\Search.dll'"
}

walks_tabs() {
    steps <<'END'
keys ctrl+Tab
shows tab 2
shows label Detected Browser Helper Objects:
keys ctrl+Tab
shows label Configuration settings affecting the home page:
keys ctrl+Tab
shows button Request Support
keys ctrl+Tab
shows tab 1
keys ctrl+shift+Tab
shows tab 4
shows edit Your description here...
keys Tab
keys ctrl+shift+Tab
shows tab 3
tab 2
shows label Related File:
END
}

deletes_helper() {
    local question="Are you sure you want to delete 'Search helper' browser helper object?"
    steps <<END || return 1
shows row> Search helper
shows edit $windows_folder\\Search.dll
row 2
shows row> Reader  Notes
shows edit $windows_folder\\reader.exe
row 3
shows row> $foreign
shows edit Browser Helper Object is improperly installed or configured
row 1
shows row> Search helper
press Delete Browser Helper Object
cancel $question
END
    value_is "$(helper 1)|" 'Search helper' || return 1
    steps <<END || return 1
press Delete Browser Helper Object
ok $question
ok Browser helper object 'Search helper' deleted successfully. 
shows row> Reader  Notes
shows edit $windows_folder\\reader.exe
rows 2
END
    value_is "$(helper 1)|" '(none)' &&
        value_is "$(class_of_helper 1)\\InProcServer32|" "$windows_folder\\Search.dll" &&
        value_is "$removed_key|$windows_folder\\Search.dll" "$windows_folder\\Search.dll" &&
        logged "ucBHO.cmdDelete_Click: Deleting BHO({C0000000-" &&
        files_are <<<'one.exe
parasite_Search.dll.parasite
reader.exe
two.dll'
}

restores_settings() {
    local row='Start page for the user who is currently logged on'
    local question='Are you sure you want to restore all configuration settings?'
    steps <<END || return 1
tab 3
shows row $row | http://hijack.example/
press Restore All Configuration Settings
cancel $question
END
    value_is "$start_page" 'http://hijack.example/' || return 1
    steps <<END || return 1
press Restore All Configuration Settings
ok $question
ok Configuration settings restored successfully. 
shows row $row | about:blank
END
    value_is "$start_page" about:blank
}

disables_files() {
    steps <<END || return 1
keys alt+t s
window Safe Remover
press Disable Parasites
ok Type filenames.
type $windows_folder\\one.exe¶¶$windows_folder\\none.exe¶$windows_folder\\two.dll¶
press Disable Parasites
ok Are you sure you want to disable programs?
ok File '$windows_folder\\none.exe' is not found on file system. This file will be unloaded from memory only. Press OK to continue.
cancel Operation complete successfully. Close all opened documents then press OK button to restart Windows.
close
END
    holders_are <<<reader.exe || return 1
    value_is "$removed_key|$windows_folder\\two.dll" "$windows_folder\\two.dll" &&
        files_are <<<'parasite_Search.dll.parasite
parasite_one.exe.parasite
parasite_two.dll.parasite
reader.exe'
}

# A name of the log, encoded, and one that is in the box already, which moves to the end.
pastes_files() {
    steps <<END
keys alt+t s
window Safe Remover
clipboard
keys ctrl+v
ok Cannot paste. Clipboard is empty. 
clipboard  QwA6AFwAeAAu¶ AGQAbABsAA==¶
keys ctrl+v
shows edit C:\\x.dll
clipboard $windows_folder\\y z.ex
keys shift+Insert e
shows edit C:\\x.dll¶$windows_folder\\y z.exe
clipboard C:\\x.dll
keys ctrl+v
shows edit ¶$windows_folder\\y z.exe¶C:\\x.dll
keys F6
shows button Find Suspicious Files
press Find Suspicious Files
ok Search complete successfully.
keys F6 Escape
gone Safe Remover
END
}

# The first of three by its button, the others by keys. The order is the registry's.
restores_files() {
    local question="Are you sure you want to restore '$windows_folder" first=one.exe second=Search.dll
    steps <<END || return 1
keys alt+t p
window Restore Removed Programs
shows line> $windows_folder\\$first
shows line $windows_folder\\two.dll
press Restore Removed Program
cancel $question\\$first'?
press Restore Removed Program
ok $question\\$first'?
ok Program '$windows_folder\\$first' is restored successfully.
shows line> $windows_folder\\$second
END
    value_is "$removed_key|$windows_folder\\$first" '(none)' || return 1
    value_is "$removed_key|$windows_folder\\two.dll" "$windows_folder\\two.dll" || return 1
    steps <<END || return 1
keys alt+r
ok $question\\$second'?
ok Program '$windows_folder\\$second' is restored successfully.
keys Return
ok $question\\two.dll'?
ok Program '$windows_folder\\two.dll' is restored successfully.
ok There are no more programs to restore. Press OK button to close Restore Removed Programs window.
gone Restore Removed Programs
keys alt+t p
ok Nothing to restore. No programs are removed or all programs are already restored.
END
    value_is "$removed_key|$windows_folder\\two.dll" '(none)' &&
        files_are <<<'Search.dll
one.exe
reader.exe
two.dll'
}

# While the question is up, no key and no closing reaches the window behind it.
asks_for_cleanup() {
    local question="Are you sure you want to start automatic parasite cleanup?"
    local row='Start page for the user who is currently logged on'
    steps <<END || return 1
keys shift+F12 F12
box $question
box-keys F12 F5 ctrl+Tab
try-close
cancel $question
shows tab 3
END
    count_of 0 grep 'CleanUp started' "$install/BKFD.log" || return 1
    set_values <<END || return 1
$start_page|http://again.example/
END
    steps <<END || return 1
keys F5
shows row $row | http://again.example/
END
    exported >"$work/uncleaned"
    steps <<END && logged 'CPaRemover.CleanUp: CleanUp started'
keys F12
ok $question
cancel $complete_box
shows row $row | about:blank
ready
END
}

# By keys alone: the registry, as its editor exports it, is as it was before the cleanup.
undoes_changes() {
    local row='Start page for the user who is currently logged on'
    exported >"$work/cleaned"
    cmp -s "$work/cleaned" "$work/uncleaned" && { echo "nothing was cleaned up"; return 1; }
    steps <<END || return 1
keys alt+t u
window Undo Changes
keys alt+u
ok
ok
shows button Undo Changes (grey)
keys Escape
gone Undo Changes
shows row $row | http://again.example/
END
    logged 'FUndoChanges.cmdUndo_Click: Undone: ' || return 1
    # Under Wine the registry of the 9x family, too, holds any character, and its calls tell "?" of those
    # that have no place in the code page. All else comes back exactly.
    exported >"$work/undone"
    sed "s/‮ж/$foreign/" "$work/uncleaned" | is_same "undo" "$work/undone"
}

# The lists follow the registry, and the tab stays. A name may be as long as the registry allows.
refreshes() {
    local long
    long=$(printf '%032000d' 0)
    set_values <<END || return 1
$(helper 4)||Late helper
$(helper 5)||$long
$start_page|http://late.example/
END
    steps <<END
keys F5
shows tab 3
shows row Start page for the user who is currently logged on | http://late.example/
keys ctrl+shift+Tab
shows row Late helper
shows row $long
END
}

shows_about() {
    steps <<'END'
keys alt+h a
window About Brackenfold
shows label Brackenfold Version 4.53¶ ¶Copyright © Tarnwick Labs. All rights reserved.
shows button OK
keys Escape
gone About Brackenfold
keys alt+h a
window About Brackenfold
keys Return
gone About Brackenfold
END
}

# Two of them work side by side, on one log.
second_instance() {
    local first=$program outcome=0
    start_program
    steps <<END || outcome=1
window Brackenfold
click-splash
cancel $found_box
other Brackenfold
shows tab 1
tab 2
shows row Late helper
close
END
    wait_until 20 is_gone || { echo "the second still runs"; outcome=1; }
    kill -0 "$first" || { echo "the first ended too"; outcome=1; }
    steps <<'END' || outcome=1
shows tab 2
shows row Late helper
END
    count_of 2 grep 'start app' "$install/BKFD.log" || outcome=1
    return $outcome
}

# exported: the parts of the registry that a cleanup may change, with more around them; nothing for one
# that isn't there.
exported() {
    local key part="Z:${work//\//\\}\\part.reg"
    for key in 'HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer' \
        'HKEY_CURRENT_USER\Software\Policies' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Internet Explorer' \
        "$helpers_key" \
        'HKEY_CURRENT_USER\Software\Tarnwick Labs' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Run' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\URL' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Windows NT\CurrentVersion\Windows' \
        'HKEY_CLASSES_ROOT\PROTOCOLS'; do
        rm -f "$work/part.reg"
        run_wine 30 regedit /E "$part" "$key"
        [ ! -e "$work/part.reg" ] || iconv -f UTF-16 -t UTF-8 "$work/part.reg" | sed "s,^\\[.*,\\L&,"
    done
}

# The registry editor's import of a backup gives back what an emptied registry has lost.
backup_is_imported() {
    local ie='HKEY_CURRENT_USER\Software\Microsoft\Internet Explorer' part
    import_text <<END
[$ie\\Main]
"Quotes \\"and\\" back\\\\slashes"="C:\\\\\\"a\\"\\\\é"
@="default"
"Expanded"=hex(2):25,00,61,00,25,00,5c,00,62,00,00,00
"Several"=hex(7):61,00,00,00,62,00,00,00,00,00
"Bytes"=hex:00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,12,13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f
"Nothing"=hex:
"Number"=dword:fffffffe
"Empty"=""

[$ie\\Main\\Below\\And below]
"Value"="with\\nno line"

[$ie\\Main\\Empty]

[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows]
"AppInit_DLLs"="wbsys.dll hijack.dll"
END
    exported >"$work/before"
    rm -rf "$install/Backup"
    steps <<'END' && count_of 1 backups || return 1
keys alt+t b
ok Backup complete successfully.
END
    # Once: the second time in a prefix Wine's shell takes 10 seconds.
    [ "$family" != win10 ] || steps <<'END' || return 1
keys alt+t r
ok Windows Explorer window will be opened now. Double click on backup file to restore. 
close-folder Backup
END
    for part in "$ie\\Main" "$ie\\Styles" "$helpers_key" \
        'HKEY_CURRENT_USER\Software\Policies\Microsoft\Internet Explorer\Control Panel' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Internet Explorer\Main' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Internet Explorer\AboutURLs' \
        'HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\URL' \
        'HKEY_CLASSES_ROOT\PROTOCOLS\'{Handler\\{about,file,ftp,gopher,http,https,local},Filter\\text/{html,plain}}; do
        printf '[-%s]\n\n' "$part"
    done | { cat; printf '[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows NT\\CurrentVersion\\Windows]\n"AppInit_DLLs"=-\n'; } |
        import_text
    exported >"$work/emptied"
    ! cmp -s "$work/before" "$work/emptied" || { echo "nothing was emptied"; return 1; }
    ! grep -q hijack.dll "$work/emptied" || { echo "the value wasn't emptied"; return 1; }
    cp "$install"/Backup/*.reg "$work/backup.reg"
    run_wine 30 regedit /S "Z:${work//\//\\}\\backup.reg" || return 1
    exported | is_same "import" "$work/before"
}

# What was hijacked goes, for the checks of others.
exits() {
    local outcome=0
    steps <<'END' || outcome=1
keys alt+f e
gone Brackenfold
END
    wait_until 20 is_gone || { echo "it still runs"; outcome=1; }
    end_program
    count_of 0 grep -E '^[^ ]+ [^ ]+ [04] ' "$install/BKFD.log" || outcome=1
    echo "[-$helpers_key]" | import_text
    return $outcome
}

# By keys alone; what was ignored is spared by the program's next run, until its entry is taken off.
ignores_helper() {
    local menu=Menu outcome=0
    [ "$family" = win10 ] || menu=shift+F10
    set_values <<END || return 1
$(helper 1)||Search helper
END
    start_program
    steps <<END || outcome=1
click-splash
cancel $found_box
tab 2
shows row> Search helper
keys Tab
keys $menu i
shows row> Search helper, ignored
shows label Detected Browser Helper Objects (1 ignored):
keys alt+f e
gone Brackenfold
END
    end_program
    start_program
    steps <<END && spares_ignored || outcome=1
click-splash
shows tab 1
keys F12
ok ...2 ignored.
cancel $complete_box
tab 2
shows row> Search helper, ignored
keys alt+t i
window Ignore List
keys alt+s
ok
shows button Stop Ignoring (grey)
keys Escape
gone Ignore List
shows row> Search helper
keys alt+f e
gone Brackenfold
END
    end_program
    echo "[-$helpers_key]" | import_text
    return $outcome
}

spares_ignored() {
    value_is "$(helper 1)|" 'Search helper' && logged "PassOver: Ignored: $windows_folder\\Search.dll" &&
        files_are <<<'Search.dll
one.exe
reader.exe
two.dll'
}

# The program and the driver are started here, so that all checks have them.
walk_checks() {
    use_folders "$1" walk Finds
    # What has no place in the code page can't be shown there.
    [ "$1" = win10 ] && foreign='‮ж' || foreign='??'
    check "$1: hijack for the walk" hijack_for_walk
    start_driver
    start_program
    check "$1: splash, offer, main window" opens
    check "$1: four tabs by keys" walks_tabs
    check "$1: a helper object deleted" deletes_helper
    check "$1: all settings restored" restores_settings
    check "$1: Safe Remover, two files and none" disables_files
    check "$1: Safe Remover, paste and search" pastes_files
    check "$1: one file restored, then the last" restores_files
    check "$1: cleanup by F12; keys during the question" asks_for_cleanup
    check "$1: cleanup undone by keys" undoes_changes
    check "$1: refresh by F5" refreshes
    check "$1: About by keys" shows_about
    check "$1: second instance" second_instance
    check "$1: backup by the menu, imported by the registry editor" backup_is_imported
    check "$1: exit by the menu" exits
    check "$1: a helper object ignored by keys" ignores_helper
    end_driver
}
