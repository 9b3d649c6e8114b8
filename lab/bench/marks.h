// SPDX-License-Identifier: Apache-2.0
// Marks in a program's run, between which the counting plugin (bench/insncount.c) counts a thread's
// instructions. Without the plugin they do nothing. The plugin knows them by their names.
#ifndef ZY_BENCH_MARKS_H_
#define ZY_BENCH_MARKS_H_

extern "C" {

// A region of the calling thread, counted whole. Regions of one thread do not nest.
void insncount_begin();
void insncount_end();

// Inside a region: what runs between these two is counted apart as well.
void insncount_apart();
void insncount_rejoin();

}  // extern "C"

#endif  // ZY_BENCH_MARKS_H_
