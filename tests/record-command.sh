#!/usr/bin/env bash
# Recording on the desk, and what `zsl-replay verify` and the other commands make of recordings.
# Usage: record-command.sh ZSL_REPLAY SESSIONS_FOLDER BROKEN_PLUGIN RECORDER [EMULATOR...]
set -u
replay=$1 sessions=$2 broken=$3 recorder=$4
shift 4
emulator=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export ZSL_RECORD_DIR=$work
# The desk makes calls quicker than any device: room for all of them.
recording=(--plugin "$recorder" --setprop vendor.debug.camera.zsl.record=1 --setprop vendor.debug.camera.zsl.record.kb=262144)
. "$(dirname "$0")/check.sh"
# Chosen frames of each request; the log without what differs from process to process.
chosen() { tr -d ' \n' | grep -oE '"chosen":[^}]*}|"requestNo":[0-9]+|"state":"[a-zA-Z-]+"' | sort; }
plain() { sed -E 's/ +[0-9]+ +[0-9]+ ([DIWE]) / \1 /; s/0x[0-9a-f]{6,}/address/' "$1"; }

# Every session under its own hint and under another: the same answers and log as without the recorder, and the
# recording holds and plays.
other=0
for session in "$sessions"/*.json; do
    other=$(((other + 1) % 5))
    for hint in own $other; do
        [ ${#emulator[@]} -gt 0 ] && [ $hint != own ] && continue
        arguments=(--json --log D "$session")
        [ $hint = own ] || arguments+=(--hint $hint)
        rm -f "$work"/zsl-*
        run "${arguments[@]}" >"$work/bare" 2>"$work/bare.log"
        run "${recording[@]}" "${arguments[@]}" >"$work/recorded" 2>"$work/recorded.log"
        name="$(basename "$session"), hint $hint"
        diff <(grep -v '"plugin"' "$work/bare") <(grep -v '"plugin"' "$work/recorded") || fail "answers: $name"
        diff <(plain "$work/bare.log") <(plain "$work/recorded.log") >/dev/null || fail "log: $name"
        run verify "$work"/zsl-*.ndjson >"$work/verified" || fail "verify: $name"
        grep -q two-selectors <<<"$name" && [ $hint = own -o $hint = 4 ] && {
            grep -q 'cannot be checked (of hint 4, from call' "$work/verified" || fail "shared phase: $name"
            continue
        }
        ! grep -vE ': all answers as recorded$|^2 recordings: 2 as' "$work/verified" || fail "verified: $name"
        played() { for file in "$work"/zsl-*.ndjson; do run --json "$file"; done; }
        diff <(chosen <"$work/bare") <(played | chosen) || fail "replay: $name"
    done
done
# What the first version of the format wrote, kept for good: hints 3 and 0.
version1=$(dirname "$0")/data/recording-1.ndjson
check 0 '^5 calls of 1 selectors: all answers as recorded$' verify "$version1"
check 0 '^R901 \(1/2\) +0.0 +F3 ' "$version1"
check 0 '^R902 +0.0 +F5 .* 30.0 .* 1 x AF scanning$' "$version1"

record() {
    rm -f "$work"/zsl-*
    run "${recording[@]}" "$@" >"$work/recorded" 2>"$work/recorded.log"
}
record "$sessions/quality-older-passes.json"
mkdir "$work/all"
mv "$work"/zsl-*.ndjson "$work/all/good.ndjson"
good=$work/all/good.ndjson
check 0 '^15 calls of 1 selectors: all answers as recorded' verify "$good"
BROKEN=frame check 4 'call 15, R902 after 49 ms: recorded F24, unlock F25; now F4711|15 answers differ' verify --plugin "$broken" "$good"
BROKEN=frame check 4 'call 1, R900 after 0 ms: recorded waits, lock F22, lock F23; now F4711' verify --plugin "$broken" "$good"
BROKEN=throw check 1 'good.ndjson: the plug-in threw an exception: no idea' verify --plugin "$broken" "$good"
BROKEN=abort check 1 'good.ndjson: the plug-in ended the process: signal 6' verify --plugin "$broken" "$good"
check 1 'cannot load the plug-in' verify --plugin /nonexistent.so "$good"
check 0 '^R900 waited 49 ms .* then it took F22' explain --request R900 "$good"
check 0 'R902 \(2/3\)' --hint 2 "$good"
check 0 '^3 +default +default +3 +3 ' sweep --hint 2,3 "$good"

# Torn, cut, foreign and edited recordings.
head -c -100 "$good" >"$work/torn"
check 0 'torn: line 17 is torn' verify "$work/torn"
check 0 '14 calls of 1 selectors: all answers as recorded' verify "$work/torn"
head -c 100 "$good" >"$work/cut"
check 1 'cut: line 1: byte 101: no JSON' verify "$work/cut"
sed 's/,"version":2,/,"version":3,/' "$good" >"$work/version"
check 1 'version: line 1: /version: version 3; this program reads versions 1 and 2' verify "$work/version"
sed '3d; s/"call":2,/"call":1,/' "$good" >"$work/gap"
check 1 'gap: line 3: /new/history/24/app/100: metadata 1 was not defined before' verify "$work/gap"
for edit in 7d 7p '7{h;d};8G' '7{p;p}'; do
    sed "$edit" "$good" >"$work/lines"
    check 1 'lines: line [789]: /call: expected call [5678]: a line is missing, doubled or not in its' verify "$work/lines"
done
sed '10i{"lost":2}' "$good" | sed '11,$s/"call":\([0-9]*\)/"call":1\1/; 11s/"call":18/"call":10/; 12,$d' >"$work/lost"
check 0 '8 calls .* the other answers as recorded; 1 cannot be checked .from call 10 on: 2 calls before it are not' verify "$work/lost"
BROKEN=frame check 4 '8 calls .*: 7 answers differ; 1 cannot be' verify --plugin "$broken" "$work/lost"
sed '3s/"runtimeSwitch":1/"runtimeSwitch":-1/' "$good" >"$work/switch"
check 2 'no answers as recorded; 15 cannot be checked .from call 1 on: what the plug-in has read of' verify "$work/switch"
sed '3s/"thread":/"changedTo":{},&/' "$good" >"$work/change"
check 2 '15 cannot be checked .from call 1 on: a property changed during it' verify "$work/change"
sed '1s/"part":1/"part":2/; 2d' "$good" >"$work/part"
check 2 '15 cannot be checked .from call 1 on: earlier files are missing' verify "$work/part"
sed '5s/"elapsedMs":[0-9]*/"elapsedMs":"x"/' "$good" >"$work/edited"
check 1 'edited: line 5: /in/elapsedMs: expected a whole number' verify "$work/edited"
check 1 'stable-scene.json: this is no recording' verify "$sessions/stable-scene.json"
check 2 'gap: line 3: /new/history/24/app/100' "$work/gap"
: >"$work/empty"
check 1 'empty: empty; expected a recording' verify "$work/empty"
cp "$work/gap" "$work/all/gap.ndjson"
check 1 '2 recordings: 1 as recorded, 0 differ, 1 failed' verify "$work/all"

