#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Inspects the shared library that ships: its exports, imports and mapping.
# usage: library_test.py LIBRARY STRIPPED_LIBRARY
import pathlib
import re
import shutil

from programs import Program, arguments, check, finish, same

library, stripped = map(pathlib.Path, arguments)
cross = "aarch64-linux-gnu-" if shutil.which("aarch64-linux-gnu-objdump") else ""


def output(command, file):
    return Program(*command.split()).run(0, file).out


def last_words(lines):
    return {line.split()[-1] for line in lines.splitlines()}


for file in library, stripped:
    same("exports", {"ChiNodeEntry"}, last_words(output("nm -D --defined-only", file)))
    dynamic = output("readelf -dW", file)
    entries = {kind: set(re.findall(rf"\({kind}\).*\[(.*)\]", dynamic))
               for kind in ("SONAME", "NEEDED", "RUNPATH", "RPATH")}
    same("soname", {"com.qti.node.brodaxgenderage.so"}, entries["SONAME"])
    same("needed", {f"lib{name}.so" for name in ("FaceGrade", "QVFD_AgeGender", "chinodeutils", "cutils", "log", "utils")},
         {name for name in entries["NEEDED"] if not re.match(r"(libstdc\+\+|libgcc_s|libc|libm|ld-linux[\w-]*)\.so", name)})
    same("search path", set(), entries["RUNPATH"] | entries["RPATH"])
    flags = " ".join(re.findall(r"\(FLAGS_1\) *Flags: (.*)", dynamic)).split()
    check("NOW" in flags and "NODELETE" in flags, f"flags: {flags}")
    check("TEXTREL" not in dynamic, "there are text relocations")
    segments = output("readelf -lW", file)
    same("alignment of segments", {"0x4000"}, last_words("\n".join(re.findall(r"^ +LOAD .*", segments, re.M))))
    check(" GNU_RELRO " in segments, "no RELRO")
    same("stack", ["RW"], re.findall(r"GNU_STACK +(?:0x\w+ +){5}([RWE]+)", segments))
    check("Build ID" in output("readelf -nW", file), "no build id")

# fault_test lets these fail and counts them: malloc, new[], and new that returns null.
same("other ways to allocate", set(), set(re.findall(
    r"\b(?:calloc|realloc|memalign|aligned_alloc|posix_memalign|_Zn[aw]\w+)", output("nm -D -u", library)))
    - {"_Znam", "_ZnwmRKSt9nothrow_t"})

# The library contains the kits, although the node does not call them.
kits = set("""resize_half resize_halfUseNeon resize_quarter resize_quarterUseNeon resize_eighthUseNeon
  ZyCopyBuffer allocD2 allocD3 convertU1ToU2 convertU1ToU3 freeD2 freeD3 freeConvertedU2 freeConvertedU3
  filterCorr3x3s8_v2 filterCorr3x3s8_v2WithskinMap smoothSkinMapGaussian sharpenY sharpenYWithSkinMap
  now_ms""".split())
same("missing kits", set(), kits - set(re.findall(r" t (\w+)\(", output("nm -C", library))))
same("symbols of the stripped file", "", output("nm", stripped))

# On Arm our code guards its entries and return addresses.
if "AArch64" in output("readelf -hW", library):
    code = set(output(f"{cross}objdump -d --no-show-raw-insn", library).split())
    same("missing guards", set(), {"bti", "paciasp", "autiasp"} - code)
    # The C library's start files have no such note, so the linked file has none; our objects do.
    for archive in library.parent.glob("libzy_*.a"):
        same(f"notes of {archive.name}", output("readelf -hW", archive).count("\nFile:"),
             output("readelf -nW", archive).count("AArch64 feature: BTI, PAC"))
    # The library's imports with a device's compiler: from the framework and the closed libraries, from the C
    # library, which lacks some functions of a desktop's, and from the C++ runtime.
    if "clang" in output("readelf -p .comment", library):
        imports = """
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
__cxa_begin_catch __cxa_end_catch __cxa_pure_virtual __gxx_personality_v0"""
        same("imported symbols", set(imports.split()),
             set(re.findall(r"^ *U ([^@\n]*)", output("nm -D -u", library), re.M)))

finish("the library's exports, imports and mapping are right")
