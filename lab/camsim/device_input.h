// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_DEVICE_INPUT_H_
#define ZY_CAMSIM_DEVICE_INPUT_H_

#include <optional>
#include <vector>

#include "camsim/options.h"
#include "common/geometry.h"
#include "framework/device_state.h"
#include "record/recording.h"

namespace camsim {

// The state of the device, initially from the options, then changed by a script, and the tags of
// each request. An absent tag leaves the state unchanged. One thread.
class DeviceInput {
 public:
  explicit DeviceInput(const Options& options);
  // Applies the changes of a script's line. Of faces and raw rectangles the later ones count, in
  // one line the rectangles. In a replay the tags of the options stay unchanged, and rectangles
  // follow from the faces.
  void Change(const record::RequestStep& step);

  // Returns the state. Without a sensor size it contains one that is large enough for the frame.
  const framework::DeviceState& Holds() const { return holds_; }
  // Returns a script's faces in picture pixels, or in those of a frame sent in this size.
  const std::optional<std::vector<common::Rect>>& Faces() const { return faces_; }
  std::optional<std::vector<common::Rect>> RawFaces(Size sent) const;
  // Returns the tags of a request with these faces, which are in the sent frame's pixels.
  framework::DeviceState Carried(Size sent, const std::vector<common::Rect>& faces) const;

 private:
  template <typename>
  using Flag = bool;

  const bool is_replay_;
  framework::DeviceState given_;  // by options
  framework::DeviceState holds_;
  framework::InputTags<Flag> is_absent_;
  std::optional<std::vector<common::Rect>> faces_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_DEVICE_INPUT_H_
