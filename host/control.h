// SPDX-License-Identifier: Apache-2.0
// The knobs of the pretend device: what its properties say, where its log goes, what its clock
// shows, whether its workers rest, and how its two models answer, fail and dawdle. Every stand-in
// library exports its own part of this header. All functions may be called from any thread.
#ifndef ZY_HOST_CONTROL_H_
#define ZY_HOST_CONTROL_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace host {

// ---- Log (liblog) -------------------------------------------------------------------------------

struct LogLine {
  int priority;
  const char* tag;   // null when the caller gave none
  const char* text;  // formatted; valid during the call only
};

// Sends every line to `sink`, one at a time; an empty sink drops lines unformatted, which is also
// how the log starts.
void SetLogSink(std::function<void(const LogLine&)> sink);

// ---- Properties (libcutils) ---------------------------------------------------------------------

void SetProperty(const std::string& key, const std::string& value);
void ClearProperties();

// ---- Clock and threads (libutils) ---------------------------------------------------------------

// Makes systemTime() answer `nanoseconds`, or the machine's monotonic clock again.
void SetClock(int64_t nanoseconds);
void UseRealClock();
// How often systemTime() was called. A worker reads the clock once at the end of each pass.
uint64_t ClockReads();

// Waits until every worker rests: until each condition variable that somebody created has been
// waited on since it was last signalled. False after `timeout`.
bool WaitForRestingWorkers(std::chrono::milliseconds timeout);

// While on, signals to those condition variables wait; switching it off passes them on. A request
// that is sent meanwhile is over before the worker begins with its frame. Not to be left on while a
// worker is destroyed: it would wait for its own end.
void HoldSignals(bool hold);

// Wakes every waiting worker without a reason, as a system may.
void WakeWorkersSpuriously();

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
  uint64_t overlaps;  // calls that began while another one ran; the library is not thread-safe
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
  uint64_t processed;
  uint64_t overlaps;
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

}  // namespace host

#endif  // ZY_HOST_CONTROL_H_
