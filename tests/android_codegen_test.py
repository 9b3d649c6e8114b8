#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Compiles the shipping folders for Android's machine and calling conventions. It uses the headers of the Arm
# cross compiler, because Android's own are not available: this proves that the code compiles, not that the
# device's C library has the functions that it calls.
# usage: android_codegen_test.py SOURCE_DIRECTORY
import pathlib

from programs import Program, arguments, check, finish

source = pathlib.Path(arguments[0]).resolve() / "src"
cross = pathlib.Path("/usr/aarch64-linux-gnu/include")
runtime = max((cross / "c++").iterdir(), key=lambda folder: int(folder.name))
compiler = Program(*f"""clang++ --target=aarch64-linux-android29 -std=c++17 -O3 -fPIC -ffp-contract=off
  -fvisibility=hidden -fvisibility-inlines-hidden -fstack-protector-strong -mbranch-protection=standard
  -Wall -Wextra -Wconversion -Wshadow -Wthread-safety -Werror
  -nostdlibinc -isystem {runtime} -isystem {runtime}/aarch64-linux-gnu -isystem {cross} -c -o code.o""".split(),
                   f"-I{source}")
files = sorted(source.rglob("*.cpp"))
check(files, "no sources")
for file in files:
    compiler.run(0, file)

finish(f"{len(files)} files compiled for Android")
