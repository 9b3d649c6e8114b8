// SPDX-License-Identifier: Apache-2.0
// The closed age and gender model (libQVFD_AgeGender). It holds process-wide state between
// QVAG_Model_Init and QVAG_Model_Clear and need not be thread-safe.
#ifndef ZY_PLATFORM_AGE_GENDER_MODEL_H_
#define ZY_PLATFORM_AGE_GENDER_MODEL_H_

#include <cstdint>

// The model's answer for one face.
struct QVAG_FaceResult {
  float age;
  float prop;
  float gender;
  float reserved;
};

// The model's version; `text` should end with a NUL.
struct QVAG_Version {
  char text[56];
};
static_assert(sizeof(QVAG_Version) == 56);

extern "C" {
// Loads the model. Sets bit 0 of the result when it is ready.
int QVAG_Model_Init();
QVAG_Version QVAG_GetVersion();
// Estimates one face. `gray` has width x height bytes, `rgb` three times as many (blue, green,
// red); the face's edges are in pixels of that image.
QVAG_FaceResult QVAG_OneFaceAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                    int left, int top, int right, int bottom, float factor);
void QVAG_Model_Clear();
}

#endif  // ZY_PLATFORM_AGE_GENDER_MODEL_H_
