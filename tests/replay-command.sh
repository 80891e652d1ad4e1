#!/usr/bin/env bash
# The zsl-replay command: exit codes, error texts, tables and JSON.
# Usage: replay-command.sh ZSL_REPLAY SESSIONS_FOLDER BROKEN_PLUGIN [EMULATOR...]
set -u
replay=$1 sessions=$2 broken=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
emulator=("$@")
. "$(dirname "$0")/check.sh"
zsl=vendor.debug.camera.zsl
late=$sessions/time-out.json stable=$sessions/stable-scene.json
exposure=$sessions/exposure-converging.json focus=$sessions/focus-hunting.json

printf '{"frames": [], "requests": [7]}' >"$work/bad.json"
printf "$zsl.runtime.adb=1\n$zsl.force.policy=0\n" >"$work/props"
printf 'nonsense\n' >"$work/badprops"
printf '0:a f1:0ns: RES:android.control.afMode: [OFF]\n0:a f1:0ns: RES:android.control.afState: [INACTIVE]\n0:a f2:40000000ns: RES:android.control.captureIntent: [STILL_CAPTURE]\n' >"$work/dump"

check 0 'Examples:' --help
check 0 '^2 requests: 2 served from history, 0 non-ZSL, 0 still pending; offset median' "$stable"
check 0 '"servedFromHistory": 2' --json "$stable"
check 0 '^R900 .* F31 ' "$exposure"
check 0 '^R900 .* F34 ' --policy 'AEStable|AESoftStable|ZeroShutterDelay' "$exposure"
check 0 'adb set policy\(0\)=\{ None \}' --policy 0x0 --log I "$late"
check 0 '^R900 .* 32[0-9]\.[0-9] ' --timeout-ms 300 "$late"
check 0 '^R900 .* F1 ' --props "$work/props" "$focus"
check 0 'hf\[null\], do pending directly' --history 1 --log I "$stable"
check 0 '^01-01 [0-9:.]{12} +[0-9]+ +[0-9]+ D SampleSelector: \[isQualify\] hf\[F24\] OK' --log D "$stable"
check 0 '^1 requests: 1 served' "$work/dump"
check 0 '^R2 \(0/1\)' --hint 2 "$work/dump"
check 0 'note: 0:a never names android.lens.state: taken as STATIONARY' "$work/dump"
check 0 'lens.state: taken as MOVING, .*\(--assume\)' --assume android.lens.state=MOVING "$work/dump"
check 2 "--assume: 'FLYING' is no value of android.lens.state" --assume android.lens.state=FLYING "$work/dump"
check 2 '--assume is for dumps' --assume android.lens.state=absent "$late"
check 0 'hint 2 \(latest\), policy None, time-out 300 ms, history 5 frames, results after 50.0 ms' --hint 2 --timeout-ms 300 --history 5 --result-ms 50 "$work/dump"
check 0 'note: \* after the time-out' "$late"
check 0 '^1 requests: 0 served from history, 1 non-ZSL' --request R901 "$late"
check 2 "--request: there is no request 'R7'" --request R7 "$late"
check 2 "no client 'x' with frames; there are 0:a" --client x "$work/dump"
check 0 '^zsl-replay 1' --version
check 0 '^2 requests: 2 served' - <"$stable"
check 2 '--hint: must not be empty' --hint '' "$work/dump"
check 2 "--result-ms: 'nan' is no number" --result-ms nan "$work/dump"
check 2 '--hint: there is no strategy 5' --hint 5 "$work/dump"
check 0 'policy AFStable\|AESoftStable\|ZeroShutterDelay\|ContinuousFrame' --setprop $zsl.force.policy=0 --timeout-ms 300 "$late"
check 0 'hint 2 .latest. reads no policy bit: --policy AFStable' --hint 2 --policy AFStable "$work/dump"
check 2 'is a folder' --props "$work" "$work/dump"
check 0 'warning: property a.b: nothing reads it' --setprop a.b=1 "$work/dump"
check 0 'force.hint has no effect' --setprop $zsl.force.hint=2 "$work/dump"
check 0 "force.hint: 'x' is no number" --setprop $zsl.force.hint=x "$work/dump"
# A wrong kind of file is named for what it is.
gzip -c "$work/dump" >"$work/gzip"
printf '\377\376{' >"$work/utf16"
printf '[1]' >"$work/array"
printf '01-01 00:00:00.000  1  1 D Tag: text\n' >"$work/log"
printf '{"frames": [], "frames": []}' >"$work/twice"
: >"$work/empty"
for kind in gzip:gzip utf16:UTF-16 array:'a JSON array' log:logcat empty:empty twice:'/frames: the key appears twice'; do
    check 2 "${kind#*:}" "$work/${kind%%:*}"
