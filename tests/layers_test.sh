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

check src/base 'base/'
check src/platform 'platform/'
check src/image 'image/|base/'
check src/sharpen 'sharpen/|base/'
check src/analysis 'analysis/|image/|base/|platform/'
check src/node 'node/|analysis/zy_preview\.h|image/zy_image_buffer\.h|base/|platform/'
check lab/common 'common/'
check lab/device 'device/|common/|platform/'
check lab/real_models 'real_models/|common/|platform/|device/control\.h'
check lab/media 'media/|common/|image/zy_image_buffer\.h'
check lab/framework 'framework/|common/|media/|platform/|node/log_lines\.h'
check lab/record 'record/|common/|framework/|media/|platform/'
check lab/camsim 'common/|camsim/|record/|framework/|media/|platform/|device/control\.h|real_models/find_faces\.h|image/zy_copy_buffer\.h'
check lab/nodecheck 'common/|nodecheck/|framework/|platform/|device/control\.h'
check lab/camkit 'common/|camkit/|media/|image/|sharpen/'

# One file chooses the vector header.
vector=$(grep -lE '#include <(simde/|arm_neon)' -r src | grep -v '^src/base/neon\.h$' || true)
[ -z "$vector" ] || { echo "FAIL vector headers are chosen by base/neon.h alone: $vector"; failed=1; }

# What the lab knows about this project's own node stands in one file.
own=$(grep -lE '#include "node/' -r lab | grep -v '^lab/framework/own_node\.h$' || true)
[ -z "$own" ] || { echo "FAIL the node's files are for lab/framework/own_node.h alone: $own"; failed=1; }

# One folder knows the form of a recording's lines; its json.h is its own.
json=$(grep -lE '#include (<nlohmann/|"record/json\.h")' -r src lab |
  grep -vE '^lab/(record/|real_models/age_gender_net\.cpp)' || true)
[ -z "$json" ] || { echo "FAIL the JSON library is for lab/record alone: $json"; failed=1; }

[ "$failed" -eq 0 ] && echo "the folders keep to themselves"
exit "$failed"
