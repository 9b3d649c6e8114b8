// SPDX-License-Identifier: Apache-2.0
// Reads the bytes of a fuzz target as a script of small decisions.
#ifndef ZY_TESTS_FUZZ_SCRIPT_H_
#define ZY_TESTS_FUZZ_SCRIPT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <vector>

namespace fuzz {

// Stops the program when a promise of the target does not hold.
inline void Require(bool holds, const char* promise) {
  if (holds) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// Bytes read from front to back; beyond the end all are 0.
class Script {
 public:
  Script(const uint8_t* bytes, std::size_t size) : at_(bytes), end_(bytes + size) {}

  bool AtEnd() const { return at_ == end_; }
  uint8_t Byte() { return AtEnd() ? uint8_t{0} : *at_++; }
  // Returns true once in `n` bytes, and never beyond the end.
  bool OneIn(int n) { return Byte() % n == n - 1; }
  // Returns `low` to `high`, inclusive; one byte decides among up to 256 values, two among more.
  int Between(int low, int high) {
    const int values = high - low + 1;
    const int drawn = values <= 256 ? Byte() : Byte() * 256 + Byte();
    return low + drawn % values;
  }
  template <typename Choices>
  const auto& Pick(const Choices& choices) {
    return *(std::begin(choices) + Byte() % std::size(choices));
  }
  // Returns mostly realistic words, sometimes any.
  uint32_t Word() {
    constexpr uint32_t kWords[] = {0, 1, 1, 2, 7, 90, 180, 270, 0x7fffffff, 0x80000000};
    return OneIn(16) ? Raw<uint32_t>() : OneIn(2) ? Pick(kWords) : Byte();
  }
  template <typename T>
  T Raw() {
    T value = {};
    Take(&value, sizeof(value));
    return value;
  }
  // Returns `count` bytes derived from two of the script, in a block of exactly that size.
  std::vector<uint8_t> Noise(std::size_t count) {
    uint32_t state = Raw<uint16_t>();
    const uint8_t mask = state % 3 == 0 ? 0xff : 0x07, flip = state % 3 == 1 ? 0xff : 0;
    std::vector<uint8_t> bytes(count);
    for (uint8_t& byte : bytes) {
      state = state * 1664525 + 1013904223;
      byte = static_cast<uint8_t>((state >> 24 & mask) ^ flip);
    }
    return bytes;
  }
  // Returns the remaining bytes, in a block of exactly that size.
  std::vector<uint8_t> Rest() { return std::vector<uint8_t>(at_, end_); }

 private:
  void Take(void* to, std::size_t count) {
    count = std::min(count, static_cast<std::size_t>(end_ - at_));
    if (count != 0) std::memcpy(to, at_, count);
    at_ += count;
  }

  const uint8_t* at_;
  const uint8_t* end_;
};

}  // namespace fuzz

#endif  // ZY_TESTS_FUZZ_SCRIPT_H_
