// SPDX-License-Identifier: Apache-2.0
// What every check has: the node and its device, a camera that sends requests, and ways to end.
#ifndef ZY_NODECHECK_NODECHECK_H_
#define ZY_NODECHECK_NODECHECK_H_

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "framework/device.h"
#include "framework/framework.h"

namespace nodecheck {

// What the command line says.
struct Options {
  std::string node;
  std::vector<std::string> devices;
  bool list = false;
  std::string filter;  // a part of the names of the checks to run
  std::string here;    // the one check to run in this process; empty without
  std::string junit;   // the file for the results; empty without
  uint64_t soak = 0;   // requests; 0 without a soak
  uint64_t lives = 0;
  int limit_ms = 0;
  uint32_t seed = 1;
  int timeout_s = 0;  // without progress
};

// Parses the command line. Returns true to go on; otherwise everything is printed, and `exit_code`
// is the program's.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

// ---- Ends of a check, which runs in a process of its own; any of its threads --------------------

[[noreturn]] void Fail(const std::string& what);
[[noreturn]] void Skip(const std::string& reason);
// What is worth a word besides "ok".
void Note(const std::string& word);
void Require(const common::Failure& failure);
void Require(bool holds, const std::string& what, const std::string& expected,
             const std::string& seen);
// Notes which call of the node runs, for the report of a crash or a hang. Each note is progress.
void Doing(const std::string& call);
// Prints a line of a long check at once.
void PrintRow(const std::string& row);

// ---- Checks -------------------------------------------------------------------------------------

struct Check;

// What a plain request gets: requests.plain learns it for all checks after it.
struct Expectations {
  uint32_t tags[64];
  uint32_t tag_count;
  bool calls_model;
};
Expectations& Expected();

// The node that is checked, and its device. One thread at a time before the first request.
class Subject {
 public:
  // Opens the device.
  explicit Subject(const Options& subject_options);

  // Loads the node on first use.
  framework::NodeEntry Entry();
  // Starts the node on first use.
  const ChiNodeCallbacks& Node();
  // Half of the time without progress: what a check itself waits for anything.
  std::chrono::milliseconds Patience() const {
    return std::chrono::milliseconds(500) * options.timeout_s;
  }
  // Waits until the workers rest.
  void AwaitWorkers() const;
  // Finds a control function of the model of age and gender; null when it has none.
  template <typename Function>
  Function* FindControl(const char* name) const {
    Function* control = nullptr;
    return device.FindKnob("libQVFD_AgeGender.so", name, &control) ? nullptr : control;
  }
  // Likewise, and skips the check without it, and for a node that does not call the model.
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

// Registers itself. It is run when those that it needs have passed.
struct Check {
  using Run = void (*)(Subject*);
  Check(const char* name, const char* about, Run run,
        std::vector<const Check*> needs = {&kRequestsPlain});

  const char* const name;
  const char* const about;  // a sentence
  const Run run;
  const std::vector<const Check*> needs;
};
// Others that are needed; and the soak. The first and the last are not listed.
extern const Check kLoading, kEntryCallbacks, kRequestsSizes, kTagsValues, kSoak;

// ---- The camera ---------------------------------------------------------------------------------

using framework::LentFrame;

// What a request must end with: success and the tags that plain requests get; that or an error;
// success or an error.
enum class End { kAnswer, kAnswerOrError, kAny };

// One node in a pipeline. Whatever the node does wrong ends the check.
class Camera {
 public:
  Camera(Subject* subject, uint32_t width, uint32_t height, bool starts_worker = true);
  ~Camera() { Destroy(); }
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // The usual metadata with so many faces, all in the middle of the camera's frame.
  void SetFaces(uint32_t faces);
  // Sends a request, at first with one face.
  void Send(uint64_t number, End end = End::kAnswer) { Send(number, &frame_, 1, end); }
  void Send(uint64_t number, LentFrame* frame, uint32_t buffers, End end);
  // Sends as many requests as any pacing needs to let some through to the worker, and waits for it.
  void SendSeries(LentFrame* frame, uint32_t buffers, End end);
  // Sends requests until a worker is woken; false if `most` did not.
  bool SendUntilWoken(uint64_t most);
  void Destroy();

  // Compares after each request: the picture that went in, its padding, and the request's record.
  bool compares = false;
  framework::Session session;

 private:
  void Judge(const std::string& request, ChiResult result, End end);

  Subject* const subject_;
  LentFrame frame_;
};

}  // namespace nodecheck

#endif  // ZY_NODECHECK_NODECHECK_H_
