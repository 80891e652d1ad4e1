#!/usr/bin/env bash
# The zsl-replay command: exit codes, error texts, tables and JSON.
# Usage: replay-command.sh ZSL_REPLAY SESSIONS_FOLDER BROKEN_PLUGIN [EMULATOR...]
set -u
replay=$1 sessions=$2 broken=$3
shift 3
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
check assumed 0 'note: 0:a never names android.lens.state: taken as STATIONARY' "$work/dump"
check assumeSet 0 'lens.state: taken as MOVING, .*\(--assume\)' --assume android.lens.state=MOVING "$work/dump"
check assumeBad 2 "--assume: 'FLYING' is no value of android.lens.state" --assume android.lens.state=FLYING "$work/dump"
check assumeSession 2 '--assume is for dumps' --assume android.lens.state=absent "$sessions/time-out.json"
check settings 0 'hint 2 \(latest\), policy None, time-out 300 ms, history 5 frames, results after 50.0 ms' --hint 2 --timeout-ms 300 --history 5 --result-ms 50 "$work/dump"
check timedOut 0 'note: \* after the time-out' "$sessions/time-out.json"
check request 0 '^1 requests: 0 served from history, 1 non-ZSL' --request R901 "$sessions/time-out.json"
check badRequest 2 "--request: there is no request 'R7'" --request R7 "$sessions/time-out.json"
check badClient 2 "no client 'x' with frames; there are 0:a" --client x "$work/dump"
check version 0 '^zsl-replay 1' --version
check stdin 0 '^2 requests: 2 served' - <"$sessions/stable-scene.json"
check emptyValue 2 '--hint: must not be empty' --hint '' "$work/dump"
check noNumber 2 "--result-ms: 'nan' is no number" --result-ms nan "$work/dump"
check noStrategy 2 '--hint: there is no strategy 5' --hint 5 "$work/dump"
check propsFolder 2 'is a folder' --props "$work" "$work/dump"
check unread 0 'warning: property a.b: nothing reads it' --setprop a.b=1 "$work/dump"
check noSwitch 0 'force.hint has no effect' --setprop vendor.debug.camera.zsl.force.hint=2 "$work/dump"
check dormant 0 'policy AFStable\|AESoftStable\|ZeroShutterDelay\|ContinuousFrame' --setprop vendor.debug.camera.zsl.force.policy=0 --timeout-ms 300 "$sessions/time-out.json"
check unreadPolicy 0 'hint 2 .latest. reads no policy bit: --policy AFStable' --hint 2 --policy AFStable "$work/dump"
check notANumber 0 "force.hint: 'x' is no number" --setprop vendor.debug.camera.zsl.force.hint=x "$work/dump"
# A wrong kind of file is named for what it is.
gzip -c "$work/dump" >"$work/gzip"
printf '\377\376{' >"$work/utf16"
printf '[1]' >"$work/array"
printf '01-01 00:00:00.000  1  1 D Tag: text\n' >"$work/log"
printf '{"frames": [], "frames": []}' >"$work/twice"
: >"$work/empty"
for kind in gzip:gzip utf16:UTF-16 array:'a JSON array' log:logcat empty:empty twice:'/frames: the key stands twice'; do
    check "kind-${kind%%:*}" 2 "${kind#*:}" "$work/${kind%%:*}"
done
# A plug-in that breaks ends its session, not the tool.
for kind in null:'leaves the pointer null' abort:'signal 6' exit:'exit code 7' throw:'threw an exception: no idea' frame:'F4711, which is not in the history'; do
    BROKEN=${kind%%:*} check "broken-${kind%%:*}" 1 "${kind#*:}" --plugin "$broken" "$sessions/stable-scene.json"
done
if [ -e /dev/full ]; then
    "${emulator[@]}" "$replay" "$sessions/stable-scene.json" 2>"$work/out" >/dev/full
    [ $? -eq 1 ] && grep -q 'cannot write to standard output' "$work/out" || { echo "FAILED: full"; failures=$((failures + 1)); }
fi
# explain, sweep, generate and the pictures.
check explain 0 '^R900 waited 1024 ms, past the time-out of 1000 ms, because .* then it took F25 without' explain --request R900 "$sessions/time-out.json"
"$@" "$replay" --log D "$sessions/time-out.json" 2>"$work/selector.log" >/dev/null
check explainLogcat 0 '^R901 waited 1008 ms' explain --logcat "$work/selector.log"
check explainStdin 0 '^R901 waited 1008 ms' explain --logcat - --request 901 <"$work/selector.log"
check explainNoCall 2 'no call of the selector; looked for the tag SampleSelector' explain --logcat "$work/log"
check explainNothing 2 'explain what\?' explain
check explainBoth 2 'excludes' explain --logcat "$work/log" "$work/dump"
# The same on every machine and with every standard library.
"$@" "$replay" generate --seed 7 --sensors 2 --burst 3 | cksum | grep -q '^3293878639 12336$' ||
    { echo "FAILED: generate: another session than elsewhere"; failures=$((failures + 1)); }
check generateBad 2 '\-\-fps' generate --fps 0
"$@" "$replay" generate --count 3 >"$work/sessions"
mkdir -p "$work/folder/below"
cp "$sessions/stable-scene.json" "$work/folder/b.json"
cp "$work/dump" "$work/folder/below/a.txt"
check sweep 0 '^2 +default +300 +3 +3 +0 +0 ' sweep --hint 0,2 --timeout-ms 300,1000 "$work/folder"
check sweepCsv 0 '^0,None,default,18,18,0,0,' sweep --csv --hint 0 --policy default,None - <"$work/sessions"
check sweepNdjson 0 '^{"input":"standard input line 2","hint":0,.*"requests":6,' sweep --ndjson - <"$work/sessions"
check sweepBad 1 '1 of 3 inputs failed' sweep "$work/folder" "$work/bad.json"
check sweepBadTold 1 'bad.json: /requests/0: expected an object' sweep --hint 0,2 "$work/bad.json" "$work/folder"
check sweepSetting 2 "--hint: there is no strategy 7" sweep --hint 0,7 "$work/folder"
check sweepNoPlugin 1 'cannot load the plug-in /nonexistent.so' sweep --plugin /nonexistent.so "$work/folder"
BROKEN=abort check sweepBroken 1 '2 of 2 inputs failed' sweep --plugin "$broken" "$work/folder"
check pictures 0 '^2 requests' --html "$work/page.html" --svg "$work/timeline.svg" --trace "$work/trace.json" "$sessions/time-out.json"
check pictureNowhere 1 'nowhere/page.html: No such file' --html "$work/nowhere/page.html" "$sessions/time-out.json"
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
