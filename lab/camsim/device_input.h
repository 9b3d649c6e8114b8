// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_DEVICE_INPUT_H_
#define ZY_CAMSIM_DEVICE_INPUT_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "camsim/options.h"
#include "common/geometry.h"
#include "framework/device_state.h"
#include "record/recording.h"

namespace camsim {

// The state of the device, as the options begin it and a script goes on, and what requests tell of
// it: a tag that is absent leaves the state as it was. One thread.
class DeviceInput {
 public:
  explicit DeviceInput(const Options& options);
  // What a line of a script changes from here on. Of faces and raw rectangles the later counts, of
  // one line the rectangles. In a replay the tags of the options stay as they are, and rectangles
  // follow from the faces.
  void Change(const record::RequestStep& step);

  // The state itself. Without a sensor size one is chosen that holds the frame.
  const framework::DeviceState& Holds() const { return holds_; }
  // The faces of a script: in picture pixels, or in those of a frame that is sent in this size.
  const std::optional<std::vector<common::Rect>>& Faces() const { return faces_; }
  std::optional<std::vector<common::Rect>> RawFaces(Size sent) const;
  // The tags of a request with these faces, which are in the sent frame's pixels.
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
