#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares docs/camsim.md with the program: its options, and the keys of its JSON lines; and the README with
# what the demo prints.
# usage: camsim_doc_test.sh SOURCE_DIRECTORY CAMSIM...   (the program, with an emulator before it where there is one)
set -euo pipefail
page=$1/docs/camsim.md
camsim=("${@:2}")
failed=0

same() { # what, the page's, the program's
  [ -n "$2" ] && [ "$2" = "$3" ] && return
  echo "FAIL $1: the page (<) and the program (>) differ:"
  diff <(echo "$2") <(echo "$3") || true
  failed=1
}

# The names in backquotes in a column of the rows of a section's tables.
names() { # section, column
  awk -v section="## $1" -F'|' '/^## / { on = $0 == section } on && /^\|/ { print $'"$2"' }' "$page" |
    grep -o '`[^`]*`' | tr -d '`' | sed 's/ .*//' | LC_ALL=C sort
}

same "options" "$(awk '/^## Options/ { on = 1; next } /^## / { on = 0 } on && /^\|/' "$page" | grep -o '`--[a-z-]*' | tr -d '`' | LC_ALL=C sort -u)" \
  "$("${camsim[@]}" --help | grep -E '^  (-h,)?--' | grep -oE -e '--[a-z-]+' | LC_ALL=C sort -u)"

lines=$("${camsim[@]}" --requests 1 --size 64x64 --realtime --annotated none --jsonl - 2>/dev/null)
# Keys of the outermost level: values are made into 0 from the inside out.
keys=$(sed -E 's/^\{(.*)\}$/\1/; :a; s/\{[^{}]*\}|\[[^][{}]*\]/0/; ta' <<<"$lines" | grep -oE '"[a-z_]+":' | tr -d '":' | LC_ALL=C sort)
same "keys of the JSON lines" "$(names "JSON lines" 2)" "$keys"

shown=$(awk '/slot 0/ { on = 1 } /^annotated/ { on = 0 } on' "$1/README.md")
printed=$("${camsim[@]}" --annotated none)
while IFS= read -r line; do
  [ "$line" = ... ] || grep -qxF -e "$line" <<<"$printed" || { echo "FAIL the demo does not print: $line"; failed=1; }
done <<<"$shown"
[ "$(wc -l <<<"$shown")" -ge 6 ] || { echo "FAIL the README shows no demo"; failed=1; }

[ "$failed" -eq 0 ] && echo "docs/camsim.md names what camsim has"
exit "$failed"
