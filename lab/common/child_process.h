// SPDX-License-Identifier: Apache-2.0
// A function in a process of its own, so that its crash, its end or its hang is a result.
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
  int status = 0;  // as of waitpid
  bool is_hung = false;
  int orphans = 0;     // processes that it left behind
  std::string output;  // standard output and error, the last bytes of them
};

// Runs `run` in a child; when it returns, the child ends at once. A child that has not changed
// `progress`, which lies in shared memory, for so many seconds is ended; `meanwhile` is called in
// this process every other millisecond. Children that the child left behind, and theirs, are found
// and ended. Returns nothing when there is no process for it. One thread; not while this process
// has other children.
std::optional<ChildEnd> RunInChild(const std::function<void()>& run,
                                   const std::atomic<uint64_t>& progress, int seconds,
                                   const std::function<void()>& meanwhile);

// Maps memory that is shared with children, zero at first; null without memory.
void* MapShared(std::size_t size);

}  // namespace common

#endif  // ZY_COMMON_CHILD_PROCESS_H_
