# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: times on this machine, and counts of Arm instructions.

dev_bench() {
  case "$# $*" in
    "1 --arm64" | "2 --arm64 --check" | "2 --arm64 --update") bench_arm64 "${@:2}" ;;
    *" -"*) fail 2 "usage: ./dev bench [NAME], or ./dev bench --arm64 [--check | --update]" ;;
    *) at_most 1 "$@" && bench_host "$@" ;;
  esac
}

bench_host() { # part of a kernel's name
  [ $# -eq 0 ] || cut -f 2 lab/bench/arm64_counts_clang.txt | grep -qF -e "$1" ||
    fail 2 "bench: no kernel has a name with $1"
  need_build
  need clang libyuv-dev libopencv-core-dev libopencv-imgproc-dev
  build bench kernel_bench request_bench
  build/bench/kernel_bench --time "$@"
  build/bench/request_bench build/bench/com.qti.node.brodaxgenderage.so
}

# The peers are for the table alone.
bench_arm64() {
  need_build
  need_arm64
  if [ $# -eq 0 ]; then
    need libyuv-dev:arm64
    lab/bench/unpack_arm64_peers.sh build/arm64_peers ||
      echo "OpenCV for Arm cannot be unpacked here; the table leaves it out"
  fi
  bench_arm64_with arm64 lab/bench/arm64_counts_clang.txt "$@" &&
    bench_arm64_with arm64-gcc lab/bench/arm64_counts_gcc.txt "$@"
}

bench_arm64_with() { # preset, committed counts, --check or --update
  local kernels=kernel_bench # with the peers
  [ $# -eq 2 ] || kernels=zyselftest
  build "$1" "$kernels" request_bench insncount_selftest || return
  lab/bench/count_arm64.sh "build/$1" build/arm64_peers "${@:2}"
}
