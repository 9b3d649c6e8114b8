// SPDX-License-Identifier: Apache-2.0
// What a request carries besides its frame.
#ifndef ZY_RECORD_DEVICE_STATE_H_
#define ZY_RECORD_DEVICE_STATE_H_

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "framework/framework.h"

namespace record {

// A Field for each tag that a request may carry.
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
// is the one list of the tags, in the order of a recording.
template <typename Visit, typename... Tags>
void ForEachTag(const Visit& visit, Tags&... tags) {
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

// What a line of a script says of the tags: nothing of one that stays as it was, and of one that is
// absent from here on that it has no value.
template <typename T>
using Change = std::optional<std::optional<T>>;
using StateChange = InputTags<Change>;

// Makes metadata hold these tags and no others.
void SetInput(const DeviceState& state, framework::Metadata* metadata);
// The tags that metadata holds.
DeviceState ReadInput(framework::Metadata& metadata);

}  // namespace record

#endif  // ZY_RECORD_DEVICE_STATE_H_
