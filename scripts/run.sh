# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: builds the programs and runs demonstrations.

dev_build() {
  at_most 0 "$@"
  need_build
  build host camsim camkit nodecheck
  cat <<TXT
build/host/camsim       the simulator
build/host/camkit       the kits on a picture
build/host/nodecheck    the checks of any node
$node_of_host    the node
build/host/device/      the fakes of the device's libraries
TXT
}

# Runs in the caller's folder, so that relative paths work.
dev_demo() {
  need_build
  build host camsim
  local argument picture annotated
  picture=$(realpath --relative-to="$caller" build/host/camsim.png)
  annotated=(--annotated "$picture")
  for argument in "$@"; do
    case "$argument" in --annotated | --annotated=*) annotated=() ;; esac
  done
  (cd "$caller" && "$root/build/host/camsim" "${annotated[@]}" "$@")
}

dev_picture() {
  at_most 0 "$@"
  need_build
  build host camsim
  build/host/camsim --size 960x540 --annotated docs/demo.png >/dev/null
}

# Removes the parts of a recording's header that change from build to build.
dev_goldens() {
  at_most 0 "$@"
  need_build
  build host camsim
  local script
  for script in tests/golden/*.script.jsonl; do
    build/host/camsim --script "$script" --annotated none --jsonl - 2>/dev/null |
      sed -E '1s/"node":.*"input"/"input"/' >build/golden.jsonl
    mv build/golden.jsonl "${script%.script.jsonl}.jsonl"
  done
  git diff --stat -- tests/golden
}

dev_page() {
  at_most 1 "$@"
  local picture=""
  [ $# -eq 0 ] || picture=$(from_caller "$1")
  need_build
  need chromium fonts-dejavu-core
  build host camsim
  tests/page_test.py . build/host/camsim chromium ${picture:+"$picture"}
}
