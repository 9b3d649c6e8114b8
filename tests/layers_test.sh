#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Holds the line between the folders: each may include only what its row names.
# usage: layers_test.sh SOURCE_DIRECTORY
set -euo pipefail
cd "$1"
failed=0

# folder, what its #include "..." may begin with
check() {
  local folder=$1 allowed=$2 sources found
  sources=$(find $folder -name '*.h' -o -name '*.cpp')
  [ -n "$sources" ] || { echo "FAIL no sources in $folder"; failed=1; return; }
  found=$(grep -nHE '^#include "' $sources | grep -vE "#include \"($allowed)" || true)
  [ -z "$found" ] && return
  printf 'FAIL %s may include only %s:\n%s\n' "$folder" "$allowed" "$found"
  failed=1
}

check base 'base/'
check platform 'platform/'
check image 'image/|base/'
check sharpen 'sharpen/|base/'
check analysis 'analysis/|image/|base/|platform/'
check node 'node/|analysis/zy_preview\.h|image/zy_image_buffer\.h|base/|platform/'
check host 'host/|platform/'
check models 'models/|platform/|host/control\.h'
check pictures 'pictures/'
check framework 'framework/|pictures/|platform/'
check 'apps/*.h' 'apps/[a-z_]+\.h|pictures/|image/zy_image_buffer\.h'
check apps/camsim 'apps/[a-z_]+\.h|apps/camsim/|framework/|pictures/|platform/|host/control\.h|models/find_faces\.h|image/zy_copy_buffer\.h'
check apps/nodecheck 'apps/[a-z_]+\.h|apps/nodecheck/|framework/|platform/|host/control\.h|pictures/error\.h'
check apps/camkit 'apps/[a-z_]+\.h|apps/camkit/|pictures/|image/|sharpen/'

# One file chooses the vector header.
vector=$(grep -lE '#include <(simde/|arm_neon)' -r base platform image sharpen analysis node | grep -v '^base/neon\.h$' || true)
[ -z "$vector" ] || { echo "FAIL vector headers are chosen by base/neon.h alone: $vector"; failed=1; }

[ "$failed" -eq 0 ] && echo "the folders keep to themselves"
exit "$failed"
