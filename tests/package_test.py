#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
# Installs the kits and builds and runs another program with nothing but what was installed; installs the
# node with its tools and runs those.
# usage: package_test.py BUILD_DIRECTORY [EMULATOR...]
import os
import pathlib
import re

from programs import Program, arguments, check, finish, read, same, work, write

build, emulator = pathlib.Path(arguments[0]).resolve(), arguments[1:]
cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.M))
version = cache["CMAKE_PROJECT_VERSION"]
cmake = Program("cmake")

# ---- The kits ------------------------------------------------------------------------------------------
cmake.run(0, "--install", build, "--prefix installed --component kits")
os.rename("installed", "moved")  # the package must not know where it was put
for file in work.glob("moved/lib*/**/*.cmake"):
    for folder in str(work), str(build), cache["CMAKE_HOME_DIRECTORY"]:
        check(folder not in file.read_text(), f"{file} names a directory of this machine")
includes = work / "moved/include/brodax_kits"
headers = sorted(str(file.relative_to(includes)) for file in includes.rglob("*") if file.is_file())
same("headers", ["image/resize.h", "image/zy_copy_buffer.h", "image/zy_image_buffer.h", "sharpen/array_helpers.h",
                 "sharpen/filter_corr3x3.h", "sharpen/sharpen_y.h", "sharpen/skin_map.h"], headers)
check(b"Apache License" in read("moved/share/doc/brodax_kits/LICENSE"), "the kits come without a licence")

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
target, sanitizers = (cache.get(name) for name in ("CMAKE_CXX_COMPILER_TARGET", "ZY_SANITIZE"))
flags = [f"-fsanitize={sanitizers}"] if sanitizers else []
options = {name: cache[name] for name in cache.keys() & {"CMAKE_TOOLCHAIN_FILE", "CMAKE_CXX_COMPILER",
                                                         "CMAKE_CXX_COMPILER_TARGET"}}
options.update(CMAKE_PREFIX_PATH=work / "moved", CMAKE_CXX_FLAGS=" ".join(flags))
Program("cmake", "-S.", "-Bconsumer", "-G" + cache["CMAKE_GENERATOR"],
        *(f"-D{name}={value}" for name, value in options.items())).run(0)
cmake.run(0, "--build consumer")
Program("ctest").run(0, "--test-dir consumer --no-tests=error --output-on-failure")

# The same program by way of pkg-config.
os.environ["PKG_CONFIG_PATH"] = str(work / "moved/lib/pkgconfig")
package = Program("pkg-config", "brodax_kits")
same("pkg-config's version", version, package.run(0, "--modversion").out.strip())
flags += [f"--target={target}"] if target else []
Program(cache["CMAKE_CXX_COMPILER"], *flags).run(
    0, "-std=c++17 consumer.cpp", package.run(0, "--cflags --libs").out, "-o by_pkg_config")
Program(*emulator, "./by_pkg_config").run(0)

# ---- The tools, which run from wherever they were put --------------------------------------------------
cmake.run(0, "--install", build, "--prefix installed --component tools")
os.rename("installed", "tools")
os.environ["LD_LIBRARY_PATH"] = ""
done = Program(*emulator, "tools/bin/camsim").run(0, "--requests 10 --size 320x240 --annotated seen.png")
check("1 analysed\n" in done.out, f"the installed camsim: {done.out}")
camkit = Program(*emulator, "tools/bin/camkit")
camkit.run(0, "half seen.png half.png")
same("camkit's version", f"camkit {version}\n", camkit.run(0, "--version").out)

finish("another program finds, links and runs the kits, and the tools run where they were put")
