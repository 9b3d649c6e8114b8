// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_DEVICE_OVERLAP_H_
#define ZY_DEVICE_OVERLAP_H_

#include <atomic>
#include <cstdint>

namespace device {

// Notices calls of a library that begin while another one runs: stands at the head of each call.
class CallInLibrary {
 public:
  CallInLibrary() {
    if (running_.fetch_add(1) != 0) ++overlaps_;
  }
  ~CallInLibrary() { --running_; }
  CallInLibrary(const CallInLibrary&) = delete;
  CallInLibrary& operator=(const CallInLibrary&) = delete;

  static uint64_t Overlaps() { return overlaps_; }

 private:
  // Hidden, so that each stand-in library counts its own calls.
  __attribute__((visibility("hidden"))) static inline std::atomic<int> running_{0};
  __attribute__((visibility("hidden"))) static inline std::atomic<uint64_t> overlaps_{0};
};

}  // namespace device

#endif  // ZY_DEVICE_OVERLAP_H_
