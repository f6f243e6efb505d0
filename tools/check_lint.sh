#!/usr/bin/env bash
# clang-tidy with the list of .clang-tidy over the folders that parse input from outside: registry texts,
# version records, archives, machine images. The whole tree would take longer than everything else together.
# With "all": a short list over every file that is compiled for Linux.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
case "${1:-}" in
    "") folders=(src/base src/formats src/platform/image) options=() ;;
    all)
        folders=(src testing tests bench)
        options=(--checks='-*,readability-braces-around-statements,bugprone-unused-return-value,bugprone-use-after-move')
        ;;
    *) echo "usage: tools/check_lint.sh [all]" >&2; exit 2 ;;
esac
# A build folder of its own: clang can't read the headers that GCC precompiles in the others.
# The lists of signatures are made by the build.
{ cmake --preset linux -B build/lint && cmake --build build/lint --target bkfd_resources; } >build/lint.log ||
    { cat build/lint.log >&2; exit 1; }
git ls-files -- "${folders[@]}" | grep '\.cpp$' | while read -r file; do
    if grep -q "\"file\": \"$PWD/$file\"" build/lint/compile_commands.json; then echo "$file"; fi
done | xargs -P "$(nproc)" -n 4 clang-tidy -p build/lint --quiet \
    --extra-arg=-Wno-unknown-warning-option "${options[@]}" 2>/dev/null
