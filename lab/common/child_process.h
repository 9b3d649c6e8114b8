// SPDX-License-Identifier: Apache-2.0
// Runs a function in its own process, so that its crash, end or hang is a result.
#ifndef ZY_COMMON_CHILD_PROCESS_H_
#define ZY_COMMON_CHILD_PROCESS_H_

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace common {

struct ChildEnd {
  int status = 0;  // from waitpid
  bool is_hung = false;
  int orphans = 0;     // processes left behind
  std::string output;  // the last bytes of standard output and error
};

// Runs `run` in a child, which ends when it returns. A child that does not change `progress`, in
// shared memory, for the given seconds is ended. This process calls `meanwhile` every other
// millisecond. Processes that the child left behind are found and ended. Returns nothing if no
// process can be created. One thread; not while this process has other children.
std::optional<ChildEnd> RunInChild(const std::function<void()>& run,
                                   const std::atomic<uint64_t>& progress, int seconds,
                                   const std::function<void()>& meanwhile);

// Maps memory shared with children, initially zero. Throws std::bad_alloc.
void* MapShared(std::size_t size);

}  // namespace common

#endif  // ZY_COMMON_CHILD_PROCESS_H_
