// SPDX-License-Identifier: Apache-2.0
// All that camsim assumes of this project's node beyond the interface: which log lines tell of a
// frame, which values stand for something, which faces are looked at. Of any other node the
// assumptions may be wrong, but then they are wrong in words alone.
#ifndef ZY_CAMSIM_OWN_NODE_H_
#define ZY_CAMSIM_OWN_NODE_H_

#include <atomic>
#include <cstdint>
#include <vector>

#include "camsim/console.h"
#include "camsim/options.h"
#include "common/geometry.h"
#include "framework/framework.h"
#include "framework/log_watch.h"
#include "record/device_state.h"
#include "record/why.h"

namespace camsim {

// With this camera the node halves rectangles even while the quad sensor is on.
inline constexpr int32_t kAlwaysHalvedCamera = 7;

// Chooses the log lines that the device's log gets, and learns from them what became of a frame
// that was offered: our node says that it hands over, and its worker that it considers the frame.
class LogWatch {
 public:
  LogWatch(LogLevel level, Progress* progress);
  ~LogWatch();
  LogWatch(const LogWatch&) = delete;
  LogWatch& operator=(const LogWatch&) = delete;

  // Whether the node's lines tell what becomes of frames.
  bool Tells() const { return tells_; }
  // What happened since the last call; of a node that does not tell, only a worker that was seen to
  // wake says something.
  record::Outcome Take(bool has_woken);

 private:
  bool See(const framework::LogLine& line);

  const LogLevel level_;
  Progress* const progress_;
  std::atomic<record::Outcome> outcome_{record::Outcome::kNotOffered};
  std::atomic<bool> tells_{false};
};

// What the sender of a request knows of it.
struct RequestState {
  const record::DeviceState& device;       // what holds
  Size sent;                               // the frame's size
  const std::vector<common::Rect>& faces;  // in its pixels
  bool follows_a_pass;                     // a pass had ended when the request was sent
};

// Tells from what the request carried, from the values that stand for something (0, 20, 80 and 0.7,
// as docs/camsim.md lists them), and from the rule that a face is looked at when it is wider, in
// the upright picture, than a sixth of the frame's shorter side. `slot` is 0 to 2.
record::SlotWhy WhyOf(const RequestState& state, const framework::ResultRecord& record, int slot);

}  // namespace camsim

#endif  // ZY_CAMSIM_OWN_NODE_H_
