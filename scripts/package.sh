# SPDX-License-Identifier: Apache-2.0
# Part of ./dev: packages.

dev_package() {
  at_most 0 "$@"
  need_build
  build host camsim camkit nodecheck
  rm -rf build/packages
  if ! cpack --config build/host/CPackConfig.cmake -B build/packages >build/package.log 2>&1; then
    tail -n 20 build/package.log >&2
    fail 1 "cpack failed; the whole log is in build/package.log"
  fi
  rm -rf build/packages/_CPack_Packages
  ls build/packages/*
}
