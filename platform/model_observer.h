// SPDX-License-Identifier: Apache-2.0
// How a program sees what the two closed model libraries are asked and what they answer. A phone's
// lack these functions; a program looks them up by name.
#ifndef ZY_PLATFORM_MODEL_OBSERVER_H_
#define ZY_PLATFORM_MODEL_OBSERVER_H_

#include <cstdint>

extern "C" {

// One call of a model library. The pointers are valid during the call of the listener only.
struct ZyModelCall {
  const uint8_t* gray;  // width x height bytes; null for a model that does not get them
  const uint8_t* rgb;   // width x height pixels of blue, green, red
  int width, height;
  int left, top, right, bottom;  // of the face
  float answer[4];               // age, prop, gender, 0; or grade and three scores
};
using ZyModelListener = void (*)(void* context, const ZyModelCall* call);

// Who is told of each analysis, or grade, at its end, on the calling thread (null for nobody).
void zy_tell_age_gender_calls(ZyModelListener listener, void* context);
void zy_tell_face_grade_calls(ZyModelListener listener, void* context);

}  // extern "C"

#endif  // ZY_PLATFORM_MODEL_OBSERVER_H_
