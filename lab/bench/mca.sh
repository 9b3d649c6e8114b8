#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# What llvm-mca expects of the kernels' inner loops: cycles per pixel on three Arm processors, with
# every byte in the first-level cache. The loops are those of clang's code.
# usage: mca.sh
set -euo pipefail
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
compiler=(clang++-19 --target=aarch64-linux-gnu)
processors=(cortex-a55 neoverse-n1 neoverse-v1)

# SOURCE: its assembly in $work.
assemble() {
  "${compiler[@]}" -std=c++17 -O3 -ffp-contract=off -fvisibility=hidden -fPIC -I. -S "$1" -o - |
    grep -v '^[[:space:]]*//' >"$work/$(basename "$1" .cpp).s"
}

# ASSEMBLY PATTERN RANK: of the functions whose mangled names match, the loop without a loop in it
# that has the most vector instructions, or the next one for a rank of 2. With a rank of 0, the whole
# function, which has no loop. Which loop is which must be looked up again when a kernel changes; its
# instructions per pixel are then close to the counted ones.
inner_loop() {
  awk -v pattern="$2" -v rank="$3" '
    /^[_A-Za-z][A-Za-z0-9_.]*:/ { inside = $0 ~ pattern; delete start; next }
    !inside || /^\t\./ { next }
    rank == 0 && /^\t/ { print; printed = 1; next }
    { line[++n] = $0 }
    /^\.L/ { start[substr($1, 1, length($1) - 1)] = n; next }
    /^\t(b|b\.?[a-z][a-z]|cbn?z|tbn?z)\t/ {
      target = $NF
      if (!(target in start)) next
      vectors = inner = 0
      for (i = start[target]; i <= n; ++i) {
        if (line[i] ~ /[ \t{](q|v)[0-9]/) ++vectors
        if (i < n && i in is_end && is_end[i] >= start[target]) inner = 1
      }
      is_end[n] = start[target]
      if (!inner) { ++loops; size[loops] = vectors; from[loops] = start[target]; to[loops] = n }
    }
    END {
      if (rank == 0) exit !printed
      for (; rank > 0; --rank) {
        best = 0
        for (i = 1; i <= loops; ++i) if (!used[i] && (!best || size[i] > size[best])) best = i
        if (!best) exit 1
        used[best] = 1
      }
      for (i = from[best]; i <= to[best]; ++i) if (line[i] !~ /^\.L/) print line[i]
    }' "$work/$1.s"
}

# NAME PIXELS ASSEMBLY PATTERN [RANK]: a row of the table. PIXELS are the luma pixels of the source
# that one turn of the loop takes; for a chroma loop, those that its pairs belong to.
row() {
  local processor cycles
  inner_loop "$3" "$4" "${5:-1}" >"$work/loop.s"
  printf '%-44s %7d %13d %10.4f' "$1" "$2" "$(wc -l <"$work/loop.s")" \
    "$(echo "$(wc -l <"$work/loop.s") / $2" | bc -l)"
  for processor in "${processors[@]}"; do
    cycles=$(llvm-mca-19 -mtriple=aarch64-linux-gnu -mcpu="$processor" -iterations=200 \
      "$work/loop.s" 2>"$work/errors" | awk '/^Total Cycles:/ { print $3 }')
    [ -n "$cycles" ] || { cat "$work/errors" >&2; return 1; }
    printf ' %12.3f' "$(echo "$cycles / 200 / $2" | bc -l)"
  done
  printf '\n'
}

for source in src/image/copy_rows.cpp src/image/resize.cpp src/analysis/crop_rows.cpp src/sharpen/sharpen_y.cpp \
  src/sharpen/filter_corr3x3.cpp src/sharpen/skin_map.cpp; do
  assemble "$source"
done
llvm-mca-19 --version | grep version
"${compiler[@]}" --version | head -n 1
printf '%-44s %7s %13s %10s %38s\n' "inner loop" pixels instructions "a pixel" "cycles per pixel on"
printf '%-44s %7s %13s %10s %12s %12s %12s\n' "" "" "" "" "${processors[@]}"
row "rotation 90 and 270, luma tile" 256 copy_rows TransposePlaneILi1E
row "rotation 90 and 270, chroma tile" 256 copy_rows RotateInRegistersILi2E 1
row "rotation 180, luma" 64 copy_rows RotateInRegistersILi1E
row "rotation 180, chroma" 128 copy_rows RotateInRegistersILi2E 3
row "resize_half" 128 resize resize_halfPK
row "resize_halfUseNeon" 128 resize resize_halfUseNeonPK
row "resize_quarter and resize_quarterUseNeon" 512 resize VectorRowILi4E
row "resize_eighthUseNeon" 1024 resize VectorRowILi8E
row "crop, orientation 270" 64 crop_rows CropInRegisters 4
row "crop, orientation 90" 64 crop_rows CropInRegisters 3
row "crop, others: transpose of chroma" 512 crop_rows CropInRegisters 2
row "crop, others: colours" 256 crop_rows CropInRegisters 1
row "sharpenY" 96 sharpen_y sharpenYVariant
row "filterCorr3x3s8_v2, weights within 16 bits" 96 filter_corr3x3 filterCorr3x3s8_v2Variant 3
row "filterCorr3x3s8_v2, any weights" 96 filter_corr3x3 filterCorr3x3s8_v2Variant 1
row "the same by marks, weights within 16 bits" 64 filter_corr3x3 WithskinMapVariant 2
row "smoothSkinMapGaussian" 96 skin_map smoothSkinMapGaussianVariant
