// SPDX-License-Identifier: Apache-2.0
// The five adapters to the closed age and gender model, and the lock for calls into either closed
// library.
//
// Both libraries are process-wide and not thread-safe, but a process may hold several nodes, each
// with a worker. So one process-wide lock guards every call into either library, and only the last
// worker that registered with ZyFaceAgeAttach() clears the model.
#ifndef ZY_ANALYSIS_FACE_AGE_H_
#define ZY_ANALYSIS_FACE_AGE_H_

#include <cstdint>

#include "base/sync.h"

struct ZyFaceAgeVersion {
  char version[20];    // NUL-terminated
  int32_t fitCountry;  // 1 China, 2 India; the library does not report it, so it stays 0
};

// The model's answer for one face. Both ages are equal.
struct ZyFaceAgeResult {
  float prop;
  float gender;
  float ageWhenGenderHigh;
  float ageWhenGenderLow;
};

// Held around every call into either library; the adapters below take it themselves. It is the
// innermost lock: no other lock is taken under it. Any thread.
extern base::Mutex g_model_library;

// Returns the result of `call`, or `otherwise` when it throws: an exception of a closed library
// must reach neither the framework's C interface nor the end of a thread. Any thread.
template <typename Result, typename Call>
Result CallModelLibrary(Result otherwise, Call call) ZY_REQUIRES(g_model_library) {
  try {
    return call();
  } catch (...) {
    return otherwise;
  }
}

// Registers one more user of the model, which ZyFaceAgeFinalize() releases. Request thread.
void ZyFaceAgeAttach();

// Loads the model and returns true when it is ready, false also when it throws. Worker thread.
bool ZyFaceAgeInit();

// Returns the model's version, empty when the library throws. A version text of 20 characters or
// more does not fit the record and ends the process. Worker thread.
ZyFaceAgeVersion ZyFaceAgeGetVersion();

// Estimates one face. `gray` has width x height bytes, `rgb` three times as many (blue, green,
// red), rows without padding. The edges are in pixels of that image. The buffers stay the caller's.
// Returns all zeros when the library throws. Worker thread.
ZyFaceAgeResult ZyFaceAgeAnalyze(const uint8_t* gray, const uint8_t* rgb, int width, int height,
                                 int left, int top, int right, int bottom, float factor);

// Releases one use; the last one clears the model, loaded or not. Request thread.
void ZyFaceAgeFinalize();

// Reports a new frame size; the model keeps nothing that depends on it. Request thread.
void ZyFaceAgeClear();

#endif  // ZY_ANALYSIS_FACE_AGE_H_
