#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Records, replays, compares and draws runs. Each golden recording is what its script gives, and replays without a
# difference; ./dev goldens renews them.
# usage: recording_test.sh SOURCE_DIRECTORY PLAIN_MODEL CAMSIM...
#   (a model library without knobs; an emulator stands before the program where there is one)
set -euo pipefail
source=$(realpath "$1")
plain=$(dirname "$(realpath "$2")")
camsim=("${@:3}")
source "$(dirname "$0")/program_test.sh"

run() { # exit status, arguments
  expect "$1" "${camsim[@]}" "${@:2}"
}

# Bad input: its line and key, and nothing written over.
run_bad() { # message, arguments
  local message=$1
  shift
  echo kept >kept
  run 3 "$@" --annotated none --jsonl kept
  [ "$(cat err)" = "camsim: $message" ] || fail "'$(cat err)' instead of '$message'"
  [ "$(cat kept)" = kept ] || fail "a file was written over: $*"
}

count() { grep -c "$1" "$2" || true; }

# ---- Golden recordings ---------------------------------------------------------------------------------
for script in "$source"/tests/golden/*.script.jsonl; do
  golden=${script%.script.jsonl}.jsonl
  run 0 --script "$script" --annotated none --jsonl new.jsonl
  diff <(tail -n +2 "$golden") <(tail -n +2 new.jsonl) || fail "$golden is not what its script gives"
  run 0 --replay "$golden" --annotated none --jsonl again.jsonl
  head -n 1 out | grep -qx '0 differences' || fail "$golden does not replay: $(head -n 3 out)"
  diff <(tail -n +2 "$golden") <(tail -n +2 again.jsonl) || fail "a replay of $golden records something else"
done

# Frames that were turned for the sensor are turned again, and their faces stay where the picture has them.
for orientation in 0 90 180; do
  run 0 --upright --orientation "$orientation" --size 319x240 --requests 12 --annotated none --jsonl run.jsonl
  run 0 --replay run.jsonl --annotated none --jsonl again.jsonl
  head -n 1 out | grep -qx '0 differences' && cmp -s run.jsonl again.jsonl || fail "turned frames at $orientation: $(head -n 1 out)"
done
run 4 --replay run.jsonl --annotated none --no-upright
head -n 1 out | grep -q '^12 requests with other pixels' || fail "what is recorded are not the pixels sent: $(head -n 1 out)"

# ---- Differences ---------------------------------------------------------------------------------------
golden=$source/tests/golden/switches.jsonl
sed -E '11s/"age":\[[0-9.]*/"age":[1.5/; 12s/"outcome":"[a-z ]*"/"outcome":"dropped"/' "$golden" >other.jsonl
run 4 --replay other.jsonl --annotated none
age=$(sed -nE '11s/.*"age":\[([0-9.]*).*/\1/p' "$golden")
printf 'request 10: slot 0 age %s, recorded 1.5\nrequest 11: outcome "not offered", recorded "dropped"\n2 differences\n' "$age" >expected
head -n 3 out | cmp -s - expected || fail "differences of a replay: $(cat out)"
run 4 diff "$golden" other.jsonl --tolerance 100 --differences 0
[ "$(cat out)" = "1 difference" ] || fail "differences of two recordings: $(cat out)"
run 0 diff "$golden" "$golden"
head -n 20 "$golden" >short.jsonl
run 4 diff short.jsonl "$golden"
grep -qx 'request 20: is "missing", second "sent"' out || fail "a request that one run lacks: $(head -n 2 out)"
run 4 --replay "$golden" --annotated none --requests 81
grep -qx 'request 82: is "missing", recorded "sent"' out || fail "a request that was not sent: $(head -n 2 out)"
run 4 --replay "$golden" --annotated none --size 322x240
head -n 1 out | grep -qx '82 requests with other pixels than recorded, the first is 1' || fail "other pixels: $(head -n 1 out)"

# ---- Bad input -----------------------------------------------------------------------------------------
printf '{"request":1}\n{"request":2,"in":{"brodax.quadcfa.enabled":300}}\n' >bad
run_bad 'bad: line 2: in.brodax.quadcfa.enabled: must be 0..255' --script bad
run_bad 'bad: line 2: in.brodax.quadcfa.enabled: must be 0..255' --replay bad
printf '{"request":1}\n' >bad
run_bad 'bad: line 1: is no header of a recording' --replay bad
printf '{"request":1}\n{"reque' >bad
run_bad 'bad: line 2: is cut short' --script bad
printf '{"device":{"colour":1}}\n{"request":1}\n' >bad
run_bad 'bad: line 1: device.colour: is unknown' --script bad
head -c 20000000 /dev/zero >bad
run_bad 'bad: line 1: is longer than 1048576 bytes' --script bad
run_bad 'missing: cannot open: No such file or directory' --replay missing
run 2 --script bad --replay bad
run 1 --script "$golden" --annotated none --jsonl "$source/tests/golden/../golden/switches.jsonl"
run 1 --annotated none --jsonl same --trace ./same

printf '{"request":1}\n{"device":{"model_delay_ms":1}}\n{"request":2}\n' >bad
run_bad "bad: line 2: device.model_delay_ms: $plain/libQVFD_AgeGender.so: has no zy_set_age_gender_delay" --script bad --device "$plain"

# ---- The trace -----------------------------------------------------------------------------------------
run 0 --requests 60 --size 320x240 --annotated none --trace trace.json --report run.html --jsonl run.jsonl
for kind in '"ph":"X".*"name":"request ' '"name":"pass over ' '"ph":"i".*"name":"skipped"' '"ph":"C".*"name":"faces"'; do
  count "$kind" trace.json
done | paste -sd ' ' >counts
[ "$(cat counts)" = "60 3 7 60" ] || fail "events of the trace: $(cat counts)"
[ "$(count '"name":"age and gender"' trace.json)" -eq 9 ] || fail "the models' calls in the trace"
if grep '"ph":"X"' trace.json | grep -v '"dur":[1-9]'; then fail "slices without length"; fi
ends() { grep "\"ph\":\"$1\"" trace.json | grep -o '"id":[0-9]*' | sort; }
[ -n "$(ends s)" ] && [ "$(ends s)" = "$(ends f)" ] || fail "arrows with one end"
[ "$(ends s | uniq | wc -l)" -eq 6 ] || fail "arrows: $(ends s | tr '\n' ' ')"
head -n 1 trace.json | grep -qx '{"traceEvents":\[' && [ "$(tail -n 1 trace.json)" = ']}' ] || fail "the trace is no JSON object"
run 0 --requests 60 --size 64x64 --annotated none --realtime --fps 500 --model-delay 300 --trace trace.json
dropped=$(sed -n 's/.*taken, \([0-9]*\) dropped.*/\1/p' out)
[ "$(count '"name":"dropped","s"' trace.json)" = "$dropped" ] || fail "dropped frames in the trace"

# ---- The page, which page_test.sh looks at with a browser ----------------------------------------------
[ "$(grep -o '<polyline' run.html | wc -l)" -eq 12 ] || fail "plots of the page"
[ "$(grep -o 'data:image/jpeg' run.html | wc -l)" -eq 6 ] || fail "pictures of the page"

finish "runs are recorded, replayed, compared and drawn"
