// SPDX-License-Identifier: Apache-2.0
// Memory that ends at an inaccessible page. One byte read or written past that end stops the
// program, on every machine and without a sanitizer.
#ifndef ZY_FRAMEWORK_GUARDED_BYTES_H_
#define ZY_FRAMEWORK_GUARDED_BYTES_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace framework {

// `size` bytes, initially zero. Without memory the process ends.
class GuardedBytes {
 public:
  enum class Edge { kFront, kBack };  // the end that meets the page

  explicit GuardedBytes(std::size_t size, Edge edge = Edge::kBack)
      : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
        room_((size + page_ - 1) / page_ * page_) {
    void* const mapping =
        mmap(nullptr, room_ + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) std::abort();
    begin_ = static_cast<uint8_t*>(mapping) + page_;
    if (room_ != 0 && mprotect(begin_, room_, PROT_READ | PROT_WRITE) != 0) std::abort();
    data_ = edge == Edge::kFront ? begin_ : begin_ + room_ - size;
  }
  ~GuardedBytes() { munmap(begin_ - page_, room_ + 2 * page_); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  uint8_t* data() { return data_; }
  // Returns the start of the whole pages that hold the bytes, to find writes beside them.
  uint8_t* begin() { return begin_; }
  uint8_t* end() { return begin_ + room_; }

 private:
  std::size_t page_;
  std::size_t room_;
  uint8_t* begin_;
  uint8_t* data_;
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_GUARDED_BYTES_H_
