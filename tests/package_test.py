#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Packs the kits and the tools, and uses both with the unpacked files alone: builds and runs another
# program with the kits, and runs the commands of docs/own_node.md with the tools.
# usage: package_test.py BUILD_DIRECTORY [EMULATOR...]
import os
import pathlib
import re
import shutil
import subprocess

from programs import Program, arguments, check, finish, read, same, work, write

build, emulator = pathlib.Path(arguments[0]).resolve(), arguments[1:]
cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.M))
version = cache["CMAKE_PROJECT_VERSION"]
cmake = Program("cmake")

source = pathlib.Path(cache["CMAKE_HOME_DIRECTORY"])
target, sanitizers = (cache.get(name) for name in ("CMAKE_CXX_COMPILER_TARGET", "ZY_SANITIZE"))
is_host = not emulator and not sanitizers  # packages come from this build

# ---- The packages, or the same files without them ------------------------------------------------------
if is_host:
    Program("cpack").run(0, "--config", build / "CPackConfig.cmake", "-B build/packages")
    packages = work / "build/packages"
    kits_package, tools_package = (sorted(packages.glob(f"{name}_{version}_*.deb"))[0]
                                   for name in ("brodax-kits-dev", "brodax-node-tools"))
    Program("dpkg-deb").run(0, "-x", kits_package, "kits")
    Program("dpkg-deb").run(0, "-x", tools_package, "unpacked")
    Program("tar").run(0, "-xzf", *packages.glob(f"brodax-{version}-*.tar.gz"))
    same("files of the archive",
         sorted(file.relative_to(folder).as_posix() for folder in (work / "kits/usr", work / "unpacked/usr")
                for file in folder.rglob("*") if file.is_file()),
         sorted(file.relative_to(folder).as_posix() for folder in work.glob(f"brodax-{version}-*")
                for file in folder.rglob("*") if file.is_file()))
    cmake.run(0, "-S", source, "-B unbuilt -G", cache["CMAKE_GENERATOR"])
    done = cmake.run(1, "--install unbuilt --component tools --prefix nowhere")
    check("run ./dev build first" in " ".join(done.err.split()), f"installing before building: {done.err}")
else:
    cmake.run(0, "--install", build, "--component kits --prefix kits/usr")
    cmake.run(0, "--install", build, "--component tools --prefix tools/usr")

# ---- The kits ------------------------------------------------------------------------------------------
for file in work.glob("*/usr/lib*/**/*.cmake"):
    for folder in str(work), str(build), str(source):
        check(folder not in file.read_text(), f"{file} names a directory of this machine")
includes = work / "kits/usr/include/brodax_kits"
headers = sorted(str(file.relative_to(includes)) for file in includes.rglob("*") if file.is_file())
same("headers", ["image/resize.h", "image/zy_copy_buffer.h", "image/zy_image_buffer.h", "sharpen/array_helpers.h",
                 "sharpen/filter_corr3x3.h", "sharpen/sharpen_y.h", "sharpen/skin_map.h"], headers)
check(b"Apache License" in read("kits/usr/share/doc/brodax_kits/LICENSE"), "the kits come without a licence")

write("CMakeLists.txt", f"""
cmake_minimum_required(VERSION 3.16)
project(consumer CXX)
find_package(brodax_kits {version} REQUIRED)
add_executable(consumer consumer.cpp)
target_compile_options(consumer PRIVATE -Wall -Wextra -Werror)
target_link_libraries(consumer PRIVATE brodax_kits::zy_image brodax_kits::zy_sharpen)
enable_testing()
add_test(NAME consumer COMMAND consumer)
""")
write("consumer.cpp", "".join(f'#include "{header}"\n' for header in headers) + """
int main() {
  ZyImageBuffer image = {}, copy = {};
  if (ZyAllocBuffer(&image, 8, 8, 1) == 0 || ZyAllocBuffer(&copy, 8, 8, 1) == 0) return 1;
  for (int i = 0; i < 96; ++i) image.plane[0][i] = i % 8 < 4 ? 40 : 200;
  if (ZyCopyBuffer(&copy, &image, 180) == 0 || copy.plane[0][0] != 200) return 2;
  unsigned char half[16] = {};
  resize_half(image.plane[0], half, 8, 8, 8);
  if (half[1] != 40 || half[2] != 200) return 3;
  sharpenY(image.plane[0], copy.plane[0], 8, 8, 8);
  if (copy.plane[0][8 + 3] != 0 || copy.plane[0][8 + 4] != 255) return 4;
  smoothSkinMapGaussian(image.plane[0], 8, 8);
  if (image.plane[0][2 * 8 + 3] != 80) return 5;
  ZyFreeBuffer(&image);
  ZyFreeBuffer(&copy);
  float** matrix = allocD2(2, 3);
  if (matrix == nullptr || matrix[1] - matrix[0] != 3) return 6;
  freeD2(matrix);
  return now_ms() > 0 ? 0 : 7;
}
""")
flags = [f"-fsanitize={sanitizers}"] if sanitizers else []
options = {name: cache[name] for name in cache.keys() & {"CMAKE_TOOLCHAIN_FILE", "CMAKE_CXX_COMPILER",
                                                         "CMAKE_CXX_COMPILER_TARGET"}}
