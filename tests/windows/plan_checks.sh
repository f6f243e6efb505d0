# A cleanup's plan, carried out by the registry editor and the command line of Wine in a prefix of its
# own that looks like the hijacked Windows 98. Sourced by run.sh; needs a native build.

plan_machine=$here/../../examples/machines/hijacked-98

in_plan_prefix() { WINEPREFIX=$work/plan_prefix "$@"; }
end_plan_prefix() { in_plan_prefix timeout 60 wineserver -k; in_plan_prefix timeout 60 wineserver -w; }

# put_files: the machine's files over the prefix's, under the names that folders have there.
put_files() {
    local drive=$work/plan_prefix/drive_c file folder
    (cd "$plan_machine/drives/c" && find . -type f -print0) | while IFS= read -r -d '' file; do
        folder=$drive/$(dirname "${file#./}")
        folder=${folder/drive_c\/WINDOWS\/SYSTEM/drive_c\/windows\/system}
        folder=${folder/drive_c\/WINDOWS/drive_c\/windows}
        mkdir -p "$folder"
        # Wine's own program of a name stays, and runs.
        [ -n "$(find "$folder" -maxdepth 1 -iname "$(basename "$file")")" ] ||
            cp "$plan_machine/drives/c/$file" "$folder/"
    done
}

plan_prefix() {
    in_plan_prefix run_wine 90 wineboot -i || return 1
    mkdir -p "$work/plan_prefix/drive_c/windows/system"
    in_plan_prefix set_family win98 && put_files && without_settings_of_wine &&
        in_plan_prefix import_registry "$plan_machine"/registry/*.reg
}

# The machine that the plan is made of lacks what Wine sets of its own.
without_settings_of_wine() {
    local key
    for key in 'HKLM\Software\Microsoft\Internet Explorer' 'HKCU\Software\Microsoft\Internet Explorer' \
        'HKLM\Software\Microsoft\Windows\CurrentVersion\URL'; do
        in_plan_prefix run_wine 30 reg delete "$key" /f || :
    done
}

# plan_state NAME: the files that aren't Wine's, and what the registry says in the places of a cleanup.
plan_state() {
    local key
    (cd "$work/plan_prefix/drive_c" && find . -newer "$work/plan_prefix/drive_c/windows/system.ini" -type f |
        grep -v '/Temp/' | LC_ALL=C sort) >"$work/$1.files"
    for key in 'LOCAL_MACHINE\Software\Microsoft\Internet Explorer' \
        'LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\URL' \
        'LOCAL_MACHINE\Software\Microsoft\Windows\CurrentVersion\Explorer' \
        'CURRENT_USER\Software\Microsoft\Internet Explorer'; do
        in_plan_prefix run_wine 30 regedit /E "Z:${work//\//\\}\\key.reg" "HKEY_$key" || return 1
        iconv -f UTF-16 -t UTF-8 "$work/key.reg"
    done | LC_ALL=C sort >"$work/$1.registry"
}

# Not all can be planned: the code page lacks a file's name. Nobody would find it to be a parasite.
make_plan() {
    local code=0
    decoder --machine "$1" clean --plan "$work/plan" || code=$?
    [ $code -eq 2 ] && [ -s "$work/plan/fix.bat" ]
}

carry_out() { (cd "$work/plan" && in_plan_prefix run_wine 120 cmd /c "$*"); }

# is_clean_image: the prefix's drive and registry as a machine image, with those of the machine's
# programs running that are still there.
is_clean_image() {
    local image=$work/plan_image key number=0
    mkdir -p "$image/registry" "$image/drives"
    for key in 'HKEY_LOCAL_MACHINE\Software' HKEY_CURRENT_USER; do
        number=$((number + 1))
        in_plan_prefix run_wine 60 regedit /E "Z:${image//\//\\}\\registry\\$number.reg" "$key" || return 1
    done
    end_plan_prefix
    mv "$work/plan_prefix/drive_c" "$image/drives/c"
    python3 - "$plan_machine/machine.json" "$image" <<'END' || return 1
import json, pathlib, sys
machine, image = json.load(open(sys.argv[1])), pathlib.Path(sys.argv[2])
there = {str(path.relative_to(image / "drives/c")).lower() for path in (image / "drives/c").rglob("*")}
def lasts(path):
    return path[3:].lower().replace("\\", "/") in there
machine["processes"] = [dict(process, modules=[module for module in process.get("modules", []) if lasts(module)])
                        for process in machine["processes"] if lasts(process["path"])]
machine.pop("files", None)
(image / "machine.json").write_text(json.dumps(machine))
print(len(machine["processes"]), "programs still there")
END
    # The handlers of protocols are Wine's own, in a folder that Windows 98 doesn't have.
    decoder --machine "$image" scan >"$work/scan" || { cat "$work/scan"; return 1; }
    grep -q '^Looked at 1 helper object' "$work/scan" || { cat "$work/scan"; return 1; }
    ! decoder --machine "$image" settings | grep SUSPECT | grep -v Handler
}

undone_plan_is_as_before() {
    plan_state before && carry_out fix.bat && plan_state after || return 1
    cmp -s "$work/before.files" "$work/after.files" && { echo "no file was renamed"; return 1; }
    carry_out fix.bat undo && plan_state undone || return 1
    diff "$work/before.files" "$work/undone.files" && diff "$work/before.registry" "$work/undone.registry"
}

plan_checks() {
    cp -r "$plan_machine" "$work/plan_machine"  # whose programs run, unlike those of a volume
    check "plan: hijacked prefix" plan_prefix
    check "plan: made" make_plan "$work/plan_machine"
    check "plan: carried out and undone" undone_plan_is_as_before
    check "plan: carried out, leaves a clean machine" eval 'carry_out fix.bat && is_clean_image'
    end_plan_prefix >/dev/null 2>&1
}
