#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the node with real networks on two photographs and compares what it publishes with what a person
# would say, at every orientation of the device. Needs the files that ./dev faces fetches.
# usage: faces_check.sh BUILD_DIRECTORY PHOTOGRAPHS
set -euo pipefail
build=$(realpath "$1")
photographs=$(realpath "$2")
source "$(dirname "$0")/program_test.sh"

# JSON lines of 12 requests, of which the tenth publishes the figures of the fourth.
run() {
  "$build/camsim" --models real --faces auto --requests 12 --annotated none --jsonl - "$@" 2>err
}

# The first slot's figure of that name in the last record with a face.
figure() {
  grep '"faceNum":[1-9]' "$2" | tail -n 1 | grep -o "\"$1\":\[[^],]*" | sed 's/.*\[//'
}

# Whether a figure lies from a lower to an upper bound, or within so much of another one.
lies() { awk -v v="$1" -v low="$2" -v high="$3" 'BEGIN { exit !(v >= low && v <= high) }'; }
agrees() { awk -v a="$1" -v b="$2" -v most="$3" 'BEGIN { exit !(a - b <= most && b - a <= most) }'; }

# photograph, lowest and highest age of the woman that it shows
check() {
  local photograph=$photographs/$1 orientation
  for orientation in 270 90 0 180; do
    run --input "$photograph" --orientation "$orientation" >"$orientation" || fail "$1: $(cat err)"
    grep -q '"request":10,.*"faces":\[\[[0-9,]*\]\]},"out":{"faceNum":1,' "$orientation" || fail "$1 at $orientation: not one face"
    printf '%-17s at %3s: gender %.3f age %.1f score %.1f\n' "$1" "$orientation" \
      "$(figure gender "$orientation")" "$(figure age "$orientation")" "$(figure score "$orientation")"
    lies "$(figure gender "$orientation")" 0 0.4999 || fail "$1 at $orientation: not a woman"
    lies "$(figure age "$orientation")" "$2" "$3" || fail "$1 at $orientation: not $2 to $3 years old"
    # The crop may begin one pixel further to the right or below.
    agrees "$(figure age "$orientation")" "$(figure age 270)" 8 || fail "$1 at $orientation: another age than at 270"
    agrees "$(figure score "$orientation")" "$(figure score 270)" 10 || fail "$1 at $orientation: another score than at 270"
  done
  # At these two it begins with the same pixel.
  [ "$(grep -o '"faceNum".*"prop":[^a-z]*' 180)" = "$(grep -o '"faceNum".*"prop":[^a-z]*' 270)" ] ||
    fail "$1: 180 is not 270"
}

check astronaut.png 22 45
check grace_hopper.jpg 60 100

# A picture without faces.
{ printf 'YUV4MPEG2 W320 H240 F30:1 Cmono\n'; for _ in 1 2 3 4; do printf 'FRAME\n'; head -c 76800 /dev/zero; done; } >dark.y4m
"$build/camsim" --models real --faces auto --input dark.y4m --annotated none --all >out 2>err || fail "no faces: $(cat err)"
[ "$(grep -c 'no face' out)" -ge 4 ] || fail "a picture without faces: $(cat out)"
grep -qi 'estimates by a small network' out || fail "the table does not say what the figures are"

# Missing networks: a program beside which they are not, and one with a file too few.
cp "$build/camsim" "$build/libframework_watch.so" .
for _ in 1 2; do
  status=0
  ./camsim --models real --faces auto --node "$build/com.qti.node.brodaxgenderage.so" --annotated none >out 2>err || status=$?
  [ "$status" -eq 1 ] && [ "$(wc -l <err)" -eq 1 ] && grep -q '^camsim: .*\./dev models' err || fail "missing networks: $status $(cat err)"
  mkdir -p device-real
  cp -L "$build"/device-real/*.so "$build"/device-real/*.json "$build"/device-real/*.onnx device-real/
done

finish "the networks say what a person would"
