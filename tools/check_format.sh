#!/usr/bin/env bash
# Every C++ file is formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
git ls-files -co --exclude-standard -- '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
