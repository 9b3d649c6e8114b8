#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Keeps Android.bp honest: its source lists are those of CMakeLists.txt, and every file exists.
# usage: android_bp_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"
failed=0

# The files named in a module of Android.bp, by the module's name.
blueprint_sources() {
  awk -v name="$1" '
    /^[a-z_]+ \{/ { block = ""; }
    { block = block $0 "\n" }
    /^\}/ { if (index(block, "name: \"" name "\"")) printf "%s", block }' Android.bp |
    grep -oE '"[a-z_/0-9]+\.cpp"' | tr -d '"' | LC_ALL=C sort
}

# The files of a room in CMakeLists.txt.
room_sources() {
  awk -v room="$1" '$0 ~ "^zy_room\\(" room "$" { on = 1; next } on { print } on && /\)/ { exit }' CMakeLists.txt |
    tr -d ' )' | LC_ALL=C sort
}

same() { # what, one list, the other
  if [ -z "$2" ] || [ "$2" != "$3" ]; then
    echo "FAIL the sources of $1 differ:"
    diff <(echo "$2") <(echo "$3") || true
    failed=1
  fi
}

same zy_image "$(room_sources zy_image)" "$(blueprint_sources zy_image)"
same zy_sharpen "$(room_sources zy_sharpen)" "$(blueprint_sources zy_sharpen)"
same com.qti.node.brodaxgenderage \
  "$({ room_sources zy_analysis; room_sources zy_node; } | LC_ALL=C sort)" \
  "$(blueprint_sources com.qti.node.brodaxgenderage)"
same "the shared libraries" "$(grep -oE '^zy_stand_in\([A-Za-z_]+' CMakeLists.txt | sed 's/.*(/lib/' | LC_ALL=C sort)" \
  "$(sed -n '/shared_libs/,/\]/p' Android.bp | grep -oE '"lib[A-Za-z_]+' | tr -d '"' | LC_ALL=C sort)"
while read -r file; do
  [ -e "$file" ] || { echo "FAIL Android.bp names $file, which is not there"; failed=1; }
done < <(grep -oE '"[a-zA-Z_/0-9]+\.(cpp|map)"|"LICENSE"' Android.bp | tr -d '"')

[ "$failed" -eq 0 ] && echo "Android.bp names what CMakeLists.txt names"
exit "$failed"
