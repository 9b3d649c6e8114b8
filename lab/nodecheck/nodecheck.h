// SPDX-License-Identifier: Apache-2.0
// What every check has: the node and its device, a camera that sends requests, and ways to end.
#ifndef ZY_NODECHECK_NODECHECK_H_
#define ZY_NODECHECK_NODECHECK_H_

#include <cstdint>
#include <string>
#include <vector>

#include "framework/device.h"
#include "framework/framework.h"
#include "framework/guarded_bytes.h"

namespace nodecheck {

// What the command line says.
struct Options {
  std::string node;
  std::vector<std::string> devices;
  bool list = false;
  std::string filter;          // a part of the names of the checks to run
  std::vector<uint64_t> soak;  // requests and lives; empty without a soak
  int limit_ms = 0;
  uint32_t seed = 1;
  int timeout_s = 0;
};

// Reads the command line. Returns true to go on; otherwise everything is said, and `exit_code` is
// what the program ends with.
bool ParseOptions(int argc, char** argv, Options* options, int* exit_code);

// Whether times and resident memory say little here: under a sanitizer or an emulator.
bool IsSlowMachine();

// ---- Ends of a check, which runs in a process of its own; any of its threads --------------------

[[noreturn]] void Fail(const std::string& what);
[[noreturn]] void Skip(const std::string& reason);
void Require(const common::Failure& failure);
void Require(bool holds, const std::string& what, const std::string& expected,
             const std::string& seen);
// Notes which call of the node runs, for the report of a crash or a hang.
void Doing(const std::string& call);

// ---- Checks -------------------------------------------------------------------------------------

struct Subject {
  // Starts the node; nearly every check begins so.
  const ChiNodeCallbacks& Start() const;
  // A knob of the device; skips the check when it has none.
  template <typename Function>
  Function* Knob(const char* library, const char* name) const {
    Function* knob = nullptr;
    if (common::Failure failure = device.FindKnob(library, name, &knob)) Skip(failure->message);
    return knob;
  }

  const Options& options;
  framework::Device device;
  framework::NodeEntry entry = nullptr;
};

// A check returns what is worth a word besides "ok".
struct Check {
  const char* name;
  const char* about;
  std::string (*run)(const Subject&);
};
using Checks = std::vector<Check>;
extern const Checks kEntryChecks, kRecordChecks, kTagChecks, kRequestChecks, kLifeChecks,
    kModelChecks;
extern const Check kSoak;

// ---- The camera ---------------------------------------------------------------------------------

// A frame whose planes, `pitch` bytes for each row, end at a page that nobody may touch.
struct Frame {
  Frame(uint32_t width, uint32_t height, uint32_t pitch);
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

  framework::GuardedBytes luma, chroma;
  ChiImage image = {};
  ChiNodeBuffer buffer = {};
};

// One node in a pipeline. Tag values end at such a page as well. Whatever the node does wrong ends
// the check.
class Camera {
 public:
  Camera(uint32_t width, uint32_t height, bool starts_worker = true);
  ~Camera() { Destroy(); }
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // The usual metadata with so many faces, all in the middle of the camera's frame.
  void SetFaces(uint32_t faces);
  // Sends a request, at first with one face. A valid one must succeed; of one that succeeds there
  // must be one publication, with a record of at most three faces.
  void Send(uint64_t number) { Send(number, &frame_, true); }
  void Send(uint64_t number, Frame* frame, bool is_valid);
  void Send(uint64_t number, std::vector<ChiNodeBuffer*> buffers, bool is_valid);
  // Sends requests until a worker is woken; false if `most` did not.
  bool SendUntilWoken(uint64_t most);
  void Destroy();

  framework::Session session;

 private:
  Frame frame_;
};

// Waits for the workers' rest; a minute is a hang.
void AwaitWorkers();

// ---- What the process holds ---------------------------------------------------------------------

struct Footprint {
  int64_t resident_kib, threads, descriptors;
};
// The threads that are there without a node.
int64_t CountThreadsAtRest();
// Waits until as many threads are left, for ten seconds at most, and measures.
Footprint MeasureAtRest(int64_t threads);
void RequireNothingLeft(int64_t threads, const Footprint& warm, const Footprint& now);
// Calls of a model that overlapped are the node's fault; the libraries are not thread-safe.
void RequireTurns(const Subject& subject);

}  // namespace nodecheck

#endif  // ZY_NODECHECK_NODECHECK_H_
