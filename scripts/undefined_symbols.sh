#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Lists, demangled, what a built node library expects from the device, without the C and C++ runtime.
# usage: undefined_symbols.sh LIBRARY
set -euo pipefail
nm -D -u -C "$1" | sed 's/^ *[Uw] //' |
  grep -E '^(ChiNodeUtils|FaceGrade|QVAG_|__android_log|property_|systemTime)' | LC_ALL=C sort
