#!/usr/bin/env bash
# Runs the tests that need Windows on a 32-bit one: under the 32-bit Wine of an i386 Debian, which lies in
# a folder of its own, build/i386, and stays there from one run to the next. The setup is tried there too,
# and on a 64-bit Windows that runs 32-bit programs.
#
#   tests/windows/run32.sh BUILD-FOLDER [GROUP...]     as run.sh, which it runs there
#   WINEARCH=win64 tests/windows/run32.sh ...          on that 64-bit Windows
#
# Needs root or sudo, debootstrap and, the first time, the network.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.." || exit 1
root=$PWD
build=$(realpath -e "${1:?usage: tests/windows/run32.sh BUILD-FOLDER [GROUP...]}") || exit 1
shift
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "A Debian in a folder takes root, and sudo isn't there." >&2; exit 1; }
    exec sudo WINEARCH="${WINEARCH:-}" "$root/tests/windows/run32.sh" "$build" "$@"
fi
. tools/debian_folder.sh

folder=$root/build/i386
# What is of amd64 are the libraries of the native program, and the 64-bit Wine.
make_debian "$folder" i386 wine wine32 wine64:amd64 fonts-wine xvfb xauth xdotool imagemagick python3 \
    icoutils libxml2-utils libfaketime procps libcurl4:amd64 libexpat1:amd64 libssl3:amd64 libstdc++6:amd64 \
    zlib1g:amd64 || exit 1

clang --target=i386-linux-gnu -O2 -fPIC -shared -nostdlib -fno-stack-protector -o "$folder/usr/lib/clock64.so" \
    tests/windows/clock64.c || exit 1

debian_binds=$root
in_debian "$folder" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 WINEARCH="${WINEARCH:-win32}" \
    CLOCK_LIBRARY="$([ "${WINEARCH:-}" = win64 ] || echo /usr/lib/clock64.so)" \
    "$root/tests/windows/run.sh" "$build" "$@"
