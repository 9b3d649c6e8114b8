// SPDX-License-Identifier: Apache-2.0
// The metadata of a request.
#ifndef ZY_FRAMEWORK_DEVICE_STATE_H_
#define ZY_FRAMEWORK_DEVICE_STATE_H_

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "framework/framework.h"

namespace framework {

// One Field for each tag that a request may carry.
template <template <typename> class Field>
struct InputTags {
  Field<std::array<int32_t, 3>> camera_role{};  // its second word is the role, the third the camera
  Field<int32_t> gender_and_age{};
  Field<int32_t> score{};
  Field<std::array<int32_t, 2>> sensor_size{};
  Field<uint8_t> quad_cfa{};
  Field<int32_t> orientation{};
  Field<std::vector<int32_t>> face_rectangles{};  // xmin, ymin, xmax, ymax in sensor pixels
};

// Calls visit(name, field...) for each tag with its full name and its field of each of `tags`. This
// is the only list of the tags, in the order of a recording. The platform's own tag is the last.
template <typename Visit, typename... Tags>
void ForEachTag(const Visit& visit, Tags&&... tags) {
  visit("com.qti.chi.multicamerainfo.MultiCameraIdRole", tags.camera_role...);
  visit("brodax.faceGenderAndAge.enabled", tags.gender_and_age...);
  visit("brodax.faceScore.enabled", tags.score...);
  visit("brodax.sensorSize.size", tags.sensor_size...);
  visit("brodax.quadcfa.enabled", tags.quad_cfa...);
  visit("brodax.device.orientation", tags.orientation...);
  visit("android.statistics.faceRectangles", tags.face_rectangles...);
}

// The tags of one request; nothing for an absent one.
using DeviceState = InputTags<std::optional>;

// Returns the usual tags of a request: the main camera with both analyses on, an upright device, a
// sensor of this size, and faces in its pixels.
DeviceState UsualState(uint32_t sensor_width, uint32_t sensor_height, std::vector<int32_t> faces);

// Sets these tags and removes all others.
void SetInput(const DeviceState& state, Metadata* metadata);
// Returns the tags that metadata holds.
DeviceState ReadInput(Metadata& metadata);

}  // namespace framework

#endif  // ZY_FRAMEWORK_DEVICE_STATE_H_
