// SPDX-License-Identifier: Apache-2.0
// Common parts of all checks: the node and its device, a camera that sends requests, and verdicts.
#ifndef ZY_NODECHECK_NODECHECK_H_
#define ZY_NODECHECK_NODECHECK_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "framework/device.h"
#include "framework/device_state.h"

namespace nodecheck {

inline constexpr char kProgram[] = "nodecheck";

// The parsed command line of nodecheck.
struct Options {
  std::string node;
  std::vector<std::string> devices;
  bool list = false;
  std::string filter;  // a part of the names of the checks to run
  std::string here;    // the only check to run, in this process; or empty
  std::string junit;   // file for the results, or empty
  uint64_t soak = 0;   // requests; 0 without a soak
  uint64_t lives = 0;  // of the soak; 0 for one per 1,000 requests
  int limit_ms = 0;
  uint32_t seed = 1;
  int timeout_s = 0;  // without progress
};

// Parses the command line. Returns true to go on; otherwise everything is printed, and `exit_code`
// is the program's exit code.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

// ---- Verdicts of a check, which runs in its own process; from any of its threads ----------------

[[noreturn]] void Fail(const std::string& what);
[[noreturn]] void Skip(const std::string& reason);
// Adds a remark to the verdict "ok".
void Note(const std::string& word);
void Require(const common::Failure& failure);
void Require(bool holds, const std::string& what, const std::string& expected,
             const std::string& seen);
// Records the node's running call, for the report of a crash or a hang. Each call counts as
// progress.
void Doing(const std::string& call);
// Prints a line of a long check immediately.
void PrintRow(const std::string& row);

// ---- Checks -------------------------------------------------------------------------------------

struct Check;

// The results of a plain request: requests.plain learns them for all later checks.
struct Expectations {
  uint32_t tags[65];  // up to a 0
  bool calls_model;
};
Expectations& Expected();

// The node under test and its device. One thread at a time before the first request.
class Subject {
 public:
  // Opens the device.
  explicit Subject(const Options& subject_options);

  // Loads the node on first use.
  framework::NodeEntry Entry();
  // Starts the node on first use.
  const ChiNodeCallbacks& Node();
  // Returns how long a check itself waits: half of the time without progress.
  std::chrono::milliseconds Patience() const {
    return std::chrono::milliseconds(500) * options.timeout_s;
  }
  // Waits until the workers are idle.
  void AwaitWorkers() const;
  // Finds a control of the age and gender model; null when it has none.
  template <typename Function>
  Function* FindControl(const char* name) const {
    Function* control = nullptr;
    return device.FindControl("libQVFD_AgeGender.so", name, &control) ? nullptr : control;
  }
  // Finds a control, or skips the check without it and for a node that does not call the model.
  template <typename Function>
  Function* NeedControl(const char* name) const {
    auto* const control = FindControl<Function>(name);
    if (control == nullptr) Skip("libQVFD_AgeGender.so has no " + std::string(name));
    if (!Expected().calls_model) Skip("the node calls no model of age and gender");
    return control;
  }

  const Options& options;
  framework::Device device;

 private:
  framework::NodeEntry entry_ = nullptr;
  bool is_started_ = false;
};

extern const Check kRequestsPlain;

// Registers itself. Runs after the checks that it needs have passed.
struct Check {
  using Run = void (*)(Subject*);
  Check(const char* name, const char* about, Run run,
        std::vector<const Check*> needs = {&kRequestsPlain});

  const char* const name;
  const char* const about;  // a sentence
  const Run run;
  const std::vector<const Check*> needs;
};
// Checks that others need, and the soak. The first and the last are not listed.
extern const Check kLoading, kEntryCallbacks, kRequestsSizes, kTagsValues, kSoak;

// ---- The camera ---------------------------------------------------------------------------------

using framework::LentFrame;

// The allowed ends of a request: success with the tags of plain requests; that or an error; success
// or an error.
enum class End { kAnswer, kAnswerOrError, kAny };

// One node in a pipeline. Any fault of the node ends the check.
class Camera {
 public:
  Camera(Subject* subject, uint32_t width, uint32_t height, bool starts_worker = true);
  ~Camera();

  // Returns the usual tags with `faces` faces, all in the middle of the camera's frame.
  framework::DeviceState Usual(uint32_t faces);
  // Sets the tags of the next requests; initially the usual ones with a face.
  void Set(const framework::DeviceState& tags) { framework::SetInput(tags, &session.Input()); }
  // Sends a request.
  void Send(uint64_t number, End end = End::kAnswer) { Send(number, &frame_, 1, end); }
  void Send(uint64_t number, LentFrame* frame, uint32_t buffers, End end);
  // Sends enough requests for any pacing to pass some to the worker, then waits for it.
  void SendSeries() { SendSeries(&frame_, 1, End::kAnswer); }
  void SendSeries(LentFrame* frame, uint32_t buffers, End end);
  // Sends requests until a worker is woken; returns false if 60 did not suffice.
  bool SendUntilWoken();

  // Compares the input, its padding, the tags' values and the request's record after each request.
  bool compares = false;
  framework::Session session;

 private:
  void Judge(const std::string& request, ChiResult result, End end);

  Subject* const subject_;
  LentFrame frame_;
};

}  // namespace nodecheck

#endif  // ZY_NODECHECK_NODECHECK_H_
