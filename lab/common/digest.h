// SPDX-License-Identifier: Apache-2.0
// 64-bit FNV-1a: distinguishes contents, equally on every machine. Does not resist attacks.
#ifndef ZY_COMMON_DIGEST_H_
#define ZY_COMMON_DIGEST_H_

#include <cstddef>
#include <cstdint>

namespace common {

inline constexpr uint64_t kEmptyDigest = 0xcbf29ce484222325;

// Returns the digest of the content of `digest` followed by `value`, a byte or a whole word.
constexpr uint64_t Extend(uint64_t digest, uint64_t value) {
  return (digest ^ value) * 0x100000001b3;
}

inline uint64_t Digest(const uint8_t* bytes, std::size_t size, uint64_t digest = kEmptyDigest) {
  for (std::size_t i = 0; i < size; ++i) digest = Extend(digest, bytes[i]);
  return digest;
}

}  // namespace common

#endif  // ZY_COMMON_DIGEST_H_
