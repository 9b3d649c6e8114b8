#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs camkit as a person would, on pictures that are made here byte by byte.
# usage: camkit_test.sh BUILD_DIRECTORY [EMULATOR...]
set -euo pipefail
build=$(cd "$1" && pwd)
emulator=("${@:2}")
source "$(dirname "$0")/program_test.sh"

camkit() { "${emulator[@]}" "$build/camkit" "$@"; }

run() { # exit status, arguments
  expect "$1" camkit "${@:2}"
}

# Bad input: the status, and one line that begins with the program's name.
run_bad() {
  run "$@"
  { [ "$(wc -l <err)" -eq 1 ] && grep -q '^camkit: ' err; } || fail "no one-line error: $* ($(cat err))"
}

# Good input: success, one line with the time of the call, and a PNG of the size.
run_to() { # size, arguments with the output's name last
  local size=$1
  shift
  rm -f "${!#}"
  run 0 "$@"
  [ ! -s out ] && grep -Eqx "$1: [0-9]+x[0-9]+ in [0-9]+\.[0-9]+ ms" err && [ "$(wc -l <err)" -eq 1 ] ||
    fail "$* says: $(cat out err)"
  [ "$(size_of "${!#}")" = "$size" ] || fail "$* gives $(size_of "${!#}"), not $size"
}

size_of() {
  local hex
  hex=$(od -An -tx1 -N24 "$1" 2>/dev/null | tr -d ' \n')
  [ "${hex:0:16}" = 89504e470d0a1a0a ] && echo "$((16#${hex:32:8}))x$((16#${hex:40:8}))"
}

unhex() { printf '%b' "$(sed 's/../\\x&/g' <<<"$1")"; }

chunk() { # type and body, in hexadecimal
  local crc
  crc=$(unhex "$1$2" | gzip -c | tail -c 8 | od -An -tx4 -N4 --endian=little | tr -d ' ')
  printf '%08x%s%s%s' $((${#2} / 2)) "$1" "$2" "$crc"
}

# Makes an RGB picture, stored without compression, at most 64 KiB. The colours are awk expressions of x
# and y; one alone is gray.
picture() { # file, width, height, red [green blue]
  local rows sum length
  read -r rows sum < <(awk -v w="$2" -v h="$3" '
    function put(byte) { byte = int(byte); text = text sprintf("%02x", byte); a = (a + byte) % 65521; b = (b + a) % 65521 }
    BEGIN {
      a = 1
      for (y = 0; y < h; y++) { put(0); for (x = 0; x < w; x++) { put('"$4"'); put('"${5:-$4}"'); put('"${6:-$4}"') } }
      printf "%s %04x%04x\n", text, b, a
    }')
  length=$(printf '%04x' $((${#rows} / 2)))
  length=${length:2}${length:0:2}
  unhex "89504e470d0a1a0a$(chunk 49484452 "$(printf '%08x%08x' "$2" "$3")0802000000")$(
    chunk 49444154 "780101$length$(printf '%04x' $((16#$length ^ 0xffff)))$rows$sum")$(chunk 49454e44 "")" >"$1"
}

# Compares pixels: one more program run brings both files into the same form.
same() {
  camkit rotate --degrees 180 "$1" same1.png 2>err && camkit rotate --degrees 180 "$2" same2.png 2>err &&
    cmp -s same1.png same2.png
}

picture flat.png 48 32 100
picture edge.png 48 32 'x < 24 ? 60 : 160'
picture wide.png 160 20 x
picture colours.png 40 30 '60 + 3 * x' '200 - 2 * y' '100 + x + y'

# ---- Luma ----------------------------------------------------------------------------------------------
for operation in sharpen sharpen-skin smooth; do
  run_to 48x32 $operation flat.png flat_out.png
  same flat.png flat_out.png || fail "$operation changes a flat picture"
  run_to 48x32 $operation edge.png $operation.png
  if same edge.png $operation.png; then fail "$operation leaves an edge as it was"; fi
  run_to 328x29 $operation --compare wide.png both.png
done
run_to 328x29 half --compare wide.png both.png  # enlarged to the size that it had
run_to 48x32 filter --weights=-3,76,-12 edge.png filtered.png
same filtered.png sharpen.png || fail "filter with the weights of sharpen is not sharpen"
run_to 48x32 filter --weights=0,16,0 edge.png filtered.png
same filtered.png edge.png || fail "filter with the weight of the centre alone changes the picture"

# Colours stay.
for operation in sharpen smooth; do
  run_to 40x30 $operation colours.png colour.png
  picture gray.png 40 30 '.299 * (60 + 3 * x) + .587 * (200 - 2 * y) + .114 * (100 + x + y)'
  if same colour.png gray.png; then fail "$operation loses the colours"; fi
done

picture white.png 48 32 255
picture white_half.png 24 16 255
picture black.png 48 32 0
picture right.png 48 32 'x < 24 ? 100 : 200'
run_to 48x32 sharpen-skin --mask white.png edge.png marked.png
same marked.png sharpen-skin.png || fail "a white mask is not the same as none"
run_to 48x32 sharpen-skin --mask white_half.png edge.png marked.png
same marked.png sharpen-skin.png || fail "a mask of half the size is not the same"
run_to 48x32 sharpen-skin --mask black.png edge.png marked.png
same marked.png edge.png || fail "a black mask does not leave the picture alone"
run_to 48x32 sharpen-skin --mask right.png edge.png marked.png
if same marked.png edge.png || same marked.png sharpen-skin.png; then fail "half a mask does nothing, or all"; fi
run_to 48x32 sharpen-skin --mask right.png --threshold 90 edge.png marked.png
same marked.png sharpen-skin.png || fail "a threshold below the whole mask does not mark everything"
picture face.png 48 32 'x < 24 ? 200 + y % 2 * 20 : 60 + y % 2 * 20' 'x < 24 ? 150 + y % 2 * 20 : 110 + y % 2 * 20' 'x < 24 ? 120 + y % 2 * 20 : 160 + y % 2 * 20'
picture left.png 48 32 'x < 24 ? 255 : 0'
run_to 48x32 sharpen-skin --mask left.png face.png expected.png
run_to 48x32 sharpen-skin --skin face.png marked.png
same marked.png expected.png && ! same marked.png face.png || fail "--skin does not mark the part with a skin's chroma"
run_to 24x16 smooth --skin face.png map.png

# ---- Sizes ---------------------------------------------------------------------------------------------
# Columns beyond the last block are dropped, and no row drifts.
picture stripes.png 45 37 'x < 24 ? 80 : 180'
for case in "half 22x18 12" "quarter 11x9 6" "eighth 5x4 3"; do
  read -r operation size edge <<<"$case"
  run_to "$size" "$operation" stripes.png small.png
  picture expected.png "${size%x*}" "${size#*x}" "x < $edge ? 80 : 180"
  same small.png expected.png || fail "$operation: not the means of the blocks"
done

picture flag.png 64 32 'x < 32 ? 180 : 40' 60 'x < 32 ? 40 : 200'
for case in "half 32 16" "quarter 16 8" "eighth 8 4"; do
  read -r operation width height <<<"$case"
  run_to "${width}x$height" "$operation" flag.png small.png
  picture expected.png "$width" "$height" "x < $width / 2 ? 180 : 40" 60 "x < $width / 2 ? 40 : 200"
  same small.png expected.png || fail "$operation: not the means of the colours"
done

# ---- Rotation ------------------------------------------------------------------------------------------
# One corner is brighter; the colour is the same throughout, up to the last column and row of an odd size.
corner() { picture "$1" "$2" "$3" "$4 ? 180 : 20" "$4 ? 180 : 20" "$4 ? 250 : 90"; }
corner corner.png 7 5 'x < 3 && y < 2'
corner corner_90.png 5 7 'x > 2 && y < 3'
corner corner_180.png 7 5 'x > 3 && y > 2'
corner corner_270.png 5 7 'x < 2 && y > 3'
for degrees in 90 180 270; do
  size=$(size_of corner_$degrees.png)
  run_to "$size" rotate --degrees $degrees corner.png turned.png
  same turned.png corner_$degrees.png || fail "rotate $degrees: not clockwise, or rows got lost"
done
run_to 30x40 rotate --degrees 90 colours.png first.png
cp first.png turned.png
for size in 40x30 30x40 40x30 30x40; do
  cp turned.png before.png
  run_to $size rotate --degrees 90 before.png turned.png
done
cmp -s first.png turned.png || fail "four quarter turns change the colours"

# ---- What does not work --------------------------------------------------------------------------------
picture tiny.png 2 2 90
for operation in sharpen sharpen-skin smooth quarter eighth; do
  run_bad 1 $operation tiny.png out.png
  grep -q '2x2 is too small' err || fail "$operation does not say what is too small: $(cat err)"
done
run_bad 1 sharpen-skin --mask colours.png edge.png out.png
run_bad 1 sharpen edge.png missing/out.png
run_bad 1 sharpen edge.png /dev/full
cp edge.png kept.png
run_bad 1 sharpen kept.png ./kept.png
run_bad 1 sharpen - kept.png <kept.png
run_bad 1 sharpen-skin --mask kept.png face.png kept.png
cmp -s edge.png kept.png || fail "an input was overwritten"
[ ! -e out.png ] || fail "a failure leaves a picture behind"
head -c 500 edge.png >cut.png
: >empty.png
for input in missing.png cut.png empty.png . "$0"; do
  run_bad 3 half "$input" out.png
  run_bad 3 sharpen-skin --mask "$input" edge.png out.png
done

run 0 --help
grep -q 'camkit sharpen photo.jpg' out || fail "--help has no example"
for arguments in "" "sharpen edge.png" "blur edge.png out.png" "rotate edge.png out.png" \
  "rotate --degrees 45 edge.png out.png" "half edge.png -" "half --mask white.png edge.png out.png" \
  "half edge.png out.jpg" "filter --weights 1,2 edge.png out.png" "filter --weights 1,200,3 edge.png out.png" \
  "sharpen-skin --skin --mask white.png edge.png out.png"; do
  # shellcheck disable=SC2086
  run_bad 2 $arguments
done

finish "camkit does what it says"
