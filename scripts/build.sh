# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: arguments, packages and builds, for all commands.

jobs=$(nproc)
node_of_host=build/host/com.qti.node.brodaxgenderage.so

fail() { # exit status, message
  echo "dev: ${*:2}" >&2
  exit "$1"
}

# Refuses more arguments than the given number.
at_most() { # number, the arguments
  [ $(($# - 1)) -le "$1" ] || fail 2 "$command: does not take ${*:$(($1 + 2))} (see ./dev help)"
}

# Refuses arguments that are not whole numbers from 1. Bash would take others as 0, in octal, or wrap them round.
numbers() { # largest number, the arguments
  local argument
  for argument in "${@:2}"; do
    [[ $argument =~ ^[1-9][0-9]{0,14}$ && $argument -le $1 ]] ||
      fail 2 "$command: $argument is not a number from 1 to $1"
  done
}

# Prints a path that is relative to the caller's folder as an absolute one. Only its last part may be missing.
from_caller() { # path
  (cd "$caller" && realpath -q -- "$1") || fail 2 "$command: there is no folder for $1"
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Waits up to a minute for another program that holds the package database.
apt_get() {
  local log=build/packages.log start=$SECONDS said=""
  mkdir -p build
  until as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -qq "$@" >"$log" 2>&1; do
    if ! grep -q 'Could not get lock' "$log" || [ $((SECONDS - start)) -ge 60 ]; then
      grep '^E:' "$log" >&2 || tail -n 5 "$log" >&2
      fail 1 "apt-get $1 failed; the whole log is in $log"
    fi
    [ -n "$said" ] || echo "waiting for another program that holds the package database" >&2
    said=yes
    sleep 2
  done
}

# Installs missing packages, and removes none for them.
need() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  echo "installing: ${missing[*]}" >&2
  apt_get update
  apt_get install -y --no-install-recommends --no-remove "${missing[@]}"
}

need_build() {
  need g++ cmake ninja-build pkg-config libsimde-dev libpng-dev libturbojpeg0-dev libcli11-dev \
    nlohmann-json3-dev libgtest-dev binutils dpkg-dev file python3
}

# Installs the cross compilers, the emulator, and the other machine's libraries with its C++ runtime.
need_arm64() {
  if ! dpkg --print-foreign-architectures | grep -qx arm64; then
    echo "adding the foreign architecture arm64 to this machine's packages" >&2
    as_root dpkg --add-architecture arm64 || fail 1 "dpkg cannot add the architecture arm64"
  fi
  need clang-19 g++-aarch64-linux-gnu qemu-user clang libjpeg-turbo-progs \
    libstdc++6:arm64 libgtest-dev:arm64 libpng-dev:arm64 libturbojpeg0-dev:arm64
}

# Configures a preset and builds the given targets or the preset's; a terminal shows the progress. A build
# waits for another one of its preset.
build() { # preset, targets
  local preset=$1 log=build/$1/build.log targets=()
  [ $# -eq 1 ] || targets=(--target "${@:2}")
  mkdir -p "build/$preset"
  [ -t 2 ] || echo "building preset $preset; the log is $log" >&2
  if ! { flock 9 && cmake --preset "$preset" && cmake --build --preset "$preset" -j "$jobs" "${targets[@]}"; } 2>&1 \
    9>"build/$preset/lock" | tee "$log" | show_counter "$preset"; then
    tail -n 60 "$log" >&2
    echo "dev: building preset $preset failed; the whole log is in $log" >&2
    return 1
  fi
}

show_counter() { # preset
  if [ ! -t 2 ]; then cat >/dev/null && return; fi
  local line
  while IFS= read -r line; do
    [[ $line =~ ^\[[0-9]+/[0-9]+\] ]] && printf '\r\033[Kbuilding preset %s: %s' "$1" "${BASH_REMATCH[0]}" >&2
  done
  printf '\r\033[K' >&2
}
