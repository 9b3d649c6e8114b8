// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_FRAMEWORK_GUARDED_BYTES_H_
#define ZY_FRAMEWORK_GUARDED_BYTES_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace framework {

// `size` bytes of zero whose last one is followed by a page that nobody may touch: a node that
// reads or writes past their end stops there. Without memory the process ends.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::size_t size) : size_(size) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t body = (size + page - 1) / page * page;
    mapped_ = body + page;
    void* const base =
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (base == MAP_FAILED) std::abort();
    base_ = static_cast<uint8_t*>(base);
    if (mprotect(base_ + body, page, PROT_NONE) != 0) std::abort();
    data_ = base_ + body - size;
  }
  ~GuardedBytes() { munmap(base_, mapped_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() { return data_; }
  const uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  std::size_t size_;
  std::size_t mapped_ = 0;
  uint8_t* base_ = nullptr;
  uint8_t* data_ = nullptr;
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_GUARDED_BYTES_H_
