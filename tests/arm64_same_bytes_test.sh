#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What this machine's camsim recorded replays without a difference on the Arm camsim with the Arm library, and the
# annotated picture has the same bytes: both machines compress it with the same version of the same library. The
# golden recordings of recording_test.py replay there as well.
# usage: arm64_same_bytes_test.sh HOST_CAMSIM ARM_CAMSIM...   (the emulator before the latter)
set -euo pipefail
host=("$1")
arm=("${@:2}")
for program in "${host[0]}" "${arm[-1]}"; do
  [ -x "$program" ] || { echo "FAIL $program is not built"; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0

compare() {
  "${host[@]}" --jsonl host.jsonl --annotated host.png "$@" >table || { echo "FAIL host: $*"; failed=1; }
  [ "$(wc -l <host.jsonl)" -gt 1 ] || { echo "FAIL no lines: $*"; failed=1; }
  "${arm[@]}" --replay host.jsonl --jsonl arm.jsonl --annotated arm.png >differences ||
    { echo "FAIL $(head -n 3 differences): $*"; failed=1; }
  cmp <(tail -n +2 host.jsonl) <(tail -n +2 arm.jsonl) && cmp host.png arm.png || { echo "FAIL other bytes: $*"; failed=1; }
}

# Bytes of a program as pixels: hard edges, and the same on both machines.
noise() { head -c "$1" "${host[0]}"; }

compare
cp host.png scene.png
compare --requests 16 --size 321x243 --face 11,7,201,199
compare --requests 16 --size 1366x766 --sensor 4000x3000 --quad-cfa --orientation 90
compare --requests 10 --input "$work/scene.png" --face 333,111,255,257
noise $((176 * 144 * 3 / 2)) >frame.nv12
compare --input "$work/frame.nv12" --size 176x144 --face 8,8,120,120 --orientation 0
{ printf 'P6 178 131 255\n' && noise $((178 * 131 * 3)); } | cjpeg -quality 80 >photo.jpg
compare --requests 10 --input "$work/photo.jpg" --face 20,10,101,99 --orientation 180

[ "$failed" -eq 0 ] && echo "both machines print the same bytes"
exit "$failed"
