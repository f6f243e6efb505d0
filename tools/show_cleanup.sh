#!/usr/bin/env bash
# Shows the main job on a machine, an image or a volume: what is found, the cleanup, that nothing is left, and the undo.
# Usage: tools/show_cleanup.sh PROGRAM FOLDER
set -euo pipefail
program=$1
image=$2

# headline TEXT: what comes next.
headline() { printf '\n\033[1m%s\033[0m\n' "$1" | if [ -t 1 ]; then cat; else sed 's/\x1b\[[0-9]*m//g'; fi; }

# expect STATUS COMMAND...: runs a command whose exit status is known.
expect() {
    local wanted=$1 status=0
    shift
    "$@" || status=$?
    [ "$status" -eq "$wanted" ] || { echo "$* ended with $status instead of $wanted" >&2; exit 1; }
}

headline "A hijacked Windows XP machine (a throwaway copy at $image)"
expect 1 "$program" --machine "$image" scan

headline "The cleanup, which a user would start with one click"
expect 0 "$program" --machine "$image" clean --yes

headline "The same scan again"
expect 0 "$program" --machine "$image" scan

headline "What was done, and taking it back"
expect 0 "$program" --machine "$image" undo
expect 0 "$program" --machine "$image" undo last --yes

headline "The same scan once more: the machine is as it was"
expect 1 "$program" --machine "$image" scan

headline "What the program's own log tells of it"
drive=$image
[ ! -d "$image/drives/c" ] || drive=$image/drives/c
tail -n 12 "$drive/Program Files/Brackenfold/BKFD.log"
