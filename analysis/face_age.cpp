// SPDX-License-Identifier: Apache-2.0
#include "analysis/face_age.h"

#include <cstdlib>
#include <cstring>

#include "platform/age_gender_model.h"

namespace {

base::Mutex g_model_library_lock;
int g_live_users ZY_GUARDED_BY(g_model_library_lock) = 0;

}  // namespace

base::Mutex& ModelLibraryLock() { return g_model_library_lock; }

void ZyFaceAgeAttach() {
  base::MutexLock lock(g_model_library_lock);
  ++g_live_users;
}

bool ZyFaceAgeInit() {
  base::MutexLock lock(g_model_library_lock);
  return (QVAG_Model_Init() & 1) != 0;
}

ZyFaceAgeVersion ZyFaceAgeGetVersion() {
  base::MutexLock lock(g_model_library_lock);
  const QVAG_Version library = QVAG_GetVersion();
  ZyFaceAgeVersion result = {};
  const size_t length = strnlen(library.text, sizeof(library.text));
  if (length >= sizeof(result.version)) abort();
  memcpy(result.version, library.text, length);
  return result;
}

ZyFaceAgeResult ZyFaceAgeAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                 int left, int top, int right, int bottom, float factor) {
  base::MutexLock lock(g_model_library_lock);
  const QVAG_FaceResult face =
      QVAG_OneFaceAnalyze(gray, rgb, width, height, left, top, right, bottom, factor);
  return {face.prop, face.gender, face.age, face.age};
}

void ZyFaceAgeFinalize() {
  base::MutexLock lock(g_model_library_lock);
  if (g_live_users > 0) --g_live_users;
  if (g_live_users == 0) QVAG_Model_Clear();
}

void ZyFaceAgeClear() {}
