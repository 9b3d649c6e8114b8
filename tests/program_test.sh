# SPDX-License-Identifier: Apache-2.0
# Sourced by tests that run programs: from here on they work in an empty folder, which goes with them.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0

fail() {
  echo "FAIL $*"
  failed=1
}

# Runs a program; standard output to out, standard error to err.
expect() { # exit status, program, arguments
  local expected=$1 status=0
  shift
  "$@" >out 2>err || status=$?
  [ "$status" -eq "$expected" ] || fail "exit status $status, not $expected: $* ($(head -c 2000 err out))"
}

finish() { # what is said when nothing failed
  [ "$failed" -eq 0 ] && echo "$*"
  exit "$failed"
}