done
# A plug-in that breaks ends its session, not the tool: played, swept over, and verified. File names may be any bytes.
recording=$work/$'\377.ndjson' session=$work/$'\377.json' threw='the plug-in threw an exception'
cp "$(dirname "$0")/data/recording-1.ndjson" "$recording"
cp "$stable" "$session"
for kind in null:'leaves the pointer null' abort:'the plug-in ended the process: signal 6' exit:'exit code 7' exit0:'exit code 0, without' \
    factoryexit0:'exit code 0, without' close:'exit code 0, without' throw:"$threw: no idea" own:"$threw: of its own" \
    factoryown:"$threw: of its own" thing:"$threw\$" hang:'did not return within 0.5 s'; do
    for command in "play $session" "sweep $session" "verify $recording"; do
        BROKEN=${kind%%:*} check 1 "${kind#*:}" ${command%% *} --deadline-s 0.5 --plugin "$broken" "${command#* }"
    done
done
BROKEN=frame check 1 'F4711, which is not in the history' --plugin "$broken" "$stable"
BROKEN=fork check 0 '2 still pending' --deadline-s 9 --plugin "$broken" "$stable"
BROKEN=reserved check 4 'recorded F.* \(reserved 0\); now F.* \(reserved 5\)' verify --plugin "$broken" "$recording"
BROKEN=set check 4 'recorded .*, frameNoSet \{\}; now F.*, frameNoSet \{8 9\}' verify --plugin "$broken" "$recording"
head -2 "$recording" >"$work/none.ndjson"
check 2 'none.ndjson: no call is recorded' verify "$work/none.ndjson"
check 2 "--deadline-s: 'nan' is no number" verify --deadline-s nan "$work/none.ndjson"
# Nothing stays behind: neither when the tool is ended, nor when a process between it and the plug-in is.
ended() { for _ in $(seq 50); do grep -qs '^State:.[^XZ]' "/proc/$1/status" || return 0; sleep 0.1; done; return 1; }
for signal in TERM KILL worker; do
    [ ${#emulator[@]} -eq 0 ] || break  # whose processes have other parents
    : >"$work/out"
    BROKEN=hang "$replay" sweep --plugin "$broken" "$stable" >>"$work/out" 2>&1 &
    tool=$!
    until read -r _ child worker < <(grep ^hangs "$work/out") || ! kill -0 $tool; do sleep 0.05; done
    if [ $signal = worker ]; then kill -KILL "$worker"; else kill -$signal $tool; fi
    wait $tool 2>/dev/null
    ended "$child" && ended "$worker" && { [ $signal != worker ] || grep -q 'json: its process ended: signal 9' "$work/out"; } ||
        fail "ended by $signal"
done
if [ -e /dev/full ]; then
    run "$stable" 2>"$work/out" >/dev/full
    [ $? -eq 1 ] && grep -q 'cannot write to standard output' "$work/out" || fail full
fi
# explain, sweep, generate and the pictures.
check 0 '^R900 waited 1024 ms, past the time-out of 1000 ms, because .* then it took F25' explain --request R900 "$late"
run --log D "$late" 2>"$work/selector.log" >/dev/null
check 0 '^R901 waited 1008 ms' explain --logcat "$work/selector.log"
check 0 '^R901 waited 1008 ms' explain --logcat - --request 901 <"$work/selector.log"
check 2 'no call of the selector; looked for the tag SampleSelector' explain --logcat "$work/log"
check 2 'nothing to explain: give INPUT' explain
check 2 'excludes' explain --logcat "$work/log" "$work/dump"
# The same on every machine and with every standard library.
run generate --seed 7 --sensors 2 --burst 3 | cksum | grep -q '^3293878639 12336$' ||
    fail "generate: another session than elsewhere"
check 2 '\-\-fps' generate --fps 0
check 2 '108000 frames; a session holds 100000' generate --seconds 3600
[ ! -e /proc/self/mem ] || check 2 '^zsl-replay: /proc/self/mem: ' /proc/self/mem
run generate --count 3 >"$work/sessions"
mkdir -p "$work/folder/below"
cp "$stable" "$work/folder/b.json"
cp "$work/dump" "$work/folder/below/a.txt"
check 0 '^2 +default +300 +3 +3 +0 +0 ' sweep --hint 0,2 --timeout-ms 300,1000 "$work/folder"
check 0 '^0,None,default,18,18,0,0,' sweep --csv --hint 0 --policy default,None - <"$work/sessions"
check 0 '^{"input":"standard input line 2","hint":0,.*"requests":6,' sweep --ndjson - <"$work/sessions"
check 1 '1 of 3 inputs failed' sweep "$work/folder" "$work/bad.json"
check 1 'bad.json: /requests/0: expected an object' sweep --hint 0,2 "$work/bad.json" "$work/folder"
check 2 "--hint: there is no strategy 7" sweep --hint 0,7 "$work/folder"
check 1 'cannot load the plug-in /nonexistent.so' sweep --plugin /nonexistent.so "$work/folder"
BROKEN=abort check 1 '2 of 2 inputs failed' sweep --plugin "$broken" "$work/folder"
mkfifo "$work/folder/fifo"
ln -s .. "$work/folder/below/up"
ln -s self "$work/folder/self"
for left in 'fifo: left out: a FIFO' 'up: left out: leads back to a folder above' 'self: left out: links that lead nowhere'; do
    check 0 "$left" sweep --hint 2 "$work/folder"
done
check 2 'fifo: is a FIFO; expected a file' sweep "$work/folder/fifo"
# Few descriptors make it slower.
(ulimit -n 14 && check 0 '^0 +0 .* 18 +18 ' sweep --hint 0,1,2,3 --policy default,0 --jobs 64 - <"$work/sessions" && exit $failures) ||
    failures=$((failures + 1))
check 0 '^2 requests' --html "$work/page.html" --svg "$work/timeline.svg" --trace "$work/trace.json" "$late"
# One that cannot be written stops no other; what was there stays; nothing goes over what is read or written.
cp "$stable" "$work/input"
ln "$work/input" "$work/link"
check 1 'nowhere/page.html: No such file' --html "$work/nowhere/page.html" --svg "$work/input.svg" "$work/input"
cmp -s "$work/input.svg" <(run --svg - "$work/input") || fail "--svg -"
check 2 '[-]-html would overwrite its input, .*/link' --html "$work/input" "$work/link"
check 2 '[-]-json and --svg would both write to standard output' --json --svg - "$late"
check 2 '[-]-html and --trace would both write' --html "$work/x" --trace "$work/./x" "$late"
(ulimit -f 8 && trap '' XFSZ && run --html "$work/input.svg" "$late" >/dev/null 2>&1) && fail "no room"
grep -q '^</svg>' "$work/input.svg" && ! ls "$work"/.[!.]* >/dev/null 2>&1 || fail "a file written in part"
sed 's/"description": "/&\\u001b[31m/' "$stable" >"$work/evil"
check 0 '^\\x1b\[31m' "$work/evil"
check 2 'nosuch: No such file' nosuch
check 2 'bad.json: /requests/0: expected an object' "$work/bad.json"
check 2 'props: no line of a camera' "$work/props"
check 2 "--policy: 'Foo' is neither" --policy Foo "$late"
check 2 "--hint: 'x' is no whole number" --hint x "$late"
check 2 "--setprop: expected name=value" --setprop x "$late"
check 2 "badprops:1: expected name=value" --props "$work/badprops" "$late"
check 2 'The following argument was not expected: --bogus' --bogus "$late"
check 1 'cannot load the plug-in /nonexistent.so' --plugin /nonexistent.so "$late"
exit $((failures > 0))
