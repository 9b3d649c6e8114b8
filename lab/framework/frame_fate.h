// SPDX-License-Identifier: Apache-2.0
// What becomes of a frame at the worker, read from the worker's log: nothing else tells.
#ifndef ZY_FRAMEWORK_FRAME_FATE_H_
#define ZY_FRAMEWORK_FRAME_FATE_H_

#include <cstdio>
#include <optional>

namespace framework {

enum class FrameFate { kTaken, kDropped };

// The fate of the frame that a log line tells of; nothing when it tells of none. The worker logs
// the line on the request thread, before the call returns, for one frame in four that carry faces;
// the others are skipped in silence. Any thread.
inline std::optional<FrameFate> FateIn(const char* line) {
  int enabled = 0, analyzing = 0;
  if (std::sscanf(line, "ProcessBuffer++, mAnalyzingEnabled:%d, mIsAnalyzing:%d", &enabled,
                  &analyzing) != 2) {
    return std::nullopt;
  }
  return enabled == 1 && analyzing == 0 ? FrameFate::kTaken : FrameFate::kDropped;
}

}  // namespace framework

#endif  // ZY_FRAMEWORK_FRAME_FATE_H_
