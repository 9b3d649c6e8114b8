# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: short and long tests.

dev_test() {
  at_most 1 "$@"
  if [ $# -eq 0 ]; then
    need_build
    build host
    ctest --preset host
  elif test_names '\w+' | grep -qF -e "$1"; then
    run_named "$1"
  else
    run_cases "$1"
  fi
}

# Prints the names of the CMake tests that a function of tests/ adds, from the sources alone.
test_names() { # regular expression of the function's name
  cat tests/CMakeLists.txt tests/fuzz/CMakeLists.txt |
    sed -nE "s/^ *($1)\((NAME )?([a-z]\w+).*/\1 \3/p" |
    sed -nE 's/^zy_fuzz (.*)/\1_replay/p; s/^(zy_test|zy_python_test|add_test) //p'
}

# Builds everything only for a test of several programs.
run_named() { # text
  local named programs
  named=$(test_names '\w+' | grep -F -e "$1")
  programs=$(test_names zy_test | grep -F -e "$1" || true)
  need_build
  # shellcheck disable=SC2086
  if [ "$named" = "$programs" ] && has_networks "$programs"; then build host $programs; else build host; fi
  ctest --preset host -R "$1"
}

# models_test exists only after ./dev models.
has_networks() { # programs
  ! grep -qx models_test <<<"$1" || grep -q '^ZY_MODELS:BOOL=ON' build/host/CMakeCache.txt 2>/dev/null
}

# Runs the GoogleTest cases whose name, as "Suite.Case", contains the text. A program has its source's name.
run_cases() { # text
  local file program programs=() failed=0
  for file in tests/*_test.cpp; do
    program=$(basename "$file" .cpp)
    sed -nE 's/^TEST(_[FP])?\((\w+), (\w+)\).*/\2.\3/p; s/^INSTANTIATE_TEST_SUITE_P\((\w+), (\w+).*/\1\/\2/p' \
      "$file" | grep -qF -e "$1" && has_networks "$program" && programs+=("$program")
  done
  [ ${#programs[@]} -gt 0 ] || fail 2 "test: no test and no case has a name with $1"
  need_build
  build host "${programs[@]}"
  for program in "${programs[@]}"; do
    "build/host/$program" --gtest_brief=1 --gtest_filter="*$1*" || failed=1
  done
  return "$failed"
}

# Compares the Arm camsim with the host's. clang builds everything, as for devices; g++ builds the
# kernels, whose digests are compared.
dev_arm64() {
  at_most 0 "$@"
  need_build
  need_arm64
  build host camsim
  build arm64
  ctest --preset arm64
  build arm64-gcc zyselftest
  qemu-aarch64 build/arm64-gcc/zyselftest
}

# Starts from the committed corpus; stores new inputs beside the findings.
dev_fuzz() {
  at_most 1 "$@"
  numbers 1000000000 "$@"
  local seconds=${1:-60} failed=0
  need_build
  need clang libclang-rt-14-dev
  build fuzz fuzz_node_fuzzer fuzz_kits_fuzzer fuzz_pictures_fuzzer fuzz_run_fuzzer
  fuzz_one fuzz_node "$seconds" -max_len=600 || failed=1
  fuzz_one fuzz_kits "$seconds" -max_len=64 || failed=1
  fuzz_one fuzz_pictures "$seconds" -max_len=4096 -dict=tests/fuzz/fuzz_pictures.dict || failed=1
  fuzz_one fuzz_run "$seconds" -max_len=2000 -dict=tests/fuzz/fuzz_pictures.dict -close_fd_mask=2 || failed=1
  [ "$failed" -eq 0 ] || echo "dev: findings are in build/fuzz/findings" >&2
  return "$failed"
}

fuzz_one() { # target, seconds, options
  local target=$1 seconds=$2 found=build/fuzz/findings/$1 kept=build/fuzz/corpus/$1
  echo "== $target"
  mkdir -p "$found" "$kept"
  "build/fuzz/${target}_fuzzer" -max_total_time="$seconds" -verbosity=0 -print_final_stats=1 \
    -artifact_prefix="$found/" "${@:3}" "$kept" "tests/fuzz/corpus/$target"
}

dev_soak() {
  at_most 2 "$@"
  numbers 1000000000000 "$@"
  need_build
  build host nodecheck
  build/host/nodecheck "$node_of_host" --soak "${1:-10000000}" --lives "${2:-10000}"
}

dev_races() {
  at_most 1 "$@"
  numbers 500000000 "$@"
  local rounds=${1:-500}
  need_build
  need clang libclang-rt-14-dev
  build tsan race_test nodecheck
  export TSAN_OPTIONS="suppressions=$PWD/cmake/tsan_suppressions.txt:halt_on_error=1"
  ZY_RACE_ROUNDS=$rounds build/tsan/race_test
  build/tsan/nodecheck build/tsan/com.qti.node.brodaxgenderage.so \
    --soak $((rounds * 2000)) --lives $((rounds * 10))
}

need_android() {
  need_build
  need android-liblog android-libutils android-liblog-dev android-libutils-dev android-libcutils-dev
}

dev_android_libraries() {
  at_most 0 "$@"
  need_android
  build host camsim nodecheck
  python3 -B tests/android_libraries_test.py . build/host
}

# Deletes the counters of an earlier run. They are atomic, because the worker's thread counts too.
dev_coverage() {
  at_most 0 "$@"
  need_build
  need gcovr
  build coverage
  find build/coverage -name '*.gcda' -delete
  # The package test builds a program without the counters.
  ctest --preset coverage -E '^package$' >build/coverage/test.log || { tail -n 40 build/coverage/test.log; return 1; }
  local report=(gcovr -r . build/coverage --exclude-throw-branches --exclude-unreachable-branches
    -f 'src/(node|analysis|image|sharpen|base)/')
  "${report[@]}"
  "${report[@]}" --branches
}

dev_mutate() {
  need python3
  python3 -B scripts/mutate.py . build/mutate "$@" --list >/dev/null
  need_build
  python3 -B scripts/mutate.py . build/mutate "$@"
}
