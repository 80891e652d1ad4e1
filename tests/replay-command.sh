#!/usr/bin/env bash
# The zsl-replay command: exit codes, error texts, tables and JSON.
# Usage: replay-command.sh ZSL_REPLAY SESSIONS_FOLDER [EMULATOR...]
set -u
replay=$1 sessions=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

# check NAME EXIT_CODE PATTERN ARGUMENT...: the output, both streams, must hold the pattern.
check() {
    local name=$1 code=$2 pattern=$3
    shift 3
    "${emulator[@]}" "$replay" "$@" >"$work/out" 2>&1
    local actual=$?
    if [ $actual -ne "$code" ] || ! grep -qE -- "$pattern" "$work/out"; then
        echo "FAILED: $name: exit code $actual, expected $code and /$pattern/ in:"
        cat "$work/out"
        failures=$((failures + 1))
    fi
}
emulator=("$@")

printf '{"frames": [], "requests": [7]}' >"$work/bad.json"
printf 'vendor.debug.camera.zsl.runtime.adb=1\nvendor.debug.camera.zsl.force.policy=0\n' >"$work/props"
printf 'nonsense\n' >"$work/badprops"
printf '0:a f1:0ns: RES:android.control.afMode: [OFF]\n0:a f1:0ns: RES:android.control.afState: [INACTIVE]\n0:a f2:40000000ns: RES:android.control.captureIntent: [STILL_CAPTURE]\n' >"$work/dump"

check help 0 'Examples:' --help
check stable 0 '^2 requests: 2 served from history, 0 non-ZSL, 0 still pending; offset median' "$sessions/stable-scene.json"
check json 0 '"servedFromHistory": 2' --json "$sessions/stable-scene.json"
check policy 0 '^R900 .* F31 ' "$sessions/exposure-converging.json"
check policyNames 0 '^R900 .* F34 ' --policy 'AEStable|AESoftStable|ZeroShutterDelay' "$sessions/exposure-converging.json"
check policyForced 0 'adb set policy\(0\)=\{ None \}' --policy 0x0 --log I "$sessions/time-out.json"
check timeout 0 '^R900 .* 32[0-9]\.[0-9] ' --timeout-ms 300 "$sessions/time-out.json"
check props 0 '^R900 .* F1 ' --props "$work/props" "$sessions/focus-hunting.json"
check setprop 0 '^R900 .* F1 ' --setprop vendor.debug.camera.zsl.runtime.adb=1 --setprop vendor.debug.camera.zsl.force.policy=0 "$sessions/focus-hunting.json"
check history 0 'hf\[null\], do pending directly' --history 1 --log I "$sessions/stable-scene.json"
check logcat 0 '^01-01 [0-9:.]{12} +[0-9]+ +[0-9]+ D SampleSelector: \[isQualify\] hf\[F24\] OK' --log D "$sessions/stable-scene.json"
check dump 0 '^1 requests: 1 served' "$work/dump"
check dumpBurst 0 '^R2 \(0/1\)' --hint 2 "$work/dump"
check noLens 0 'note: android.lens.state is not in the dump' "$work/dump"
check noFile 2 'nosuch: No such file' nosuch
check badSession 2 'bad.json: /requests/0: expected an object' "$work/bad.json"
check badDump 2 'props: no line of a camera' "$work/props"
check badPolicy 2 "--policy: 'Foo' is neither" --policy Foo "$sessions/time-out.json"
check badHint 2 "--hint: 'x' is no whole number" --hint x "$sessions/time-out.json"
check badSetprop 2 "--setprop: expected name=value" --setprop x "$sessions/time-out.json"
check badProps 2 "badprops:1: expected name=value" --props "$work/badprops" "$sessions/time-out.json"
check badOption 2 'The following argument was not expected: --bogus' --bogus "$sessions/time-out.json"
check noPlugin 1 'cannot load the plug-in /nonexistent.so' --plugin /nonexistent.so "$sessions/time-out.json"
exit $((failures > 0))
