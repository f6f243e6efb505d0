#!/usr/bin/env bash
# Looks for inputs that break the parsers, with libFuzzer.
#
#   tools/fuzz.sh MINUTES [TARGET...]   each target in turn, all of them by default: fuzz_zip ...
#
# Inputs that reach new code are kept in build/fuzz/TARGET/corpus, from which the next run goes on; an
# input that breaks a target is kept in build/fuzz/TARGET and printed, and the run ends non-zero. What is
# worth keeping for good goes into tests/fuzz/corpus/TARGET, a few small files each.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1
. tools/packages.sh

usage() {
    echo "usage: tools/fuzz.sh MINUTES [TARGET...]" >&2
    exit 2
}
[[ ${1:-} =~ ^[1-9][0-9]*$ ]] || usage
minutes=$1
shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] ||
    mapfile -t targets < <(sed -n 's/^bkfd_fuzz_test(\(fuzz_[a-z_]*\) .*/\1/p' tests/fuzz/CMakeLists.txt)

# shellcheck disable=SC2086  # lists of words
need_packages $packages_native $packages_checks || exit 1
build_preset linux-fuzz "${targets[@]}" || exit 1

# run TARGET: at most 64 MiB at a time, 512 MiB in all, 10 seconds an input.
run() {
    local name=$1 work=build/fuzz/$1 found=tests/fuzz/corpus/$1 program=build/linux-fuzz/tests/fuzz/$1
    mkdir -p "$work/seeds" "$work/corpus"
    BKFD_FUZZ_SEEDS=$work/seeds "$program" || return 1
    [ -d "$found" ] || found=
    echo "== $name, $minutes min"
    "$program" -max_total_time=$((minutes * 60)) -timeout=10 -malloc_limit_mb=64 -rss_limit_mb=512 \
        -print_final_stats=1 -verbosity=1 -artifact_prefix="$work/" \
        "$work/corpus" "$work/seeds" ${found:+"$found"} >"$work/log" 2>&1
    local status=$?
    grep -E '^stat::|cov:' "$work/log" | tail -n 8 | sed 's/^/   /'
    if [ $status -ne 0 ]; then
        grep -E -m3 'broken promise|ERROR|runtime error' "$work/log"
        grep -E 'Test unit written' "$work/log"
        echo "   FAILED: $name; all of it is in $work/log"
    fi
    return $status
}

failed=0
for target in "${targets[@]}"; do
    run "$target" || failed=$((failed + 1))
done
[ $failed -eq 0 ]
