// SPDX-License-Identifier: Apache-2.0
// Compares the kernels of image, sharpen and analysis with their plain formulas, at all sizes and
// pitches, and checks that no other byte is read or written.
#include "tests/kernel_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  const char* const broken = script.Pick(testing_support::kKernelKinds).call(script);
  fuzz::Require(broken == nullptr, broken);
  return 0;
}
