#!/usr/bin/env bash
# clang-tidy with the list of .clang-tidy over the sources of the native build.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ -f build/linux/compile_commands.json ] || { echo "build/linux isn't configured" >&2; exit 1; }
git ls-files -- 'src/*.cpp' | while read -r file; do
    grep -q "\"file\": \"$PWD/$file\"" build/linux/compile_commands.json && echo "$file"
done | xargs -P "$(nproc)" -n 4 clang-tidy -p build/linux --quiet 2>/dev/null
