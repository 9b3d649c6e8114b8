#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks the model of the worker's hand-over, docs/worker_protocol.pml, in every configuration: the
# unchanged protocol must hold, and each tempting simplification must fail for the known reason.
# Prints one line per configuration. Exit status 0: every outcome as expected; 1: not; 77: spin or
# the C compiler is missing. Takes a few seconds.
set -euo pipefail

model=$(cd "$(dirname "${BASH_SOURCE[0]}")/../docs" && pwd)/worker_protocol.pml
compiler=${CC:-cc}
for tool in spin "$compiler"; do
  command -v "$tool" >/dev/null || { echo "$0: $tool is not installed" >&2; exit 77; }
done
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

failures=0

# search SAFETY|LIVENESS SPIN_OPTION...: writes the verifier's report to the file `report`.
search() {
  local kind=$1
  shift
  rm -f pan* report
  spin -a "$@" "$model" >spin.log || { cat spin.log >&2; return 1; }
  # Breadth first finds the shortest path to a fault, so the reason is the first error.
  case $kind in
    SAFETY)
      "$compiler" -DSAFETY -DNOCLAIM -DBFS -DNOREDUCE -o pan pan.c
      ./pan >report 2>&1 || true ;;
    LIVENESS)
      "$compiler" -DNOREDUCE -o pan pan.c
      ./pan -a -m1000000 >report 2>&1 || true ;;
  esac
}

# A pass counts only if the search was complete and took every step of every thread.
passed() {
  grep -q 'errors: 0$' report &&
    ! grep -qE 'Search not completed|max search depth|out of memory' report &&
    ! grep -A2 'unreached in proctype' report | grep 'state [0-9]' >/dev/null
}

# check TITLE KIND REASON SPIN_OPTION...: an empty REASON means that the configuration must pass.
check() {
  local title=$1 kind=$2 reason=$3 outcome
  shift 3
  search "$kind" "$@"
  if [[ -z $reason ]] && passed; then
    outcome="passes, $(grep -oE '[0-9]+ states, stored' report | cut -d' ' -f1) states"
  elif [[ -n $reason ]] && grep -qF "pan:1: $reason" report; then
    outcome="fails as expected: $reason"
  else
    outcome="UNEXPECTED, wanted: ${reason:-a pass}"
    failures=$((failures + 1))
  fi
  printf '%-44s %s\n' "$title" "$outcome"
  [[ $outcome != UNEXPECTED* ]] || sed 's/^/    /' report
}

for threads in 1 2; do
  check "protocol, $threads request thread(s)" SAFETY '' "-DREQUEST_THREADS=$threads"
  check "worker ends, $threads request thread(s)" LIVENESS '' "-DREQUEST_THREADS=$threads"
done
check 'UNLOCK_DATA_EARLY, 1 request thread(s)' SAFETY '' -DREQUEST_THREADS=1 -DUNLOCK_DATA_EARLY
check 'UNLOCK_DATA_EARLY, 2 request thread(s)' SAFETY 'assertion violated (touching==0)' \
  -DREQUEST_THREADS=2 -DUNLOCK_DATA_EARLY
for threads in 1 2; do
  check "DATA_LOCK_AFTER_FLAG, $threads request thread(s)" SAFETY 'invalid end state' \
    "-DREQUEST_THREADS=$threads" -DDATA_LOCK_AFTER_FLAG
done

if [[ $failures -ne 0 ]]; then
  echo "$failures configuration(s) had an unexpected outcome" >&2
  exit 1
fi
