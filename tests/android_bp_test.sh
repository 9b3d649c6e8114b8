#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Keeps Android.bp honest: its sources and flags are those of CMakeLists.txt, and every file exists.
# usage: android_bp_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"
failed=0

# A module of Android.bp, by its name.
blueprint_module() {
  awk -v name="$1" '
    /^[a-z_]+ \{/ { block = ""; }
    { block = block $0 "\n" }
    /^\}/ { if (index(block, "name: \"" name "\"")) printf "%s", block }' Android.bp
}

blueprint_sources() { blueprint_module "$1" | grep -oE '"[a-z_/0-9]+\.cpp"' | tr -d '"' | LC_ALL=C sort; }

blueprint_list() { # module, list
  blueprint_module "$1" | sed -n "/ $2: \[/,/\]/p" | grep -oE '"[^"]+"' | tr -d '"'
}

# The words of the first command of CMakeLists.txt that begins so, one a line.
cmake_arguments() { # extended regular expression
  awk -v begin="$1" '$0 ~ begin { on = 1 } on { print } on && /\)/ { exit }' CMakeLists.txt | sed 's/#.*//' | tr ' ()' '\n'
}

# Flags that change code, sorted; warnings are each build's own matter.
code_flags() { grep -E '^-[fmO]' | LC_ALL=C sort; }

# -Wl,-z,now,-z,text and -Wl,-z,now -Wl,-z,text are the same. The preset for the NDK adds force-bti.
linker_flags() { grep -E '^-Wl,' | sed 's/^-Wl,//; s/-z,/-z=/g' | tr ',' '\n' | grep -v -e version-script -e force-bti | LC_ALL=C sort; }

# The files of a room in CMakeLists.txt.
room_sources() {
  awk -v room="$1" '$0 ~ "^zy_room\\(" room "$" { on = 1; next } on { print } on && /\)/ { exit }' CMakeLists.txt |
    tr -d ' )' | LC_ALL=C sort
}

same() { # what, one list, the other
  if [ -z "$2" ] || [ "$2" != "$3" ]; then
    echo "FAIL $1: CMakeLists.txt and Android.bp differ:"
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
same "flags of every room" \
  "$({ cmake_arguments '^add_compile_options'; cmake_arguments '^set\(ZY_SHIPPING_OPTIONS';
    cmake_arguments '^ +list\(APPEND ZY_SHIPPING_OPTIONS'; } | code_flags)" \
  "$(blueprint_list brodax_node_defaults cflags | code_flags)"
same "flags of analysis/ alone" "$(cmake_arguments '^target_compile_options\(zy_analysis' | code_flags)" \
  "$(blueprint_list com.qti.node.brodaxgenderage cflags | code_flags)"
same "flags of the link" "$({ cmake_arguments '^target_link_options\(node'; cmake_arguments '^  target_link_options\(node PRIVATE -Wl'; } | linker_flags)" \
  "$(blueprint_list com.qti.node.brodaxgenderage ldflags | linker_flags)"
while read -r file; do
  [ -e "$file" ] || { echo "FAIL Android.bp names $file, which is not there"; failed=1; }
done < <(grep -oE '"[a-zA-Z_/0-9]+\.(cpp|map)"|"LICENSE"' Android.bp | tr -d '"')

[ "$failed" -eq 0 ] && echo "Android.bp says what CMakeLists.txt says"
exit "$failed"
