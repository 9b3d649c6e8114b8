// SPDX-License-Identifier: Apache-2.0
#include "bench/marks.h"

// Functions of their own in a file of its own, so that a call stays a call.
void insncount_begin() {}
void insncount_end() {}
void insncount_apart() {}
void insncount_rejoin() {}
