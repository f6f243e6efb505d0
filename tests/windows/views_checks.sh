# The two views of a 64-bit prefix's registry: what is registered for 32-bit programs is found, told
# apart, removed and brought back. Sourced by run.sh; uses walk_checks.sh.

view_key='HKEY_LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion'
view_key32='HKEY_LOCAL_MACHINE\Software\Wow6432Node\Microsoft\Windows\CurrentVersion'
view_class='{D0000000-0000-4000-8000-000000000001}'
view_pages='HKEY_LOCAL_MACHINE\Software\Wow6432Node\Microsoft\Internet Explorer\Main'

# add32 KEY NAME DATA: by Wine's own program, into the 32-bit view.
add32() {
    local name=(/v "$2")
    [ -n "$2" ] || name=(/ve)
    run_wine 30 reg add "$1" "${name[@]}" /d "$3" /f /reg:32
}

# Both views name one file, which is another one for each of them.
hijack_views() {
    local made=$build/tests/windows/parasite helpers="$view_key\\Explorer\\Browser Helper Objects"
    local library='C:\windows\system32\bkfdview.dll' program='C:\windows\system32\жview32.exe'
    cp "$made/parasite_host.exe" "$drive/windows/system32/bkfdview.dll"
    cp "$made/parasite_library.dll" "$drive/windows/syswow64/bkfdview.dll"
    cp "$made/parasite_program.exe" "$drive/windows/syswow64/жview32.exe"
    new_install views "$build/BKFDCustom.dll"
    printf '[-%s]\n\n' "$helpers" "$removed_key" | import_text || return 1
    set_values <<END || return 1
$helpers\\$view_class||View helper
HKEY_LOCAL_MACHINE\\Software\\Classes\\CLSID\\$view_class\\InProcServer32||$library
$start_page|about:blank
$stamp|(none)
END
    add32 "$helpers\\$view_class" '' 'View helper' &&
        add32 "HKLM\\Software\\Classes\\CLSID\\$view_class\\InProcServer32" '' "$library" &&
        add32 "$view_key\\Run" view "$program" &&
        add32 'HKLM\Software\Microsoft\Internet Explorer\Main' 'Start Page' 'http://hijack.example/' &&
        value_is "$view_key32\\Run|view" "$program" || return 1
    (cd "$drive/windows/syswow64" && exec timeout 180 wine жview32.exe) >/dev/null 2>>"$work/wine.log" &
}

# exported32: what a cleanup may change in the 32-bit view, by the registry editor.
exported32() {
    local key part="Z:${work//\//\\}\\part.reg"
    for key in "$view_key32\\Run" "$view_key32\\Explorer" "$view_key32\\URL" "$view_pages"; do
        rm -f "$work/part.reg"
        run_wine 30 regedit /E "$part" "$key"
        [ ! -e "$work/part.reg" ] || iconv -f UTF-16 -t UTF-8 "$work/part.reg" | sed "s,^\\[.*,\\L&,"
    done
}

shows_views() {
    steps <<END
click-splash
cancel $found_box
tab 2
rows 2
row 1
shows row> View helper
shows edit C:\\windows\\system32\\bkfdview.dll
row 2
shows row> View helper (32-bit)
shows edit C:\\windows\\syswow64\\bkfdview.dll
tab 3
shows row Start page particular to the computer (for any user) (32-bit) | http://hijack.example/
END
}

deletes_in_view() {
    exported32 >"$work/views_before"
    steps <<END || return 1
tab 2
row 2
press Delete Browser Helper Object
ok Are you sure you want to delete 'View helper (32-bit)' browser helper object?
ok Browser helper object 'View helper (32-bit)' deleted successfully. 
rows 1
END
    value_is "$view_key\\Explorer\\Browser Helper Objects\\$view_class|" 'View helper' &&
        value_is "$view_key32\\Explorer\\Browser Helper Objects\\$view_class|" '(none)' &&
        [ -e "$drive/windows/system32/bkfdview.dll" ] && [ ! -e "$drive/windows/syswow64/bkfdview.dll" ] &&
        undoes_in_views && [ -e "$drive/windows/syswow64/bkfdview.dll" ]
}

undoes_in_views() {
    steps <<'END' || return 1
keys alt+t u
window Undo Changes
keys alt+u
ok
ok
keys Escape
gone Undo Changes
END
    exported32 | is_same "undo" "$work/views_before"
}

cleans_views() {
    steps <<END || return 1
keys F12
ok Are you sure you want to start automatic parasite cleanup?
cancel $complete_box
END
    value_is "$view_key32\\Run|view" '(none)' && value_is "$view_pages|Start Page" about:blank &&
        value_is "$view_key\\Explorer\\Browser Helper Objects\\$view_class|" 'View helper' &&
        [ ! -e "$drive/windows/syswow64/жview32.exe" ] && undoes_in_views &&
        [ -e "$drive/windows/syswow64/жview32.exe" ]
}

views_checks() {
    if ! run_wine 30 reg query 'HKLM\Software\Wow6432Node' >/dev/null; then
        echo "left out: views (this prefix has one view)"
        return
    fi
    # Missing where Wine's own 32-bit part is.
    mkdir -p "$drive/windows/syswow64"
    check "views: win10" set_family win10
    family=win10
    install="$drive/views"
    check "views: a parasite in the 32-bit one" hijack_views
    start_program
    start_driver
    check "views: told apart" shows_views
    check "views: a helper object deleted and undone" deletes_in_view
    check "views: cleaned up and undone" cleans_views
    steps <<<'close'
    end_driver
}
