# What the tests of the command share. Whoever reads it in has set `replay`, `work` and `emulator`.
failures=0
run() { "${emulator[@]}" "$replay" "$@"; }
fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}
# check EXIT_CODE PATTERN ARGUMENT...: the output, both streams, must hold the pattern.
check() {
    local code=$1 pattern=$2
    shift 2
    run "$@" >"$work/out" 2>&1
    local actual=$?
    [ $actual -eq "$code" ] && grep -qE -- "$pattern" "$work/out" && return
    fail "$*: exit code $actual, expected $code and /$pattern/ in: $(cut -c1-300 "$work/out")"
}
