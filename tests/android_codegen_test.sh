#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compiles the shipping folders for Android's machine and calling conventions. The headers are those
# of the Arm cross compiler, because Android's own cannot be had here: this shows that the code is
# accepted and that machine code comes out, not that the device's C library offers what it calls.
# usage: android_codegen_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"
cross=/usr/aarch64-linux-gnu/include
runtime=$(printf '%s\n' "$cross"/c++/* | sort -V | tail -n 1)
options=(--target=aarch64-linux-android29 -std=c++17 -O3 -fPIC -ffp-contract=off -fvisibility=hidden
  -fvisibility-inlines-hidden -fstack-protector-strong -mbranch-protection=standard
  -Wall -Wextra -Wconversion -Wshadow -Wthread-safety -Werror
  -nostdlibinc -isystem "$runtime" -isystem "$runtime/aarch64-linux-gnu" -isystem "$cross" -Isrc)

files=(src/image/*.cpp src/sharpen/*.cpp src/analysis/*.cpp src/node/*.cpp)
failed=0
for file in "${files[@]}"; do
  clang++ "${options[@]}" -c "$file" -o /dev/null || { echo "FAIL $file"; failed=1; }
done
[ "$failed" -eq 0 ] && echo "${#files[@]} files compiled for Android"
exit "$failed"
