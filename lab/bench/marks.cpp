// SPDX-License-Identifier: Apache-2.0
#include "bench/marks.h"

// Functions in a separate file, so that calls are not inlined.
void insncount_begin() {}
void insncount_end() {}
void insncount_apart() {}
void insncount_rejoin() {}
