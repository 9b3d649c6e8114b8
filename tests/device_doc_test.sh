#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Keeps the generated parts of docs/device.md equal to the code.
# usage: device_doc_test.sh SOURCE_DIRECTORY LIBRARY RECORD_OFFSETS...
set -euo pipefail
source=$1
library=$2
shift 2
document=$source/docs/device.md
diff <("$@") <(sed -n '/^| record, member/,/^$/p' "$document" | sed '/^$/d')
diff <("$source/scripts/undefined_symbols.sh" "$library") <(sed -n '/^```$/,/^```$/p' "$document" | grep -v '^```')
echo "docs/device.md is as the code is"
