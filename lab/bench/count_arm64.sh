#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Counts the Arm instructions of the kernels, their peers and the request path under an emulator.
# usage: count_arm64.sh BUILD PEERS COMMITTED [--check | --update]
#   BUILD      build directory of preset arm64 or arm64-gcc with insncount_selftest, request_bench and
#              kernel_bench, or for --check and --update zyselftest
#   PEERS      the folder of unpack_arm64_peers.sh; may be missing
#   COMMITTED  the committed counts of that compiler
#   --check    fails when a count is more than 3 percent over the committed one
#   --update   writes the committed counts
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1 peers=$2 committed=$3 mode=${4:-}
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$build/CMakeCache.txt")
case "$compiler" in
  *clang*) off_cadence=1320 ;;
  *) off_cadence=1640 ;;
esac
tolerance=1.03
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Runs a program under the plugin and joins its lines with the plugin's regions, which have the same
# order: LINE<tab>PROCESSOR<tab>WHOLE<tab>APART.
count() {
  local program=$build/$1 libraries=$peers/usr/lib/aarch64-linux-gnu
  shift
  qemu-aarch64 -cpu neoverse-n1 -E LD_BIND_NOW=1 \
    -E "LD_LIBRARY_PATH=$libraries:$libraries/blas:$libraries/lapack" \
    -plugin "$work/insncount.so,out=$work/regions" "$program" "$@" >"$work/lines"
  if [ "$(wc -l <"$work/lines")" -ne "$(wc -l <"$work/regions")" ]; then
    echo "count_arm64: the plugin's regions do not match the program's lines" >&2
    return 1
  fi
  tr ' ' '\t' <"$work/regions" | paste "$work/lines" -
}

# Checks the counter on regions of known length; a few instructions are the calls of the marks.
check_counter() {
  count insncount_selftest | awk -F'\t' '
    $4 < $1 || $4 > $1 + 40 || $5 < $2 || $5 > $2 + 10 { print "wrong count: " $0; failed = 1 }
    END { exit failed || NR != 4 }' >&2
}

# Prints the median count of each kind of request: KIND<tab>WHOLE<tab>APART.
request_medians() {
  count request_bench --count "$build/com.qti.node.brodaxgenderage.so" |
    awk -F'\t' '$2 != "-" { print $1 ", " $2 "\t" $4 "\t" $5 }' |
    sort -t"$(printf '\t')" -k1,1 -k2,2n |
    awk -F'\t' '
      function flush() { if (rows) print middle[int((rows + 1) / 2)]; rows = 0 }
      $1 != kind { flush(); kind = $1 }
      { middle[++rows] = $0 }
      END { flush() }'
}

print_tables() {
  "$compiler" --version | head -n 1
  printf '%-48s %-25s %12s %9s %7s\n' "kernel, 1920x1080" by instructions "per pixel" target
  awk -F'\t' '{
    verdict = $4 == "-" ? "" : $6 / $3 <= $4 ? "met" : "MISSED"
    printf "%-48s %-25s %12d %9.4f %7s %s\n", $1, $2, $6, $6 / $3, $4, verdict
  }' "$work/kernels"
  printf '\n%-48s %12s %12s %12s\n' "process-request, request thread" node framework both
  awk -F'\t' -v off_cadence="$off_cadence" '
    { printf "%-48s %12d %12d %12d\n", $1, $2 - $3, $3, $2; own[$1] = $2 - $3 }
    function judge(text, met) { print text (met ? "met" : "MISSED") }
    END {
      split("1920x1080 3840x2160", frames, " ")
      for (i = 1; i in frames; ++i) {
        off = own[frames[i] ", off the cadence"]
        ratio = own[frames[i] ", on it, taken"] / own[frames[i] ", straight copy of the frame"]
        judge(frames[i] ": off the cadence " off ", target " off_cadence ": ", off <= off_cadence)
        judge(sprintf("%s: taken to its straight copy %.3f, target 1.1: ", frames[i], ratio),
              ratio <= 1.1)
      }
    }' "$work/requests"
}

# Prints the lines to commit: INSTRUCTIONS<tab>NAME.
own_counts() {
  awk -F'\t' '$2 ~ /^(vector|scalar|plain|rows)$/ { print $6 "\t" $1 " [" $2 "]" }' \
    "$work/kernels"
  awk -F'\t' '{ print $2 - $3 "\trequest, " $1 }' "$work/requests"
}

check() {
  own_counts | awk -F'\t' -v tolerance="$tolerance" '
    /^#/ { next }
    NR == FNR { committed[$2] = $1; next }
    !($2 in committed) { print "not in the committed counts: " $2; failed = 1; next }
    {
      if ($1 > committed[$2] * tolerance) { print "more than committed: " $0 " (" committed[$2] ")"; failed = 1 }
      if ($1 < committed[$2] / tolerance) print "fewer than committed, update them: " $0 " (" committed[$2] ")"
      delete committed[$2]
      ++compared
    }
    END {
      for (what in committed) { print "no longer counted: " what; failed = 1 }
      print compared + 0 " counts compared with the committed ones"
      exit failed || compared == 0
    }' "$committed" -
}

update() {
  {
    echo "# Arm instructions of one run at 1920x1080, and of one request. Written by"
    echo "# ./dev bench --arm64 --update with $("$compiler" --version | head -n 1)."
    own_counts
  } >"$committed"
  echo "wrote $committed"
}

case "$mode" in
  "") kernels=kernel_bench result=print_tables ;;
  --check) kernels=zyselftest result=check ;;
  --update) kernels=zyselftest result=update ;;
  *)
    echo "usage: count_arm64.sh BUILD PEERS COMMITTED [--check | --update]" >&2
    exit 2
    ;;
esac
gcc -O2 -Wall -Wextra -shared -fPIC -o "$work/insncount.so" "$here/insncount.c"
check_counter
count "$kernels" --count >"$work/kernels"
request_medians >"$work/requests"
"$result"
