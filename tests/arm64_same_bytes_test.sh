#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# The Arm camsim with the Arm library prints the same bytes as this machine's pair: the table, the
# JSON lines and the annotated picture, whose file both machines compress with the same version of
# the same library.
# usage: arm64_same_bytes_test.sh HOST_CAMSIM ARM_CAMSIM...   (the emulator before the latter)
set -euo pipefail
host=("$1")
arm=("${@:2}")
for program in "${host[0]}" "${arm[-1]}"; do
  [ -x "$program" ] || { echo "FAIL $program is not built"; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/host" "$work/arm"
cd "$work"
failed=0

# Runs one machine's camsim in a directory of its own, so that the paths it prints are the same.
run() {
  local machine=$1
  local -n program=$1
  shift
  (cd "$machine" && "${program[@]}" --jsonl lines.jsonl --annotated annotated.png "$@" >table) ||
    { echo "FAIL $machine: $*"; failed=1; }
}

compare() {
  local output
  run host "$@"
  run arm "$@"
  [ "$(wc -l <host/lines.jsonl)" -gt 0 ] || { echo "FAIL no lines: $*"; failed=1; }
  for output in table lines.jsonl annotated.png; do
    cmp "host/$output" "arm/$output" || { echo "FAIL $output differs: $*"; failed=1; }
  done
  cp host/annotated.png last.png
  rm host/* arm/*
}

# Bytes of a program as pixels: hard edges, and the same on both machines.
noise() { head -c "$1" "${host[0]}"; }

compare
cp last.png scene.png
for orientation in 0 90 180; do
  compare --requests 16 --size 320x240 --orientation "$orientation"
done
compare --requests 16 --size 321x243 --face 11,7,201,199
compare --requests 16 --size 1366x766 --sensor 4000x3000 --quad-cfa --orientation 90
compare --requests 10 --input "$work/scene.png" --face 333,111,255,257
noise $((176 * 144 * 3 / 2)) >frame.nv12
compare --input "$work/frame.nv12" --size 176x144 --face 8,8,120,120 --orientation 0
{ printf 'P6 178 131 255\n' && noise $((178 * 131 * 3)); } | cjpeg -quality 80 >photo.jpg
compare --requests 10 --input "$work/photo.jpg" --face 20,10,101,99 --orientation 180

[ "$failed" -eq 0 ] && echo "both machines print the same bytes"
exit "$failed"
