// SPDX-License-Identifier: Apache-2.0
#include "camsim/sensor.h"

#include <algorithm>
#include <limits>

#include "platform/chi_node.h"

namespace camsim {
namespace {

// With this camera the node halves rectangles even while the quad sensor is on.
constexpr uint32_t kAlwaysHalvedCamera = 7;

// The smallest sensor coordinate that scales down to `position`. Of a face that reaches far out of
// the picture it is cut to half of what an element of the tag holds: it may have to be doubled.
int32_t ToSensor(int64_t position, int frame, int sensor) {
  constexpr int64_t kFarthest = std::numeric_limits<int32_t>::max() / 2;
  const int64_t coordinate = (position * sensor + frame - 1) / frame;
  return static_cast<int32_t>(std::clamp(coordinate, -kFarthest, kFarthest));
}

}  // namespace

Size SensorSize(const Options& options, Size frame) {
  if (options.sensor.width != 0) return options.sensor;
  return {std::max(4000, frame.width), std::max(3000, frame.height)};
}

std::vector<int32_t> SensorRects(const Options& options, Size frame,
                                 const std::vector<media::Rect>& faces) {
  const Size sensor = SensorSize(options, frame);
  const int factor = options.quad_cfa && options.camera != kAlwaysHalvedCamera ? 1 : 2;
  std::vector<int32_t> rects;
  for (const media::Rect& face : faces) {
    rects.push_back(factor * ToSensor(face.x, frame.width, sensor.width));
    rects.push_back(factor * ToSensor(face.y, frame.height, sensor.height));
    rects.push_back(factor * ToSensor(int64_t{face.x} + face.w - 1, frame.width, sensor.width));
    rects.push_back(factor * ToSensor(int64_t{face.y} + face.h - 1, frame.height, sensor.height));
  }
  return rects;
}

std::vector<media::Rect> FacesOf(const Options& options, Size frame,
                                    const framework::Json& rects) {
  const Size sensor = SensorSize(options, frame);
  const int64_t factor = options.quad_cfa && options.camera != kAlwaysHalvedCamera ? 1 : 2;
  std::vector<media::Rect> faces;
  for (std::size_t i = 0; i + 4 <= rects.size(); i += 4) {
    const auto edge = [&](std::size_t at, int size, int whole) {
      return static_cast<int>(rects[i + at].get<int64_t>() / factor * size / std::max(1, whole));
    };
    const int x = edge(0, frame.width, sensor.width), y = edge(1, frame.height, sensor.height);
    faces.push_back({x, y, edge(2, frame.width, sensor.width) - x + 1,
                     edge(3, frame.height, sensor.height) - y + 1});
  }
  return faces;
}

void TakeTags(const framework::Json& tags, Options* options) {
  const auto take = [&tags](const char* name, const auto& set) {
    const auto value = tags.find(name);
    if (value != tags.end() && !value->is_null()) set(*value);
  };
  using Json = framework::Json;
  take("com.qti.chi.multicamerainfo.MultiCameraIdRole", [&](const Json& words) {
    options->role = static_cast<uint32_t>(words[1].get<int32_t>());
    options->camera = static_cast<uint32_t>(words[2].get<int32_t>());
  });
  take("brodax.faceGenderAndAge.enabled",
       [&](const Json& on) { options->gender_and_age = on != 0; });
  take("brodax.faceScore.enabled", [&](const Json& on) { options->score = on != 0; });
  take("brodax.sensorSize.size", [&](const Json& size) { options->sensor = {size[0], size[1]}; });
  take("brodax.quadcfa.enabled", [&](const Json& on) { options->quad_cfa = on != 0; });
  take("brodax.device.orientation", [&](const Json& degrees) { options->orientation = degrees; });
}

RequestState StateOf(const Options& options, Size frame, const std::vector<media::Rect>& faces,
                     bool follows_a_pass) {
  RequestState state;
  state.node_has_role = options.role == 1;
  state.gender_and_age = options.gender_and_age;
  state.score = options.score;
  state.orientation = options.orientation;
  state.width = frame.width;
  state.height = frame.height;
  state.faces = faces;
  state.follows_a_pass = follows_a_pass;
  return state;
}

void SetRequestMetadata(const Options& options, Size frame,
                        const std::vector<media::Rect>& faces, framework::Metadata* metadata) {
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  const auto set = [&](const char* section, const char* name, const std::vector<uint32_t>& words) {
    metadata->SetWords(tags.Id(section, name), words);
  };
  const Size sensor = SensorSize(options, frame);
  const uint8_t quad_cfa = options.quad_cfa ? 1 : 0;
  metadata->Clear();
  set("com.qti.chi.multicamerainfo", "MultiCameraIdRole", {0, options.role, options.camera});
  set("brodax.faceGenderAndAge", "enabled", {options.gender_and_age});
  set("brodax.faceScore", "enabled", {options.score});
  set("brodax.sensorSize", "size",
      {static_cast<uint32_t>(sensor.width), static_cast<uint32_t>(sensor.height)});
  metadata->Set(tags.Id("brodax.quadcfa", "enabled"), &quad_cfa, 1, 1);
  set("brodax.device", "orientation", {static_cast<uint32_t>(options.orientation)});
  metadata->SetWords(kChiFaceRectanglesTag, SensorRects(options, frame, faces));
}

}  // namespace camsim
