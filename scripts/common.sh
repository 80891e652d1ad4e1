# What the scripts share: the packages a step needs, and building a preset.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# need PACKAGE...: installs those Debian packages that are missing; quiet when none is.
need() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "Missing packages: ${missing[*]}. Install them as root, or install sudo." >&2
            exit 1
        }
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    local log
    log=$(mktemp)
    if ! { "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        exit 1
    fi
    rm -f "$log"
}

need_basics() {
    need g++ cmake ninja-build libgtest-dev libbenchmark-dev libcli11-dev nlohmann-json3-dev
}

# need_for PRESET: what a preset needs beyond the basics.
need_for() {
    case $1 in
        clang) need clang ;;
        libcxx) need clang googletest libc++-14-dev libc++abi-14-dev ;;
        liblog) need android-liblog-dev ;;
        arm64) need g++-aarch64-linux-gnu qemu-user googletest ;;
        fuzz) need clang libclang-rt-14-dev ;;
    esac
}

# build PRESET [TARGET...]: configures and builds; prints only what went wrong, and warnings.
build() {
    local preset=$1 log
    shift
    need_basics
    need_for "$preset"
    log=$(mktemp)
    if ! (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}) >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        exit 1
    fi
    if grep -q 'warning:' "$log"; then
        grep -A 3 'warning:' "$log" >&2
    fi
    rm -f "$log"
}
