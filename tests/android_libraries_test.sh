#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares our side of the device with the genuine Android libraries that Debian packages: their headers
# declare what ours do, and camsim prints the same table with them as with the stand-ins.
# usage: android_libraries_test.sh SOURCE_DIRECTORY BUILD_DIRECTORY DEVICE_FOLDER
#   (DEVICE_FOLDER is made: libraries under the device's sonames that need the genuine ones)
set -euo pipefail
source=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
mkdir -p "$3"
device=$(cd "$3" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAIL $*"
  exit 1
}

# ---- The headers ---------------------------------------------------------------------------------------
g++ -std=c++17 -fsyntax-only -I "$source/src" -I "$source" -I "$source/tests/android_headers" -isystem /usr/include/android \
  "$source/tests/android_headers_test.cpp" || fail "our declarations differ from the genuine ones"

# ---- The libraries -------------------------------------------------------------------------------------
genuine=$(dirname "$(dpkg -L android-liblog | grep '/liblog\.so\.0$')")
for library in liblog libutils; do
  g++ -shared -x c++ /dev/null -x none -o "$device/$library.so" "-Wl,-soname,$library.so,--no-as-needed" \
    "-Wl,-rpath,$genuine,-rpath-link,$genuine" "$genuine/$library.so.0"
done

# Runs camsim on this device or, without a folder, on the stand-ins; prints its table.
table() {
  local arguments=()
  [ -z "$1" ] || arguments=(--device "$1")
  "$build/camsim" --annotated none --all "${arguments[@]}" "${@:2}" 2>"$work/err"
}

table "" >"$work/stand_ins"
table "$device" >"$work/genuine"
[ ! -s "$work/err" ] || fail "unasked lines with the genuine libraries: $(head -n 3 "$work/err")"
diff "$work/stand_ins" "$work/genuine" || fail "the tables differ"
grep -q ' 3 analysed$' "$work/genuine" || fail "nothing was analysed: $(tail -n 2 "$work/genuine")"

table "$device" --requests 4 --log info >"$work/genuine"
for library in liblog libutils; do
  grep -q "^camsim: $library.so is $device/$library.so$" "$work/err" || fail "$library.so came from elsewhere"
done
# As that library prints: tag, priority, date, time, process, thread, and the text.
grep -Eq '^CHIGENDERAGE I [0-9-]+ [0-9:]+ +[0-9]+ +[0-9]+ ProcessRequest\(\):642 ChiGenderAgeNode frameNum 4' "$work/err" ||
  fail "no lines in the genuine log: $(head -n 12 "$work/err")"
if grep -q '^I/CHIGENDERAGE: ' "$work/err"; then fail "the stand-in printed the log"; fi
"$build/nodecheck" "$build/com.qti.node.brodaxgenderage.so" --device "$device" --limit 200 >"$work/checks" ||
  fail "$(cat "$work/checks")"

echo "the genuine headers and libraries agree with ours; the table is the same with both"
