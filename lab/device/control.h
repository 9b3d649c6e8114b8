// SPDX-License-Identifier: Apache-2.0
// Controls of the fake device: its properties, its clock, and how its two models answer, fail and
// wait. Each fake library exports its own part of this header. Any thread may call the functions.
// Programs open a device's libraries without linking them, and find the C functions at the end by
// name; the others are for tests that link the fakes.
#ifndef ZY_DEVICE_CONTROL_H_
#define ZY_DEVICE_CONTROL_H_

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

extern "C" {

// One call of a model library. The pointers are valid only while the listener runs.
struct ZyModelCall {
  const uint8_t* gray;  // width x height bytes; null for a model that does not receive them
  const uint8_t* rgb;   // width x height pixels of blue, green, red
  int width, height;
  int left, top, right, bottom;  // of the face
  float answer[4];               // age, prop, gender, 0; or grade and three scores
};
using ZyModelListener = void (*)(void* context, const ZyModelCall* call);

// libcutils: sets a property; a null value removes it.
void zy_set_property(const char* key, const char* value);

// libQVFD_AgeGender: sets the time of each analysis.
void zy_set_age_gender_delay(int milliseconds);
// Lets the next `attempts` set-ups fail; -1 fails all.
void zy_fail_age_gender_inits(int attempts);
// Calls the listener at the end of each analysis, on the analysing thread; null for none.
void zy_report_age_gender_calls(ZyModelListener listener, void* context);
// Returns the number of calls that began while another one ran.
uint64_t zy_overlapping_age_gender_calls();

// libFaceGrade: as for libQVFD_AgeGender.
void zy_report_face_grade_calls(ZyModelListener listener, void* context);
uint64_t zy_overlapping_face_grade_calls();

}  // extern "C"

namespace device {

// libcutils: removes all properties.
void ClearProperties();

// libutils: lets systemTime() return `nanoseconds`, or the machine's monotonic clock again.
void SetClock(int64_t nanoseconds);
void UseRealClock();
// Returns the number of systemTime() calls. A worker makes one at the end of each pass.
uint64_t ClockReads();

// libchinodeutils: returns how often buffers were negotiated, and sets the result of that.
uint64_t BufferNegotiations();
void SetBufferNegotiationResult(int32_t result);

// ---- The two models -----------------------------------------------------------------------------

// The listener of a model's calls, if any.
struct ModelListener {
  ZyModelListener function = nullptr;
  void* context = nullptr;

  void Show(const ZyModelCall& call) const {
    if (function != nullptr) function(context, &call);
  }
};

// Behaviour of a model from the next call on.
struct ModelSettings {
  std::chrono::milliseconds delay{0};  // of each analysis
  int failing_inits = 0;               // number of set-ups that fail next; negative: all
  bool failing_inits_throw = false;    // as a set-up of the face grade always does
  bool is_mute = false;                // an analysis returns at once, without a result
  bool records = false;                // stores its calls
  ModelListener listener;
  std::string version = "host-1.0";  // of age and gender; cut or padded with NULs to 56 bytes
};

struct ModelCounts {
  uint64_t attempts;  // to set a model up
  uint64_t inits;     // successful ones
  uint64_t analyses;
  uint64_t clears;
};

// Controls one model. Call and Answer are declared below.
template <typename Call, typename Answer>
class ModelControl {
 public:
  using Script = std::function<Answer(const Call&)>;

  // Restores the built-in answer and the default settings; drops calls and counts.
  void Reset() {
    std::lock_guard<std::mutex> lock(mutex_);
    state_ = State();
  }
  template <typename Setting, typename Value>
  void Set(Setting ModelSettings::*setting, const Value& value) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_.settings.*setting = value;
  }
  // Sets a function that answers on the calling thread; empty for the built-in answer.
  void SetScript(Script script) {
    std::lock_guard<std::mutex> lock(mutex_);
    state_.script = std::move(script);
  }
  // Returns the stored calls.
  std::vector<Call> Calls() {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_.calls;
  }
  ModelCounts Counts() {
    std::lock_guard<std::mutex> lock(mutex_);
    return state_.counts;
  }

 protected:
  struct State {
    ModelSettings settings;
    Script script;
    std::vector<Call> calls;
    ModelCounts counts = {};
    bool has_failed = false;  // the latest set-up
  };

  std::mutex mutex_;  // guards state_
  State state_;
};

// Arguments common to both models: digests of the pixels, and the face's edges.
struct ModelCall {
  int width, height, left, top, right, bottom;
  uint64_t gray_digest;  // 0 for a model that does not receive gray pixels
  uint64_t rgb_digest;
};

struct AgeGenderCall : ModelCall {
  float factor;
};

struct AgeGenderAnswer {
  float age;
  float prop;
  float gender;
};

struct FaceGradeCall : ModelCall {
  bool flag;
};

struct FaceGradeAnswer {
  float grade;
  float scores[3];
};

// libQVFD_AgeGender.
ModelControl<AgeGenderCall, AgeGenderAnswer>& AgeGender();
// libFaceGrade. Its set-up is the construction of a FaceGradeInterface.
ModelControl<FaceGradeCall, FaceGradeAnswer>& FaceGrade();

}  // namespace device

#endif  // ZY_DEVICE_CONTROL_H_
