// SPDX-License-Identifier: Apache-2.0
#include "framework/device_state.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>

#include "platform/chi_node.h"

namespace framework {
namespace {

// Returns the identifier of a tag by its full name. The platform's own tag has no vendor.
uint32_t IdOf(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  const uint32_t id = Framework::Get().Tags().Id(name.substr(0, dot), name.substr(dot + 1));
  return id != 0 ? id : kChiFaceRectanglesTag;
}

// Returns the elements of a tag's value and their number.
template <typename T>
auto ElementsOf(T& value) {
  if constexpr (std::is_integral_v<std::remove_const_t<T>>) {
    return std::pair(&value, std::size_t{1});
  } else {
    return std::pair(value.data(), value.size());
  }
}

}  // namespace

DeviceState UsualState(uint32_t sensor_width, uint32_t sensor_height, std::vector<int32_t> faces) {
  DeviceState state;
  state.camera_role = {0, 1, 0};
  state.gender_and_age = state.score = 1;
  state.sensor_size = {static_cast<int32_t>(sensor_width), static_cast<int32_t>(sensor_height)};
  state.orientation = 270;
  state.face_rectangles = std::move(faces);
  return state;
}

void SetInput(const DeviceState& state, Metadata* metadata) {
  metadata->Clear();
  ForEachTag(
      [metadata](const char* name, const auto& value) {
        if (!value) return;
        const auto [elements, count] = ElementsOf(*value);
        metadata->Set(IdOf(name), elements, count * sizeof(*elements), count);
      },
      state);
}

DeviceState ReadInput(Metadata& metadata) {
  DeviceState state;
  ForEachTag(
      [&metadata](const char* name, auto& field) {
        const Metadata::Value* const found = metadata.Find(IdOf(name));
        if (found == nullptr) return;
        auto& value = field.emplace();
        if constexpr (std::is_same_v<decltype(value), std::vector<int32_t>&>) {
          value.resize(found->count);
        }
        const auto [elements, count] = ElementsOf(value);
        const std::size_t bytes = std::min(found->bytes.size(), count * sizeof(*elements));
        if (bytes != 0) std::memcpy(elements, found->bytes.data(), bytes);
      },
      state);
  return state;
}

}  // namespace framework
