#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Compares our side of the device with the genuine Android libraries that Debian packages: their headers
# declare the same as ours, and camsim prints the same table with them as with the fakes.
# usage: android_libraries_test.py SOURCE_DIRECTORY BUILD_DIRECTORY
import pathlib
import re

from programs import Program, arguments, check, finish, same, work

source, build = (pathlib.Path(argument).resolve() for argument in arguments)
compiler = Program("g++")

compiler.run(0, "-std=c++17 -fsyntax-only -isystem /usr/include/android", *(
    pathlib.Path(f"-I{source / folder}") for folder in ("src", ".", "tests/android_headers")),
    source / "tests/android_headers_test.cpp")

# A device: libraries with the device's sonames that link the genuine ones.
listed = Program("dpkg").run(0, "-L android-liblog").out
genuine = re.search(r"^(.*)/liblog\.so\.0$", listed, re.M)[1]
for library in "liblog.so", "libutils.so":
    compiler.run(0, f"-shared -x c++ /dev/null -x none -o {library} -Wl,-soname,{library},--no-as-needed "
                 f"-Wl,-rpath,{genuine},-rpath-link,{genuine} {genuine}/{library}.0")

camsim = Program(build / "camsim", "--annotated", "none")
table = camsim.run(0, "--all --device", work)
same("unasked lines with the genuine libraries", "", table.err)
same("the table with the genuine libraries", camsim.run(0, "--all").out, table.out)
check(" 3 analysed\n" in table.out, f"nothing was analysed: {table.out[-300:]}")

done = camsim.run(0, "--requests 4 --log info --device", work)
for library in "liblog.so", "libutils.so":
    check(f"camsim: {library} is {work / library}\n" in done.err, f"{library} came from elsewhere")
# That library prints tag, priority, date, time, process, thread and text.
check(re.search(r"^CHIGENDERAGE I [\d-]+ [\d:]+ +\d+ +\d+ ProcessRequest\(\):642 ChiGenderAgeNode frameNum 4",
                done.err, re.M), f"no lines in the genuine log: {done.err[:1500]}")
check("\nI/CHIGENDERAGE: " not in done.err, "the fake printed the log")
Program(build / "nodecheck", build / "com.qti.node.brodaxgenderage.so").run(0, "--limit 200 --device", work)

finish("the genuine headers and libraries agree with ours; the table is the same with both")