options.update(CMAKE_PREFIX_PATH=work / "kits/usr", CMAKE_CXX_FLAGS=" ".join(flags))
Program("cmake", "-S.", "-Bconsumer", "-G" + cache["CMAKE_GENERATOR"],
        *(f"-D{name}={value}" for name, value in options.items())).run(0)
cmake.run(0, "--build consumer")
Program("ctest").run(0, "--test-dir consumer --no-tests=error --output-on-failure")

# The same program with pkg-config.
os.environ["PKG_CONFIG_PATH"] = str(work / "kits/usr/lib/pkgconfig")
package = Program("pkg-config", "brodax_kits")
same("pkg-config's version", version, package.run(0, "--modversion").out.strip())
flags += [f"--target={target}"] if target else []
Program(cache["CMAKE_CXX_COMPILER"], *flags).run(
    0, "consumer.cpp", package.run(0, "--cflags --libs").out, "-o by_pkg_config")
Program(*emulator, "./by_pkg_config").run(0)
check("-std=c++17" in package.run(0, "--cflags").out, "pkg-config leaves the language to the compiler")

# ---- The tools, by their page --------------------------------------------------------------------------
page = (source / "docs/own_node.md").read_text()
example = (source / "lab/examples/mean_luma/mean_luma.cpp").read_text()
check(len(page.encode()) <= 4096 and example.count("\n") <= 60, "the page or the example grew")
for excerpt in re.findall(r"^```cpp\n(.*?)^```", page, re.M | re.S):
    check(excerpt in example, "the page shows code that the example lacks")
script = "".join(re.findall(r"^```sh\n(.*?)^```", page, re.M | re.S))
if not is_host:  # the packages are this machine's
    script = re.sub(r"^dpkg-deb .*\n", "", script, flags=re.M)
has_gdb = is_host and shutil.which("gdb") is not None
if not has_gdb:
    script = re.sub(r"^gdb .*\n", "", script, flags=re.M)
environment = {**os.environ, "LD_LIBRARY_PATH": ""}
if emulator:
    for name in "camsim", "nodecheck", "camkit":
        program = work / "tools/usr/bin" / name
        program.rename(f"{program}.real")
        write(program, f"#!/bin/sh\nexec {' '.join(emulator)} {program}.real \"$@\"\n")
        program.chmod(0o755)
    environment.update(CMAKE_TOOLCHAIN_FILE=cache["CMAKE_TOOLCHAIN_FILE"], CXX=cache["CMAKE_CXX_COMPILER"],
                       CXXFLAGS=f"--target={target}" if target else "")
done = subprocess.run(["bash", "-ec", script], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                      env=environment)
check(done.returncode == 0, f"docs/own_node.md: {done.stdout[-2000:]}{done.stderr[-2000:]}")
for quoted in re.findall(r"`(the node's own tags: [^`]*)`", page) + [", 0 failed, "]:
    check(quoted in done.stdout, f"docs/own_node.md: no {quoted!r} in {done.stdout}")
check(not has_gdb or re.search(r"\bBreakpoint 1, .*mean_luma\.cpp:", done.stdout, re.M | re.S), "gdb: no breakpoint")

# The programs find this project's node and the fakes where they were put.
os.environ["LD_LIBRARY_PATH"] = ""
done = Program("tools/usr/bin/camsim").run(0, "--requests 10 --size 320x240 --annotated seen.png")
check("1 analysed\n" in done.out, f"the installed camsim: {done.out}")
camkit = Program("tools/usr/bin/camkit")
camkit.run(0, "half seen.png half.png")
same("camkit's version", f"camkit {version}\n", camkit.run(0, "--version").out)

finish("another program finds, links and runs the kits, and a node of one's own runs in the tools")
