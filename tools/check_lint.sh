#!/usr/bin/env bash
# clang-tidy with the list of .clang-tidy over the folders that parse input from outside: registry texts,
# version records, archives, machine images. The whole tree would take longer than everything else together.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
[ -f build/linux-asan/compile_commands.json ] || { echo "build/linux-asan isn't configured" >&2; exit 1; }
git ls-files -- src/base src/formats src/platform/image | grep '\.cpp$' | while read -r file; do
    if grep -q "\"file\": \"$PWD/$file\"" build/linux-asan/compile_commands.json; then echo "$file"; fi
done | xargs -P "$(nproc)" -n 4 clang-tidy -p build/linux-asan --quiet \
    --extra-arg=-Wno-unknown-warning-option 2>/dev/null
