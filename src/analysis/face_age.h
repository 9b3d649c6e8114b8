// SPDX-License-Identifier: Apache-2.0
// The five adapters to the closed age and gender model, and what every call into either closed
// library needs.
//
// Both libraries are process-wide and not thread-safe, while a process may hold several nodes, each
// with a worker. So every call into either library is made under one process-wide lock, and the
// model is cleared only when the last worker that registered with ZyFaceAgeAttach() goes.
#ifndef ZY_ANALYSIS_FACE_AGE_H_
#define ZY_ANALYSIS_FACE_AGE_H_

#include <cstdint>

#include "base/sync.h"

// The model library's version.
struct ZyFaceAgeVersion {
  char version[20];    // NUL-terminated
  int32_t fitCountry;  // 1 China, 2 India; the library does not tell, so it stays 0
};

// What the model says of one face. Both ages are the same one.
struct ZyFaceAgeResult {
  float prop;
  float gender;
  float ageWhenGenderHigh;
  float ageWhenGenderLow;
};

// Held around every call into either library; the adapters below take it themselves. It is the
// innermost lock: nothing else is locked under it. Any thread.
extern base::Mutex g_model_library;

// What `call` returns, or `otherwise` when it throws: an exception of a closed library must reach
// neither the framework's C interface nor the end of a thread. Any thread.
template <typename Result, typename Call>
Result CallModelLibrary(Result otherwise, Call call) ZY_REQUIRES(g_model_library) {
  try {
    return call();
  } catch (...) {
    return otherwise;
  }
}

// Counts one more user of the model; ZyFaceAgeFinalize() counts it off. Request thread.
void ZyFaceAgeAttach();

// Loads the model; true when it is ready, false also when the library throws. Worker thread.
bool ZyFaceAgeInit();

// The model's version; an empty text when the library throws. A version text of 20 characters or
// more does not fit the record and ends the process. Worker thread.
ZyFaceAgeVersion ZyFaceAgeGetVersion();

// Estimates one face. `gray` has width x height bytes, `rgb` three times as many (blue, green,
// red), rows without padding; left, top, right and bottom are the face's edges in pixels of that
// image. The buffers stay the caller's. All zeros when the library throws. Worker thread.
ZyFaceAgeResult ZyFaceAgeAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                 int left, int top, int right, int bottom, float factor);

// Releases the model when no other worker uses it, whether or not it was ever loaded. Request
// thread.
void ZyFaceAgeFinalize();

// Called when the frame size changes; the model keeps nothing that depends on it. Request thread.
void ZyFaceAgeClear();

#endif  // ZY_ANALYSIS_FACE_AGE_H_
