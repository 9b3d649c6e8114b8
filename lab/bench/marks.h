// SPDX-License-Identifier: Apache-2.0
// Marks between which the counting plugin (bench/insncount.c) counts a thread's instructions. It
// finds them by name. Without the plugin they do nothing.
#ifndef ZY_BENCH_MARKS_H_
#define ZY_BENCH_MARKS_H_

extern "C" {

// Begins and ends a region of the calling thread. Regions of one thread do not nest.
void insncount_begin();
void insncount_end();

// Excludes a part of a region: instructions between these two are also counted separately.
void insncount_apart();
void insncount_rejoin();

}  // extern "C"

#endif  // ZY_BENCH_MARKS_H_
