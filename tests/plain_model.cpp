// SPDX-License-Identifier: Apache-2.0
// A model library without controls, like a device's.
#include "platform/age_gender_model.h"

extern "C" {
int QVAG_Model_Init() { return 1; }
QVAG_Version QVAG_GetVersion() { return {"plain"}; }
QVAG_FaceResult QVAG_OneFaceAnalyze(const uint8_t*, const uint8_t*, int, int, int, int, int, int,
                                    float) {
  return {33.0f, 0.5f, 0.5f, 0.0f};
}
void QVAG_Model_Clear() {}
}
