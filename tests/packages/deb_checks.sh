#!/usr/bin/env bash
# Holds the Debian package in dist/ against lintian, man and the shells that it completes for, then installs,
# uses and removes it in a bare Debian 12, which lies in build/amd64 and is copied for that.
#
#   tests/packages/deb_checks.sh        as root or by sudo, with the network
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "A Debian in a folder takes root, and sudo isn't there." >&2; exit 1; }
    exec sudo "$PWD/tests/packages/deb_checks.sh"
fi
. tools/debian_folder.sh
deb=$(compgen -G "dist/brackenfold_*_amd64.deb")
work=$(mktemp -d)
trap 'rm -rf --one-file-system "$work"' EXIT

lintian --allow-root --fail-on error,warning "$deb"
dpkg-deb -x "$deb" "$work/unpacked"
warnings=$(MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -l "$work"/unpacked/usr/share/man/man1/*.gz 2>&1 >/dev/null)
[ -z "$warnings" ] || { echo "$warnings"; exit 1; }
mkdir "$work/completions"
cp "$work"/unpacked/usr/share/{bash-completion/completions,zsh/vendor-completions,fish/vendor_completions.d}/* "$work/completions/"
tests/packages/check_completions.py "$work/completions"

# files_in: all paths of the folder but those of package lists, caches and logs.
files_in() {
    (cd "$1" && find . -xdev \( -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/cache -o -path ./var/log -o \
        -path ./etc/resolv.conf -o -path ./tmp \) -prune -o -print | LC_ALL=C sort)
}

# quietly COMMAND...: its output shows when it fails.
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log"; return 1; }; }

make_debian "$PWD/build/amd64" amd64
cp -a build/amd64 "$work/debian"
files_in "$work/debian" >"$work/before"
cp "$deb" "$work/debian/tmp/brackenfold.deb"
quietly add_packages "$work/debian" /tmp/brackenfold.deb
quietly in_debian "$work/debian" bash -c '
    set -e
    # finds STATUS: what a scan of the copy ends with.
    finds() { local status=0; brackenfold --machine /tmp/pc scan >/tmp/scan || status=$?; [ $status -eq "$1" ]; }
    cp -r /usr/share/doc/brackenfold/examples/machines/hijacked-xp /tmp/pc
    finds 1
    grep -q hpjk.dll /tmp/scan
    brackenfold --machine /tmp/pc clean --yes >/dev/null
    finds 0
    brackenfold --machine /tmp/pc undo last --yes >/dev/null
    finds 1
    echo /tmp/pc >/tmp/list
    brackenfold-fleet run /tmp/list --out /tmp/fleet
    brackenfold-fleet merge /tmp/fleet
    grep -q hpjk.dll /tmp/fleet/fleet.html'
quietly in_debian "$work/debian" apt-get autoremove --purge -y brackenfold
files_in "$work/debian" | diff "$work/before" -
echo "installed, used and removed"
