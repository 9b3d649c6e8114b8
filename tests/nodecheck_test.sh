#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A small node with one defect at a time, and the check of nodecheck that names it. Without a defect, and
# with our node, no check fails.
# usage: nodecheck_test.sh NODE BROKEN_NODE PLAIN_MODEL MEMORY NODECHECK...
#   (MEMORY 0: resident memory says nothing here; an emulator stands before the program where there is one)
set -euo pipefail
node=$(realpath "$1")
broken=$(realpath "$2")
plain=$(realpath "$(dirname "$3")")
memory=$4
nodecheck=("${@:5}")
source "$(dirname "$0")/program_test.sh"

# With a time that a busy machine keeps, too.
run() { # exit status, arguments
  expect "$1" "${nodecheck[@]}" --limit 200 "${@:2}"
}

# Bad input: the status, and one line that begins with the program's name.
run_bad() {
  local expected=$1 text=$2
  run "$expected" "${@:3}"
  [ "$(wc -l <err)" -eq 1 ] && grep -q "^nodecheck: .*$text" err || fail "no error about $text: $(cat err)"
}

# ---- Nodes that behave ---------------------------------------------------------------------------------
run 0 --list
checks=$(wc -l <out)
for behaving in "$node" "$broken"; do
  run 0 "$behaving"
  grep -q "^$checks checks: $checks ok, 0 failed, 0 skipped$" out || fail "$behaving: $(cat out)"
done
run 0 "$node" --device "$plain"
grep -q "^$checks checks: $((checks - 2)) ok, 0 failed, 2 skipped$" out || fail "without knobs: $(cat out)"
grep -q "^skip models.slow: $plain/libQVFD_AgeGender.so: has no zy_" out || fail "no reason of a skip: $(cat out)"
for behaving in "$node" "$broken"; do
  run 0 "$behaving" --soak 20000 50
  [ "$(awk '$1 == 20000' out | wc -l)" -eq 1 ] || fail "soak of $behaving: $(cat out)"
done

# ---- One defect at a time ------------------------------------------------------------------------------
finds() { # defect, check, what it says
  ZY_DEFECT=$1 run 1 "$broken" --filter "$2" --timeout "${4:-60}"
  grep -Eq "^FAIL $2: .*$3" out || fail "$1: $(cat out)"
}
finds trusts_table entry.null "during the entry with a null table"
finds fills_smaller_table entry.refused "expected byte 0 and later|during the entry"
finds fills_create_only entry.callbacks "callbacks empty: pGetCapabilities, .*pPostPipelineCreate$"
finds writes_behind_callbacks entry.callbacks "expected byte 88 and later as they were, saw them changed"
finds crashes_on_null records.null "during create of a null record"
finds trusts_session records.session "without a session .*(expected an error, saw success|during)"
finds accepts_short records.short "(expected an error, saw success|during .* of [0-9]+ bytes)"
finds changes_refused records.short "expected the record as it was, saw it changed"
finds names_twice tags.declared "other.node/Passes: expected an identifier of its own"
finds publishes_twice tags.published "request 1: expected one publication, saw 2"
finds undeclared_tag tags.published "request 1: published that tag 0x80990000 is unknown"
finds forgets_record tags.published "request 49: expected one publication, saw 0"
finds needs_faces tags.no_metadata "request 1: expected one publication, saw 0"
finds insists tags.refused "request 1: expected one publication, saw 2"
finds reads_past_planes requests.sizes "during process-request"
finds reads_past_tags requests.sizes "during process-request"
finds trusts_pitch requests.pitch "during process-request"
finds trusts_planes requests.planes "during process-request"
finds trusts_buffers requests.buffers "during process-request"
finds needs_rising_numbers requests.frame_numbers "expected one publication, saw 0"
finds needs_few_faces requests.random "during process-request [0-9]+ with --seed [0-9]+"
finds hangs life.at_once "hung for 3 s in destroy" 3
finds hangs_in_pass life.in_pass "hung for 3 s in destroy" 3
finds leaks_thread life.many "threads between two lives: expected at most [1-9], saw "
finds leaks_descriptor life.many "open descriptors between two lives: expected at most "
finds models_at_once life.two_nodes "calls of a model: expected one at a time, saw [0-9]+ overlap"
finds waits_for_model models.slow "the longest request: expected at most 200 ms, saw [0-9]{3,}"
finds gives_up models.failing "expected a call of it, saw none"
[ "$memory" -eq 0 ] || finds leaks_memory life.many "(KiB of resident memory: expected at most|during the end of the process)"
ZY_DEFECT=forgets_record run 1 "$broken" --soak 1000
grep -q "^FAIL soak: request .*: expected one publication, saw 0" out || fail "the soak passes over a lost record"

# ---- Bad input -----------------------------------------------------------------------------------------
run_bad 1 missing.so missing.so
printf 'no library' >"$work/text.so"
run_bad 1 text.so "$work/text.so"
run_bad 1 "no ChiNodeEntry" "$plain/libQVFD_AgeGender.so"
run_bad 1 "none of the device's libraries" "$node" --device "$work"
cp "$work/text.so" "$work/liblog.so"
run_bad 1 "$work/liblog.so" "$node" --device "$work"
cp "$plain/libQVFD_AgeGender.so" "$work/liblog.so"
LD_LIBRARY_PATH=${LD_LIBRARY_PATH:-}:$work run_bad 1 "its soname is not liblog.so" "$node" --device "$work"
run_bad 2 "no check's name" "$node" --filter nonsense
for arguments in "" "$node --limit 0" "$node --soak 0" "$node --nonsense"; do
  # shellcheck disable=SC2086
  run_bad 2 "see nodecheck --help" $arguments
done
run 0 --help

finish "nodecheck names every defect"
