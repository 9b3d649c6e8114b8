// SPDX-License-Identifier: Apache-2.0
// What the kernel tests share: memory that ends at a guard page, so that one byte read or written
// past its end stops the test, and random pixels that sit where saturation happens.
#ifndef ZY_TESTS_KERNEL_TESTING_H_
#define ZY_TESTS_KERNEL_TESTING_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>

#include "base/kernel_variant.h"

namespace testing_support {

// `size` bytes whose last one is followed by an unreadable page, and whose page before the first
// one is unreadable as well when `size` is a multiple of the page.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) : size_(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t body = (size + page - 1) / page * page;
    mapped_ = body + 2 * page;
    base_ = static_cast<uint8_t*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (base_ == MAP_FAILED) std::abort();
    if (body != 0 && mprotect(base_ + page, body, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = base_ + page + body - size;
  }
  ~GuardedBytes() { munmap(base_, mapped_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() { return data_; }
  const uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }
  void Fill(uint8_t value) { std::memset(data_, value, size_); }

 private:
  std::size_t size_;
  std::size_t mapped_ = 0;
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
};

// Where random pixels lie: everywhere, or crowded against one end of the range.
enum class Bias { kUniform, kDark, kBright };

inline void FillRandom(GuardedBytes& bytes, Bias bias, std::mt19937& random) {
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto value = static_cast<uint8_t>(random());
    const auto near_end = static_cast<uint8_t>(value & 7);
    bytes.data()[i] = bias == Bias::kUniform ? value
                      : bias == Bias::kDark  ? near_end
                                             : static_cast<uint8_t>(255 - near_end);
  }
}

}  // namespace testing_support

#endif  // ZY_TESTS_KERNEL_TESTING_H_
