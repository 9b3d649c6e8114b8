// SPDX-License-Identifier: Apache-2.0
// Regions of known length, on two threads in parallel, to check the counting plugin. Prints the
// expected counts, whole and apart, for each region, in no order.
#include <cstdint>
#include <cstdio>
#include <thread>

#include "bench/marks.h"

namespace {

// Executes two instructions per turn.
void Spin(uint64_t turns) {
  asm volatile(
      "1: subs %0, %0, #1\n"
      "b.ne 1b\n"
      : "+r"(turns)
      :
      : "cc");
}

void CountTwice(uint64_t turns) {
  for (int i = 0; i < 2; ++i) {
    insncount_begin();
    Spin(turns);
    insncount_apart();
    Spin(turns / 2);
    insncount_rejoin();
    insncount_end();
  }
}

}  // namespace

int main() {
  constexpr uint64_t kTurns = 2'000'000;
  std::thread other([] { CountTwice(kTurns); });
  CountTwice(kTurns);
  other.join();
  for (int i = 0; i < 4; ++i) {
    std::printf("%llu\t%llu\n", static_cast<unsigned long long>(3 * kTurns),
                static_cast<unsigned long long>(kTurns));
  }
  return 0;
}
