// SPDX-License-Identifier: Apache-2.0
#include "analysis/face_age.h"

#include <cstdlib>
#include <cstring>

#include "platform/age_gender_model.h"

base::Mutex g_model_library;

namespace {

int g_live_users ZY_GUARDED_BY(g_model_library) = 0;

}  // namespace

void ZyFaceAgeAttach() {
  base::MutexLock lock(g_model_library);
  ++g_live_users;
}

bool ZyFaceAgeInit() {
  base::MutexLock lock(g_model_library);
  return (CallModelLibrary(0, QVAG_Model_Init) & 1) != 0;
}

ZyFaceAgeVersion ZyFaceAgeGetVersion() {
  base::MutexLock lock(g_model_library);
  const QVAG_Version library = CallModelLibrary(QVAG_Version{}, QVAG_GetVersion);
  ZyFaceAgeVersion result = {};
  const size_t length = strnlen(library.text, sizeof(library.text));
  if (length >= sizeof(result.version)) abort();
  memcpy(result.version, library.text, length);
  return result;
}

ZyFaceAgeResult ZyFaceAgeAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                 int left, int top, int right, int bottom, float factor) {
  base::MutexLock lock(g_model_library);
  const QVAG_FaceResult face = CallModelLibrary(QVAG_FaceResult{}, [&] {
    return QVAG_OneFaceAnalyze(gray, rgb, width, height, left, top, right, bottom, factor);
  });
  return {face.prop, face.gender, face.age, face.age};
}

void ZyFaceAgeFinalize() {
  base::MutexLock lock(g_model_library);
  if (g_live_users > 0) --g_live_users;
  if (g_live_users > 0) return;
  CallModelLibrary(0, [] {
    QVAG_Model_Clear();
    return 0;
  });
}

// Does nothing: one of the five calls of an age model, and this model keeps nothing to drop.
void ZyFaceAgeClear() {}
