# Debian 12 packages that this project builds, tests and runs with. Sourced by ./run, ./test and ./package.

packages_native="cmake ninja-build g++ pkg-config googletest libbenchmark-dev zlib1g-dev
    libcurl4-openssl-dev libssl-dev libcli11-dev nlohmann-json3-dev libexpat1-dev rapidjson-dev python3"
packages_windows="g++-mingw-w64-x86-64-win32 g++-mingw-w64-i686-win32 libz-mingw-w64-dev
    librsvg2-bin icoutils imagemagick"
packages_wine="wine wine64 fonts-wine xvfb xauth xdotool imagemagick faketime"
packages_checks="python3-jsonschema clang-format clang-tidy clang libclang-rt-dev shellcheck libxml2-utils zip unzip p7zip-full git"
packages_hives="libhivex-bin python3-hivex reglookup libregf-utils libcreg-utils xz-utils"
packages_packaging="dpkg-dev debhelper dh-python nsis python3-markdown zip git"
packages_release="debootstrap lintian man-db bash-completion zsh fish p7zip-full"
packages_volumes="ntfs-3g attr"
packages_fleet="qemu-utils libnbd-bin dosfstools mtools fusefat fdisk parallel openssh-server openssh-client slurm-wlm munge
    chromium"

# need_packages NAME...: installs those that are missing; needs root or sudo for that alone.
need_packages() {
    local missing=()
    for name in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Abbrev}' "$name" 2>/dev/null)" = "ii " ] || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing ${missing[*]} ..." >&2
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || { echo "Missing packages: ${missing[*]}; install them as root." >&2; return 1; }
        as_root=(sudo)
    fi
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        tail -n 20 "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
}

# build_preset PRESET TARGET...: configures where needed and builds, showing output only on failure.
build_preset() {
    local preset=$1 log
    shift
    mkdir -p build
    log=build/$preset.log
    echo "Building $preset ..." >&2
    if ! { { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } &&
            cmake --build "build/$preset" ${1:+--target "$@"}; } >"$log" 2>&1; then
        grep -E -A12 'error|FAILED|CMake Error' "$log" | head -n 60 >&2 || tail -n 40 "$log" >&2
        echo "Building $preset failed; the whole output is in $log." >&2
        return 1
    fi
}
