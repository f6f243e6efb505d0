# A Wine prefix that looks like the hijacked example machine. Sourced.

# import_registry FILE...: registry files of any encoding that the example machines use. Wine reads
# version 5.00 well as UTF-16 alone.
import_registry() {
    local file text
    text=$(mktemp --suffix .reg)
    for file in "$@"; do
        case $(head -c 3 "$file" | od -An -tx1 | tr -d ' ') in
            efbbbf) { printf '\xff\xfe'; tail -c +4 "$file" | iconv -f UTF-8 -t UTF-16LE; } >"$text" ;;
            57696e) { printf '\xff\xfe'; iconv -f CP1252 -t UTF-16LE "$file"; } >"$text" ;;
            *) cp "$file" "$text" ;;
        esac
        wine regedit /S "Z:${text//\//\\}"
    done
    rm -f "$text"
}

# hijack_prefix MACHINE: lays the machine's files and registry over the prefix. Files that Wine has
# itself stay: the system's own, which run.
hijack_prefix() {
    local machine=$1 drive=$WINEPREFIX/drive_c file
    (cd "$machine/drives/c" && find . -type f -print0) | while IFS= read -r -d '' file; do
        local target=$drive/${file#./}
        target=${target/drive_c\/WINDOWS/drive_c\/windows}
        [ -e "$target" ] && continue
        mkdir -p "$(dirname "$target")"
        cp "$machine/drives/c/$file" "$target"
    done
    import_registry "$machine"/registry/*.reg
}
