#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Reads the shared library that ships: what leaves it, what it needs, how it is to be mapped.
# usage: library_test.sh LIBRARY STRIPPED_LIBRARY
set -euo pipefail
library=$1
stripped=$2
failed=0

expect() { # what, expected, actual
  [ "$2" = "$3" ] && return
  printf 'FAIL %s\n expected: %s\n actual:   %s\n' "$1" "$2" "$3"
  failed=1
}

dynamic() { readelf -dW "$1" | sed -n "s/.*($2).*\[\(.*\)\]/\1/p"; }

for file in "$library" "$stripped"; do
  expect "exports" ChiNodeEntry "$(nm -D --defined-only "$file" | awk '{print $3}')"
  expect "soname" com.qti.node.brodaxgenderage.so "$(dynamic "$file" SONAME)"
  expect "needed" "libFaceGrade.so libQVFD_AgeGender.so libchinodeutils.so libcutils.so liblog.so libutils.so" \
    "$(dynamic "$file" NEEDED | grep -vE '^(libstdc\+\+|libgcc_s|libc|libm|ld-linux[a-z0-9-]*)\.so' | LC_ALL=C sort | xargs)"
  expect "no search path" "" "$(dynamic "$file" 'RUNPATH|RPATH')"
  flags=$(readelf -dW "$file")
  for flag in NOW NODELETE; do
    expect "$flag" 1 "$(grep FLAGS_1 <<<"$flags" | grep -cw "$flag")"
  done
  expect "text relocations" 0 "$(grep -cw TEXTREL <<<"$flags")"
  segments=$(readelf -lW "$file")
  expect "alignment of LOAD segments" 0x4000 "$(awk '$1 == "LOAD" {print $NF}' <<<"$segments" | sort -u)"
  expect "RELRO" 1 "$(grep -c GNU_RELRO <<<"$segments")"
  expect "stack" RW "$(awk '$1 == "GNU_STACK" {print $7}' <<<"$segments")"
  expect "build id" 1 "$(readelf -nW "$file" | grep -c 'Build ID')"
done

# fault_test lets these fail and counts them: malloc, new[], and new that returns null.
expect "other ways to allocate" "" "$(nm -D -u "$library" |
  grep -oE '\b(calloc|realloc|memalign|aligned_alloc|posix_memalign|_Zn[aw]\w+)' |
  grep -vxE '_Znam|_ZnwmRKSt9nothrow_t' | xargs)"

# The kits are in the library although no path of the node calls them.
names=$(nm -C "$library")
for kit in resize_half resize_halfUseNeon resize_quarter resize_quarterUseNeon resize_eighthUseNeon \
  ZyCopyBuffer allocD2 allocD3 convertU1ToU2 convertU1ToU3 freeD2 freeD3 freeConvertedU2 \
  freeConvertedU3 filterCorr3x3s8_v2 filterCorr3x3s8_v2WithskinMap smoothSkinMapGaussian sharpenY \
  sharpenYWithSkinMap now_ms; do
  grep -q " t $kit(" <<<"$names" || expect "kit function $kit" present missing
done
expect "symbols of the stripped file" 0 "$(nm "$stripped" 2>/dev/null | wc -l)"

# On Arm our own code guards its entries and return addresses.
if readelf -hW "$library" | grep -q AArch64; then
  code=$(objdump -d --no-show-raw-insn "$library" 2>/dev/null || aarch64-linux-gnu-objdump -d --no-show-raw-insn "$library")
  for instruction in bti paciasp autiasp; do
    grep -qw "$instruction" <<<"$code" || expect "$instruction instructions" some none
  done
  # The start files of the C library carry no such note, so the linked file cannot; our objects do.
  for archive in "$(dirname "$library")"/libzy_*.a; do
    expect "notes of $(basename "$archive")" "$(readelf -hW "$archive" | grep -c '^File:')" \
      "$(readelf -nW "$archive" | grep -c 'AArch64 feature: BTI, PAC')"
  done
fi

# What the devices' compiler makes the library ask of a device: of the framework and the closed libraries,
# of the C library, which there lacks calls that a desk's has, and of the C++ runtime.
imports="
_ZN12ChiNodeUtils11GetMetaDataEmj15ChiMetadataTypePvP16ChiNodeInterface
_ZN12ChiNodeUtils14QueryVendorTagEP17ChiQueryVendorTagPK16ChiVendorTagInfo
_ZN12ChiNodeUtils16SetNodeInterfaceEP16ChiNodeInterfacePKcS1_Pj
_ZN12ChiNodeUtils18GetMetaDataAndSizeEmj15ChiMetadataTypePvP16ChiNodeInterfacePm
_ZN12ChiNodeUtils24DefaultBufferNegotiationEP22ChiNodeQueryBufferInfo
_ZN15FaceGradeResultC1Ev _ZN18FaceGradeInterface11setFaceRectEiiii
_ZN18FaceGradeInterface7processEPKhiiR15FaceGradeResultb
_ZN18FaceGradeInterfaceC1Ev _ZN18FaceGradeInterfaceD1Ev
QVAG_GetVersion QVAG_Model_Clear QVAG_Model_Init QVAG_OneFaceAnalyze __android_log_print property_get systemTime
abort free gettimeofday malloc memcpy memmove strnlen strtoul __stack_chk_fail __stack_chk_guard
pthread_cond_destroy pthread_cond_init pthread_cond_signal pthread_cond_wait pthread_condattr_destroy
pthread_condattr_init pthread_condattr_setclock pthread_create pthread_join pthread_mutex_destroy
pthread_mutex_init pthread_mutex_lock pthread_mutex_unlock
_Unwind_Resume _ZSt7nothrow _ZSt9terminatev _ZTVN10__cxxabiv117__class_type_infoE
_ZTVN10__cxxabiv120__si_class_type_infoE _ZdaPv _ZdlPvRKSt9nothrow_t _ZdlPvm _Znam _ZnwmRKSt9nothrow_t
__cxa_begin_catch __cxa_end_catch __cxa_pure_virtual __gxx_personality_v0"
if readelf -hW "$library" | grep -q AArch64 && readelf -p .comment "$library" | grep -q clang; then
  expect "imported symbols" "" "$(diff <(xargs -n 1 <<<"$imports" | LC_ALL=C sort) \
    <(nm -D -u "$library" | sed -n 's/^ *U \([^@]*\).*/\1/p' | LC_ALL=C sort))"
fi
[ "$failed" -eq 0 ] && echo "the library is as it should be"
exit "$failed"
