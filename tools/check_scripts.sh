#!/usr/bin/env bash
# Every shell script passes shellcheck. Sourced files share their variables, so nothing is said of those
# that one file alone never sets or never reads.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
git ls-files -co --exclude-standard -- run test '*.sh' |
    xargs shellcheck --shell=bash --severity=warning --exclude=SC2034,SC2154
