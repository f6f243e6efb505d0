# The command line on a Wine prefix as it lies on the disk: what it changes there is what Wine's own
# registry editor then tells, and the program under Wine finds the machine clean. Sourced by run.sh; uses
# startup_checks.sh, cleanup_checks.sh and plan_checks.sh; needs a native build.

in_prefix() { WINEPREFIX=$work/other_prefix "$@"; }
end_prefix() { in_prefix timeout 60 wineserver -k; in_prefix timeout 60 wineserver -w; }
on_prefix() { decoder --machine "$work/other_prefix" "$@"; }

hijacked_prefix() {
    in_prefix run_wine 90 wineboot -i && in_prefix hijack_prefix "$here/../../examples/machines/hijacked-xp" || return 1
    in_prefix timeout 60 wineserver -w
    export_all before
}

# export_all NAME: what Wine's registry editor writes of the whole registry that a cleanup sees.
export_all() {
    local root
    for root in HKEY_LOCAL_MACHINE HKEY_CURRENT_USER; do
        in_prefix run_wine 60 regedit /E "Z:${work//\//\\}\\$1.$root.reg" $root || return 1
    done
    in_prefix timeout 60 wineserver -w
}

# ends STATUS COMMAND...
ends() {
    local wanted=$1 status=0
    shift
    "$@" >"$work/out" || status=$?
    [ $status -eq "$wanted" ] || { echo "$* ended with $status instead of $wanted"; cat "$work/out"; return 1; }
}

prefix_is_found() {
    ends 1 on_prefix --json scan || return 1
    grep -q '"kind": "wine"' "$work/out" && grep -q winhook.dll "$work/out"
}

# While a program runs there, the server holds the registry in memory: it is read, never written.
server_keeps_it() {
    local outcome=0 files
    files=$(cd "$work/other_prefix" && sha256sum ./*.reg)
    in_prefix timeout 60 wine explorer /desktop=kept,64x48 2>>"$work/wine.log" &
    local running=$!
    wait_until 20 is_server_there || outcome=1
    ends 1 on_prefix scan || outcome=1
    ends 2 on_prefix clean --yes 2>"$work/messages" || outcome=1
    grep -qi 'wine' "$work/messages" || { cat "$work/messages"; outcome=1; }
    [ "$files" = "$(cd "$work/other_prefix" && sha256sum ./*.reg)" ] || { echo "it was written to"; outcome=1; }
    end_prefix
    wait $running
    return $outcome
}

# is_server_there: it makes its socket when it has read the registry; Debian's has its folder elsewhere
# than others.
is_server_there() {
    local folder
    folder=server-$(stat -c %D "$work/other_prefix")-$(printf %x "$(stat -c %i "$work/other_prefix")")
    [ -n "$(find /tmp/.wine-* /tmp/wine-* /run/user/*/wine -maxdepth 2 -path "*/$folder/socket" 2>/dev/null)" ]
}

cleaned_prefix() {
    end_prefix
    ends 0 on_prefix --json clean --yes || return 1
    cp "$work/out" "$work/changes.json"
    ends 0 on_prefix scan && export_all after || return 1
    python3 "$here/prefix_changes.py" "$work" "$(native_build)"
}

native_build() {
    local program
    for program in "$here"/../../build/linux-asan/brackenfold "$here"/../../build/linux/brackenfold; do
        [ ! -x "$program" ] || { echo "$program"; return; }
    done
}

# The program's own start in that prefix: no offer of a cleanup.
program_finds_it_clean() (
    export WINEPREFIX=$work/other_prefix
    drive=$WINEPREFIX/drive_c
    new_install "Program Files/Brackenfold" "$build/BKFDCustom.dll"
    rm -f "$install/BKFD.log"
    start_program
    drive 40 close
    wait_until 20 is_gone
    end_program
    log_has 'CPaRemover\.Check: False' || { cat "$install/BKFD.log"; exit 1; }
)

undone_prefix() {
    end_prefix
    ends 0 on_prefix undo last --yes && ends 1 on_prefix scan && export_all undone || return 1
    local root
    for root in HKEY_LOCAL_MACHINE HKEY_CURRENT_USER; do
        python3 "$here/prefix_changes.py" "$work" "$(native_build)" $root || return 1
    done
}

prefix_checks() {
    check "prefix: hijacked" hijacked_prefix
    check "prefix: found, and scanned" prefix_is_found
    check "prefix: in use" server_keeps_it
    check "prefix: cleaned up; Wine tells what was meant" cleaned_prefix
    check "prefix: undone; Wine tells what was before" undone_prefix
    check "prefix: cleaned up again" eval 'end_prefix; ends 0 on_prefix clean --yes'
    check "prefix: the program finds it clean" program_finds_it_clean
    end_prefix >/dev/null 2>&1
}
