// SPDX-License-Identifier: Apache-2.0
#include "camsim/device_input.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "framework/own_node.h"

namespace camsim {
namespace {

Size SensorSize(const framework::DeviceState& state, Size frame) {
  if (state.sensor_size && (*state.sensor_size)[0] != 0) {
    return {(*state.sensor_size)[0], (*state.sensor_size)[1]};
  }
  return {std::max(4000, frame.width), std::max(3000, frame.height)};
}

// Returns 2 unless the quad sensor is on: the platform's statistics use twice the sensor's size.
int FactorOf(const framework::DeviceState& state) {
  return *state.quad_cfa != 0 && (*state.camera_role)[2] != framework::kAlwaysHalvedCamera ? 1 : 2;
}

// Returns the smallest sensor coordinate that scales down to `position`. Far outside the picture it
// is limited to half the range of a tag's element, because it may be doubled.
int32_t ToSensor(int64_t position, int frame, int sensor) {
  constexpr int64_t kFarthest = std::numeric_limits<int32_t>::max() / 2;
  const int64_t coordinate = (position * sensor + frame - 1) / frame;
  return static_cast<int32_t>(std::clamp(coordinate, -kFarthest, kFarthest));
}

// Returns the faces in the coordinates of the platform's statistics. The node converts them back to
// the same pixels if the sensor is at least as large as the frame.
std::vector<int32_t> SensorRects(const framework::DeviceState& state, Size frame,
                                 const std::vector<common::Rect>& faces) {
  const Size sensor = SensorSize(state, frame);
  const int factor = FactorOf(state);
  std::vector<int32_t> rects;
  for (const common::Rect& face : faces) {
    rects.push_back(factor * ToSensor(face.x, frame.width, sensor.width));
    rects.push_back(factor * ToSensor(face.y, frame.height, sensor.height));
    rects.push_back(factor * ToSensor(int64_t{face.x} + face.w - 1, frame.width, sensor.width));
    rects.push_back(factor * ToSensor(int64_t{face.y} + face.h - 1, frame.height, sensor.height));
  }
  return rects;
}

}  // namespace

DeviceInput::DeviceInput(const Options& options) : is_replay_(options.IsReplay()) {
  if (options.role || options.camera) {
    given_.camera_role = {0, options.role.value_or(framework::kWorkingRole),
                          options.camera.value_or(0)};
  }
  given_.gender_and_age = options.gender_and_age;
  given_.score = options.score;
  if (options.sensor.width != 0) given_.sensor_size = {options.sensor.width, options.sensor.height};
  given_.quad_cfa = options.quad_cfa;
  given_.orientation = options.orientation;
  holds_ = framework::UsualState(0, 0, {});
  holds_.quad_cfa = 0;
  holds_.sensor_size.reset();
  holds_.face_rectangles.reset();
  const auto take = [](const char*, auto& holds, const auto& given) {
    if (given) holds = given;
  };
  framework::ForEachTag(take, holds_, given_);
}

void DeviceInput::Change(const record::RequestStep& step) {
  bool is_given = false;
  const auto note_given = [&is_given](const char*, const auto& given) {
    is_given |= given.has_value();
  };
  if (is_replay_) framework::ForEachTag(note_given, given_);
  // The faces of a recording are those of its rectangles.
  const bool has_rectangles = step.in.face_rectangles && !(is_given && step.faces);
  framework::ForEachTag(
      [&](const char*, auto& holds, bool& is_absent, const auto& given, const auto& change) {
        using Rectangles = std::optional<std::vector<int32_t>>;
        constexpr bool kIsRectangles = std::is_same_v<decltype(holds), Rectangles&>;
        if (!change || (is_replay_ && given) || (kIsRectangles && !has_rectangles)) return;
        is_absent = !*change;
        if (*change) holds = *change;
      },
      holds_, is_absent_, given_, step.in);
  if (has_rectangles) faces_.reset();
  if (!step.faces || has_rectangles) return;
  faces_ = step.faces;
  holds_.face_rectangles.reset();
  is_absent_.face_rectangles = false;
}

std::optional<std::vector<common::Rect>> DeviceInput::RawFaces(Size sent) const {
  if (is_absent_.face_rectangles) return std::vector<common::Rect>();
  if (!holds_.face_rectangles) return std::nullopt;
  const std::vector<int32_t>& rects = *holds_.face_rectangles;
  const Size sensor = SensorSize(holds_, sent);
  const int64_t factor = FactorOf(holds_);
  std::vector<common::Rect> faces;
  for (std::size_t i = 0; i + 4 <= rects.size(); i += 4) {
    const auto edge = [&](std::size_t at, int size, int whole) {
      return rects[i + at] / factor * size / std::max(1, whole);
    };
    const int64_t x = edge(0, sent.width, sensor.width), y = edge(1, sent.height, sensor.height);
    faces.push_back(common::ClampedRect(x, y, edge(2, sent.width, sensor.width) - x + 1,
                                        edge(3, sent.height, sensor.height) - y + 1));
  }
  return faces;
}

framework::DeviceState DeviceInput::Carried(Size sent,
                                            const std::vector<common::Rect>& faces) const {
  framework::DeviceState carried = holds_;
  const Size sensor = SensorSize(holds_, sent);
  if (!carried.sensor_size) carried.sensor_size = {sensor.width, sensor.height};
  if (!carried.face_rectangles) carried.face_rectangles = SensorRects(holds_, sent, faces);
  framework::ForEachTag(
      [](const char*, auto& field, bool is_absent) {
        if (is_absent) field.reset();
      },
      carried, is_absent_);
  return carried;
}

}  // namespace camsim
