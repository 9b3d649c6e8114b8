// SPDX-License-Identifier: Apache-2.0
// The kernels of image, sharpen and analysis give what the plain formula gives, at all sizes and
// pitches, and touch nothing else.
#include "tests/kernel_calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  const char* const broken = script.Pick(testing_support::kKernelKinds).call(script);
  fuzz::Require(broken == nullptr, broken);
  return 0;
}
