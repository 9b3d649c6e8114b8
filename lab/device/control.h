// SPDX-License-Identifier: Apache-2.0
// The knobs of the pretend device: what its properties say, what its clock shows, and how its two
// models answer, fail and dawdle. Every stand-in library exports its own part of this header. All
// functions may be called from any thread. Programs, which open a device's libraries without
// knowing them, look the C functions at the end up by name; the others are for tests that link the
// stand-ins.
#ifndef ZY_DEVICE_CONTROL_H_
#define ZY_DEVICE_CONTROL_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace device {

// ---- Properties (libcutils) ---------------------------------------------------------------------

void SetProperty(const std::string& key, const std::string& value);
void ClearProperties();

// ---- Clock (libutils) ---------------------------------------------------------------------------

// Makes systemTime() answer `nanoseconds`, or the machine's monotonic clock again.
void SetClock(int64_t nanoseconds);
void UseRealClock();
// How often systemTime() was called. A worker reads the clock once at the end of each pass.
uint64_t ClockReads();

// ---- Utilities of the framework (libchinodeutils) -----------------------------------------------

// How often buffers were negotiated.
uint64_t BufferNegotiations();

// ---- Age and gender model (libQVFD_AgeGender) ---------------------------------------------------

struct AgeGenderAnswer {
  float age;
  float prop;
  float gender;
};

// One call of the model, with digests of the pixels that it was given.
struct AgeGenderCall {
  int width, height, left, top, right, bottom;
  float factor;
  uint64_t gray_digest;
  uint64_t rgb_digest;
};

struct AgeGenderCounts {
  uint64_t inits;
  uint64_t analyses;
  uint64_t clears;
};

// Back to the built-in answer, no delay, no failures, no recording, counts at zero.
void ResetAgeGender();
// Lets the next `attempts` initialisations fail; a negative number fails all.
void FailAgeGenderInit(int attempts);
// Makes initialisations that fail throw.
void ThrowFromAgeGenderInit(bool throws);
// Makes every analysis take this long.
void SetAgeGenderDelay(std::chrono::milliseconds delay);
// Answers instead of the built-in measure; empty for the built-in one.
void ScriptAgeGender(std::function<AgeGenderAnswer(const AgeGenderCall&)> script);
// The 56 bytes of the version record, cut or filled with NULs.
void SetAgeGenderVersion(const std::string& bytes);
// Records calls from now on (or no longer); AgeGenderCalls() returns what was recorded.
void RecordAgeGender(bool record);
std::vector<AgeGenderCall> AgeGenderCalls();
AgeGenderCounts AgeGenderCounters();

// ---- Face grade (libFaceGrade) ------------------------------------------------------------------

struct FaceGradeAnswer {
  float grade;
  float scores[3];
};

// One call of process(), with the rectangle set before it.
struct FaceGradeCall {
  int x, y, face_width, face_height;
  int width, height;
  bool flag;
  uint64_t rgb_digest;
};

struct FaceGradeCounts {
  uint64_t created;
  uint64_t destroyed;
};

void ResetFaceGrade();
void SetFaceGradeDelay(std::chrono::milliseconds delay);
void ScriptFaceGrade(std::function<FaceGradeAnswer(const FaceGradeCall&)> script);
// Makes the construction of a FaceGradeInterface throw.
void ThrowFromFaceGrade(bool throws);
// Makes process() return without touching its result.
void SkipFaceGradeResult(bool skip);
void RecordFaceGrade(bool record);
std::vector<FaceGradeCall> FaceGradeCalls();
FaceGradeCounts FaceGradeCounters();

}  // namespace device

// ---- Knobs that are looked up by name -----------------------------------------------------------

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

// libcutils: sets a property; a null value takes it away.
void zy_set_property(const char* key, const char* value);

// libQVFD_AgeGender: time of each analysis; set-ups that fail from now on (-1 fails all); who is
// told of each analysis at its end, on the calling thread (null for nobody).
void zy_set_age_gender_delay(int milliseconds);
void zy_fail_age_gender_inits(int attempts);
void zy_tell_age_gender_calls(ZyModelListener listener, void* context);
// Calls of the library that began while another one ran.
uint64_t zy_overlapping_age_gender_calls();

// libFaceGrade: likewise.
void zy_tell_face_grade_calls(ZyModelListener listener, void* context);
uint64_t zy_overlapping_face_grade_calls();

}  // extern "C"

#endif  // ZY_DEVICE_CONTROL_H_
