# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: the checks of a submission. Two lanes of steps run in parallel: one builds and analyses,
# the other tests and builds little. A lane continues after a failed step.

busy_steps=(format asan_build tsan_build arm64_build cppcheck tidy)
test_steps=(protocol android_libraries page faces asan_tests tsan_tests arm64_tests counts)
check_logs=build/check

dev_check() {
  at_most 0 "$@"
  need_android
  need_arm64
  need_models
  need clang clang-format clang-tidy cppcheck libclang-rt-14-dev spin gcc libc6-dev chromium fonts-dejavu-core
  rm -rf "$check_logs"
  mkdir -p "$check_logs"
  build host camsim nodecheck || return 1
  trap 'trap "" INT TERM; kill 0; exit 130' INT TERM
  check_lane "${busy_steps[@]}" &
  check_lane "${test_steps[@]}"
  wait
  local step failed=()
  for step in "${busy_steps[@]}" "${test_steps[@]}"; do
    grep -qxE '0|77' "$check_logs/$step.status" || failed+=("$step")
  done
  [ ${#failed[@]} -eq 0 ] || fail 1 "after $SECONDS s these steps failed: ${failed[*]}; their logs are in $check_logs"
  echo "all checks passed after $SECONDS s"
}

check_lane() { # steps
  local step
  for step in "$@"; do check_step "$step"; done
}

# Runs a step. Status 77 of its last command means that an input is not available here.
check_step() { # step
  local log=$check_logs/$1.log start=$SECONDS status=0 verdict
  (set -e; "check_$1") >"$log" 2>&1 </dev/null &
  wait $! || status=$?
  case "$status" in
    0) verdict=ok ;;
    77) verdict="NOT CHECKED: $(tail -n 1 "$log")" ;;
    *) verdict="FAILED: $(printf '\n' && tail -n 40 "$log")" ;;
  esac
  printf '%5d s  %-17s %s\n' $((SECONDS - start)) "$1" "$verdict"
  echo "$status" >"$check_logs/$1.status"
}

# Waits for a step of the other lane that builds the caller's input.
check_after() { # step
  until [ -s "$check_logs/$1.status" ]; do sleep 0.2; done
  grep -qx 0 "$check_logs/$1.status" || { echo "not run, because $1 failed"; return 1; }
}

sources() {
  git ls-files -- '*.h' '*.cpp'
}

check_format() {
  sources | xargs clang-format --dry-run -Werror
}

check_asan_build() { build asan; }
check_tsan_build() { build tsan; }

# clang builds everything, as for devices; g++ builds the kernels, whose digests are compared.
check_arm64_build() {
  build arm64
  build arm64-gcc zyselftest
}

check_asan_tests() {
  check_after asan_build
  ctest --preset asan
}

check_tsan_tests() {
  check_after tsan_build
  ctest --preset tsan
}

check_arm64_tests() {
  check_after arm64_build
  ctest --preset arm64
  qemu-aarch64 build/arm64-gcc/zyselftest
}

check_counts() {
  check_after arm64_build
  bench_arm64 --check
}

check_protocol() { scripts/check_worker_protocol.sh; }
check_android_libraries() { python3 -B tests/android_libraries_test.py . build/host; }
check_page() { tests/page_test.py . build/host/camsim chromium; }

# Every file that is compiled, and those of a folder together. The analyzer, which follows every path, runs over
# what ships, the folders that everything builds on, and the readers of recordings. To it, the files of a folder
# are headers. The readers' other checks run with their folder. Without the precompiled header, the compiler finds a
# test that includes too little.
check_tidy() {
  local compiled single='^(src|lab/(device|framework))/' folder='^build/clang/lab/(common|framework|media)/'
  cmake --preset clang -DZY_MODELS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON
  compiled=$(grep -oE '"file": "[^"]*"' build/clang/compile_commands.json | cut -d'"' -f4 | sed "s|^$PWD/||" | sort -u)
  local no_includes=--checks=-bugprone-suspicious-include
  local in_headers='--extra-arg=-Xclang --extra-arg=-analyzer-opt-analyze-headers'
  { # a line of arguments for each run, runs of the analyzer first
    grep -E "$folder" <<<"$compiled" | sed "s/\$/ $no_includes $in_headers/"
    printf 'lab/record/%s.cpp --checks=-bugprone-* -- -std=c++17 -Isrc -Ilab -Ibuild/clang/lab/record/text\n' \
      recording comparison
    grep -E "$single" <<<"$compiled"
    grep -vE "$single|$folder" <<<"$compiled" | sed "s/\$/ $no_includes,-clang-analyzer-*/"
  } | xargs -P "$jobs" -L 1 clang-tidy --quiet -p build/clang
}

# Suppresses right shifts of negative values, which every compiler of this project floors and the
# vector rows need, three pointers passed by value, and the framework's signatures.
check_cppcheck() {
  cppcheck --quiet --enable=warning,style,performance,portability --std=c++17 --language=c++ \
    --platform=unix64 -I src --error-exitcode=1 --suppress=shiftNegativeLHS --suppress=passedByValue \
    --suppress=constParameter --suppress=missingIncludeSystem src
}

# Downloads networks and photographs, which may be impossible here.
check_faces() {
  if { check_models "$models_cache" 2>/dev/null || fetch_models; } && free_photographs; then
    dev_faces --check
    build host models_test
    build/host/models_test --gtest_brief=1
  else
    echo "networks and photographs cannot be fetched"
    return 77
  fi
}

dev_format() {
  at_most 0 "$@"
  need clang-format
  sources | xargs clang-format -i
}
