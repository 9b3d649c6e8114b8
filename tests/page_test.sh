#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# A browser opens the page of a run without a complaint, needs nothing from elsewhere, and every plot has the
# points that the recording has.
# usage: page_test.sh CAMSIM CHROMIUM [PICTURE]   (a picture of the page's head, for docs/)
set -euo pipefail
camsim=$(realpath "$1")
chromium=$2
picture=${3:+$(realpath -m "$3")}
source "$(dirname "$0")/program_test.sh"

# As root a browser has no sandbox; what it says of buses and drivers is not the page's.
browse() {
  timeout 120 "$chromium" --headless --no-sandbox --disable-gpu --hide-scrollbars --enable-logging=stderr \
    --user-data-dir="$work/profile" "$@" "file://$work/run.html" 2>browser.log
  if grep CONSOLE browser.log; then fail "the browser complains"; fi
}

# Through a link, so that a picture of the page shows no folder of this machine.
ln -s "$(dirname "$camsim")" build
"$camsim" --node build/com.qti.node.brodaxgenderage.so --device build/device --requests 400 --annotated none --jsonl run.jsonl --report run.html >/dev/null
[ "$(stat -c %s run.html)" -lt 5000000 ] || fail "the page has $(stat -c %s run.html) bytes"
if grep -oE '(src|href)="[^"]{0,12}' run.html | grep -v '"data:image'; then fail "the page needs other files"; fi

# "slot 1 age 41" for each plot with points, once from the page that the browser has built, once from the run.
browse --dump-dom >dom.html
grep -oE 'slot [0-2] (gender|age|score|prop): [^<]*<|points="[^"]*"' dom.html |
  awk '/^slot/ { name = $1 " " $2 " " substr($3, 1, length($3) - 1) } /^points/ { print name, NF - 1 }' >shown
for slot in 0 1 2; do
  for figure in gender age score prop; do
    points=$(sed -E 's/.*"why":\[([^]]*)\].*/\1/' run.jsonl | tail -n +2 | cut -d, -f $((slot + 1)) | grep -c '^null$' || true)
    [ "$points" -eq 0 ] || echo "slot $slot $figure $points"
  done
done >recorded
[ -s recorded ] || fail "the recording has no figures"
diff shown recorded || fail "the plots do not show what was recorded"

browse --screenshot="$work/page.png" --window-size=900,1180
[ "$(head -c 4 page.png | tail -c 3)" = PNG ] || fail "no picture of the page"
[ -z "$picture" ] || cp page.png "$picture"

finish "a browser shows the page"
