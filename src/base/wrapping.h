// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_BASE_WRAPPING_H_
#define ZY_BASE_WRAPPING_H_

#include <cstdint>

namespace base {

// Returns a + b modulo 2^32, for edges of a rectangle from untrusted metadata. Any thread.
inline int32_t WrappingSum(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

}  // namespace base

#endif  // ZY_BASE_WRAPPING_H_
