#!/usr/bin/env bash
# A clone of this commit in another folder makes the packages that are in dist/, byte for byte.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
[ -z "$(git status --porcelain)" ] || { echo "dist/ holds changes that no clone has; commit them first." >&2; exit 1; }
clone=$(mktemp -d)
trap 'rm -rf "$clone"' EXIT
git clone -q --no-hardlinks . "$clone/elsewhere"
CCACHE_DISABLE=1 "$clone/elsewhere/package"
diff dist/SHA256SUMS "$clone/elsewhere/dist/SHA256SUMS"
