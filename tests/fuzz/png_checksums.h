// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_TESTS_FUZZ_PNG_CHECKSUMS_H_
#define ZY_TESTS_FUZZ_PNG_CHECKSUMS_H_

#include <cstddef>
#include <cstdint>
#include <vector>

namespace fuzz {

// Corrects the checksums of a changed PNG's chunks, without which the decoder reads nothing.
inline void CorrectChecksums(std::vector<uint8_t>* png) {
  for (std::size_t at = 8; at + 12 <= png->size();) {
    const uint8_t* chunk = png->data() + at;
    const std::size_t body = chunk[2] * 256u + chunk[3];  // longer ones stay unchanged
    if (body > png->size() - at - 12) return;
    uint32_t sum = ~0u;
    for (std::size_t i = 4; i < 8 + body; ++i) {
      sum ^= chunk[i];
      for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum % 2 != 0 ? 0xedb88320u : 0u);
    }
    for (std::size_t i = 0; i < 4; ++i) {
      (*png)[at + 8 + body + i] = static_cast<uint8_t>(~sum >> (24 - 8 * i));
    }
    at += 12 + body;
  }
}

}  // namespace fuzz

#endif  // ZY_TESTS_FUZZ_PNG_CHECKSUMS_H_
