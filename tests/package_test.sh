#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs the kits and builds and runs another program with nothing but what was installed; installs the
# node with its tools and runs those.
# usage: package_test.sh BUILD_DIRECTORY [EMULATOR...]
set -euo pipefail
build=$(cd "$1" && pwd)
emulator=("${@:2}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
  echo "FAIL $*"
  exit 1
}

quietly() { "$@" >log 2>&1 || { cat log; fail "$*"; }; }

cached() { sed -n "s/^$1:[A-Z]*=//p" "$build/CMakeCache.txt"; }

quietly cmake --install "$build" --prefix "$work/installed" --component kits
mv installed moved  # the package must not know where it was put
[ -z "$(grep -rlF -e "$work" -e "$build" -e "$(cached CMAKE_HOME_DIRECTORY)" moved/lib*/ --include=*.cmake)" ] ||
  fail "the package names a directory of this machine"
headers=$(cd moved/include/brodax_kits && find . -type f | sed 's|^\./||' | LC_ALL=C sort)
expected="image/resize.h image/zy_copy_buffer.h image/zy_image_buffer.h sharpen/array_helpers.h"
expected+=" sharpen/filter_corr3x3.h sharpen/sharpen_y.h sharpen/skin_map.h"
[ "$(xargs <<<"$headers")" = "$expected" ] || fail "headers: $headers"

cat >CMakeLists.txt <<'TXT'
cmake_minimum_required(VERSION 3.16)
project(consumer CXX)
find_package(brodax_kits VERSION REQUIRED)
add_executable(consumer consumer.cpp)
target_compile_options(consumer PRIVATE -Wall -Wextra -Werror)
target_link_libraries(consumer PRIVATE brodax_kits::zy_image brodax_kits::zy_sharpen)
enable_testing()
add_test(NAME consumer COMMAND consumer)
TXT
sed 's/.*/#include "&"/' <<<"$headers" >consumer.cpp
cat >>consumer.cpp <<'TXT'
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
TXT
sanitize=$(cached ZY_SANITIZE)
version=$(cached CMAKE_PROJECT_VERSION)
sed -i "s/VERSION REQUIRED/$version REQUIRED/" CMakeLists.txt
target=$(cached CMAKE_CXX_COMPILER_TARGET)
quietly cmake -S . -B consumer -G "$(cached CMAKE_GENERATOR)" -DCMAKE_PREFIX_PATH="$work/moved" \
  -DCMAKE_TOOLCHAIN_FILE="$(cached CMAKE_TOOLCHAIN_FILE)" -DCMAKE_CXX_COMPILER="$(cached CMAKE_CXX_COMPILER)" \
  -DCMAKE_CXX_COMPILER_TARGET="$target" -DCMAKE_CXX_FLAGS="${sanitize:+-fsanitize=$sanitize}"
quietly cmake --build consumer
quietly ctest --test-dir consumer --no-tests=error --output-on-failure

# The same program by way of pkg-config.
export PKG_CONFIG_PATH=$work/moved/lib/pkgconfig
[ "$(pkg-config --modversion brodax_kits)" = "$version" ] || fail "pkg-config: version"
# shellcheck disable=SC2046,SC2086
quietly "$(cached CMAKE_CXX_COMPILER)" ${target:+--target="$target"} -std=c++17 ${sanitize:+-fsanitize=$sanitize} consumer.cpp \
  $(pkg-config --cflags --libs brodax_kits) -o by_pkg_config
quietly "${emulator[@]}" ./by_pkg_config
grep -q 'Apache License' moved/share/doc/brodax_kits/LICENSE || fail "the kits come without a licence"

# The tools run from wherever they were put, with the node and the pretend device that came along.
quietly cmake --install "$build" --prefix "$work/installed" --component tools
mv installed tools
export LD_LIBRARY_PATH=
quietly "${emulator[@]}" tools/bin/camsim --requests 10 --size 320x240 --annotated seen.png
grep -q '1 analysed$' log || fail "the installed camsim: $(cat log)"
quietly "${emulator[@]}" tools/bin/camkit half seen.png half.png
[ "$("${emulator[@]}" tools/bin/camkit --version)" = "camkit $version" ] || fail "camkit: version"

echo "another program finds, links and runs the kits, and the tools run where they were put"
