// SPDX-License-Identifier: Apache-2.0
// What the tests of the node share: its entry, and the metadata of a usual request.
#ifndef ZY_TESTS_NODE_TESTING_H_
#define ZY_TESTS_NODE_TESTING_H_

#include <vector>

#include "framework/framework.h"
#include "platform/chi_node.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);

namespace testing_support {

inline uint32_t TagId(const char* section, const char* name) {
  return framework::Framework::Get().Tags().Id(section, name);
}

inline void SetWords(framework::Metadata& input, const char* section, const char* name,
                     const std::vector<uint32_t>& words) {
  input.SetWords(TagId(section, name), words);
}

// The main camera with both analyses on, an upright device, and faces in pixels of the sensor
// (left, top, right, bottom).
inline void SetUsualMetadata(framework::Metadata& input, const std::vector<uint32_t>& sensor_size,
                             const std::vector<int32_t>& faces) {
  SetWords(input, "com.qti.chi.multicamerainfo", "MultiCameraIdRole", {0, 1, 0});
  SetWords(input, "brodax.faceGenderAndAge", "enabled", {1});
  SetWords(input, "brodax.faceScore", "enabled", {1});
  SetWords(input, "brodax.sensorSize", "size", sensor_size);
  SetWords(input, "brodax.device", "orientation", {270});
  input.SetWords(kChiFaceRectanglesTag, faces);
}

}  // namespace testing_support

#endif  // ZY_TESTS_NODE_TESTING_H_
