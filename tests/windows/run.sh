#!/usr/bin/env bash
# Runs the tests that need Windows, and the program itself, under Wine: in a prefix and on a display
# of their own, which are gone afterwards.
#
#   tests/windows/run.sh BUILD-FOLDER [GROUP...]
#
# Groups: units, startup, cleanup, walk, views, support, plan, prefix, all of these if none is named; setup, which
# needs what ./package makes; all, which is these and setup.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(realpath -e "${1:?usage: tests/windows/run.sh BUILD-FOLDER [GROUP...]}") || exit 1
shift
groups=" ${*:-units startup cleanup walk views support plan prefix} "
[ "$groups" != " all " ] || groups=" units startup cleanup walk views support plan prefix setup "
for group in $groups; do
    case $group in
        units | startup | cleanup | walk | views | support | plan | prefix | setup) ;;
        *) echo "$group is no group; there are units, startup, cleanup, walk, views, support, plan, prefix and setup" >&2; exit 1 ;;
    esac
done
for tool in wine wineserver Xvfb xdotool; do
    command -v "$tool" >/dev/null || { echo "$tool is missing: the Windows tests can't run" >&2; exit 1; }
done
. "$here/wine.sh"
trap stop_wine EXIT
start_wine || exit 1

passed=0
failed=0
# check NAME COMMAND...: runs one check and counts it; its output shows when it fails.
check() {
    local name=$1 output start=$SECONDS
    shift
    if output=$("$@" 2>&1); then
        passed=$((passed + 1))
        echo "ok     $name ($((SECONDS - start)) s)"
    else
        failed=$((failed + 1))
        echo "FAILED $name ($((SECONDS - start)) s)"
        printf '%s\n' "$output" | grep -v '^\[ *\(RUN\|OK\) *\]' | tail -n 60 | sed 's/^/       /'
    fi
}

# gtest PROGRAM ARGUMENT...: a test program, which must have run at least one test.
gtest() {
    run_wine 60 "$@" | tee "$work/gtest.out"
    [ "${PIPESTATUS[0]}" -eq 0 ] && grep -q '^\[  PASSED  \] [1-9]' "$work/gtest.out"
}

. "$here/startup_checks.sh"
. "$here/cleanup_checks.sh"
. "$here/walk_checks.sh"
. "$here/views_checks.sh"
. "$here/support_checks.sh"
. "$here/../../tools/hijack_prefix.sh"
. "$here/plan_checks.sh"
. "$here/prefix_checks.sh"
. "$here/setup_checks.sh"

is_asked_for() { [[ $groups == *" $1 "* ]]; }

unit_checks() {
    check "$1: mirror of every control" run_wine 60 "$build/tests/windows/mirror_test.exe"
    check "$1: contract of the seam, undo" gtest "$build/tests/windows/contract_win32.exe"
}

if is_asked_for units; then
    check "handles and texts, component bridge, version records, module paths" gtest "$build/tests/platform/win32/platform_win32_test.exe"
    check "pictures and strings" "$here/check_resources.py" "$build/Brackenfold.exe"
fi
for family in win10 win98; do
    check "$family: set" set_family $family
    is_asked_for units && unit_checks $family
    is_asked_for startup && startup_checks $family
    is_asked_for cleanup && cleanup_checks $family
    is_asked_for walk && walk_checks $family
    is_asked_for support && support_checks $family
    is_asked_for setup && setup_checks $family
done
is_asked_for views && views_checks
is_asked_for plan && plan_checks
is_asked_for prefix && prefix_checks
if is_asked_for units; then
    check "144 dots per inch: set" set_resolution 144
    check "144 dots per inch: mirror of every control" run_wine 60 "$build/tests/windows/mirror_test.exe"
fi

echo "$passed passed, $failed failed"
[ $failed -eq 0 ]