# What cannot be written costs no capture.
run "$sessions/quality-older-passes.json" >"$work/bare"
same() { diff <(grep -v ^plug-in "$work/bare") <(grep -v ^plug-in "$work/recorded") || fail "$1"; }
ZSL_RECORD_DIR=$work/nowhere record --log E "$sessions/quality-older-passes.json"
same unwritable
grep -q 'E SampleRecorder: recording: cannot make a file in .*nowhere: ' "$work/recorded.log" || fail "unwritable is told"
[ ${#emulator[@]} -gt 0 ] || {
    (
        ulimit -f 8
        record --log E "$sessions/quality-older-passes.json"
    )
    same full
    [ "$(grep -c 'E SampleRecorder: recording: .* ends: File too large' "$work/recorded.log")" = 1 ] || fail "full is told"
    check 0 'calls of 1 selectors: all answers as recorded' verify "$work"/zsl-*.ndjson
}
# Under settings that keep a request longer than the recorded ones, it waits for what landed between the calls.
run generate --seed 7 >"$work/focus.json"
record --policy 'ZeroShutterDelay|ContinuousFrame' "$work/focus.json"
check 0 'R1000 .*F33 .* 50[0-9]\.[0-9] +20 ' --policy 0x30005 "$work"/zsl-*.ndjson
diff <(run --json "$work/focus.json" | chosen) <(run --json --policy 0x30005 "$work"/zsl-*.ndjson | chosen) ||
    fail "other settings"
sed 's/"elapsedMs":[0-9]*/"elapsedMs":9223372036854775807/' "$good" >"$work/far"
check 2 'far: call 1: elapsedMs 9223372036854775807 is too far away to be played' "$work/far"
check 4 '^15 calls of 1 selectors: 12 answers differ' verify "$work/far"

run generate --seconds 300 --captures 600 >"$work/long.json"
record --setprop vendor.debug.camera.zsl.record.mb=1 --setprop vendor.debug.camera.zsl.record.kb=4096 "$work/long.json"
[ "$(ls "$work"/zsl-*.ndjson | wc -l)" -gt 1 ] || fail "files of a long session"
check 0 '^[0-9]* calls of 1 selectors: (all|the other) answers as recorded' verify "$work"/zsl-*.ndjson
# Pushed under the plug-in's name, with the plug-in beside it; then without.
mkdir "$work/pushed"
cp "$recorder" "$work/pushed/libvzrcam_zsl_sampleselector.so"
[ ${#emulator[@]} -gt 0 ] || LD_LIBRARY_PATH=$work/pushed:$(dirname "$recorder") \
    check 1 'leaves the pointer null' --plugin "$work/pushed/libvzrcam_zsl_sampleselector.so" "$sessions/time-out.json"
cp "$(dirname "$recorder")/libvzrcam_zsl_sampleselector.so" "$work/pushed/libvzrcam_zsl_sampleselector.real.so"
check 0 '^2 requests' --plugin "$work/pushed/libvzrcam_zsl_sampleselector.so" "$sessions/time-out.json"
exit $((failures > 0))
