# What the scripts share: their help, the packages a step needs, and building a preset.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# print_help: the comment at the head of the calling script.
print_help() { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"; }

# help_if_asked ARGUMENT...: ends the script with its help if the first argument asks for it.
help_if_asked() {
    case ${1:-} in -h | --help)
        print_help
        exit 0
        ;;
    esac
}

# need THING:PACKAGE...: installs the packages whose thing is missing: a command, or a file by its path.
need() {
    local missing=() wish thing
    for wish in "$@"; do
        thing=${wish%%:*}
        if [ "${thing#/}" = "$thing" ]; then
            command -v "$thing" >/dev/null || missing+=("${wish##*:}")
        else
            [ -e "$thing" ] || missing+=("${wish##*:}")
        fi
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

# need_for PRESET: what building it needs.
need_for() {
    need g++:g++ cmake:cmake ninja:ninja-build /usr/include/gtest/gtest.h:libgtest-dev \
        /usr/include/benchmark/benchmark.h:libbenchmark-dev /usr/include/CLI/CLI.hpp:libcli11-dev \
        /usr/include/nlohmann/json.hpp:nlohmann-json3-dev /usr/include/fmt/core.h:libfmt-dev
    case $1 in
        clang) need clang++:clang ;;
        coverage) need clang++:clang llvm-cov:llvm /usr/lib/llvm-14/lib/clang/14.0.6/lib/linux:libclang-rt-14-dev ;;
        libcxx) need clang++:clang /usr/src/googletest:googletest /usr/lib/llvm-14/lib/libc++.so:libc++-14-dev \
            /usr/lib/llvm-14/lib/libc++abi.so:libc++abi-14-dev ;;
        liblog) need /usr/include/android/android/log.h:android-liblog-dev ;;
        arm64) need aarch64-linux-gnu-g++:g++-aarch64-linux-gnu qemu-aarch64:qemu-user /usr/src/googletest:googletest ;;
        fuzz) need clang++:clang /usr/lib/llvm-14/lib/clang/14.0.6/lib/linux:libclang-rt-14-dev ;;
    esac
}

# build PRESET [TARGET...]: configures and builds; prints only what went wrong, and warnings.
build() {
    local preset=$1 log notice
    shift
    need_for "$preset"
    log=$(mktemp)
    (sleep 2 && echo "Building ($preset) ..." >&2) &
    notice=$!
    if ! (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}) >"$log" 2>&1; then
        kill $notice 2>/dev/null || true
        cat "$log" >&2
        rm -f "$log"
        exit 1
    fi
    kill $notice 2>/dev/null || true
    if grep -q 'warning:' "$log"; then
        grep -A 3 'warning:' "$log" >&2
    fi
    rm -f "$log"
}
