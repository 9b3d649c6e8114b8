// SPDX-License-Identifier: Apache-2.0
#include "framework/node_watch.h"

#include <pthread.h>
#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <thread>

#include "common/program.h"
#include "framework/crash_report.h"
#include "framework/framework.h"
#include "framework/worker_watch.h"

namespace framework {
namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr Milliseconds kTick{50};
constexpr Milliseconds kAfterInterrupt{600};

NodeWatchOptions g_options = {};  // constant from the first watch on
NodeEntry g_entry = nullptr;
pid_t g_process = 0;  // that runs the watch; a child has another

std::atomic<const char*> g_call{nullptr};          // in progress
std::atomic<const char*> g_request_call{nullptr};  // process-request, once called
std::atomic<uint64_t> g_calls{0};                  // started
std::atomic<uint64_t> g_model_calls{0};            // ended
std::atomic<uint64_t> g_request{0};                // the latest
std::atomic<int64_t> g_model_delay_ms{0};
std::atomic<bool> g_has_ended{false};
static_assert(std::atomic<const char*>::is_always_lock_free &&
              std::atomic<uint64_t>::is_always_lock_free);  // a signal handler reads them

thread_local bool t_calls_node = false;

// Writes the call in progress, or the pass, and its request between two texts. A signal handler
// uses it: it neither allocates nor touches a stream.
void Report(const char* before, const char* call, const char* after = "") {
  char request[40] = "";
  if (const uint64_t number = g_request; number != 0) {
    const char* const relation = call == g_request_call ? "of" : "after";
    std::snprintf(request, sizeof(request), " %s request %" PRIu64, relation, number);
  }
  // On a terminal it replaces a line of progress.
  const char* const start = isatty(STDERR_FILENO) != 0 ? "\r\033[K" : "";
  char line[512];
  std::snprintf(line, sizeof(line), "%s%s: %s%s%s%s\n", start, g_options.program, before, call,
                request, after);
  (void)!write(STDERR_FILENO, line, std::strlen(line));  // an error has no reader
}

// ---- Crashes and exits --------------------------------------------------------------------------

// Returns the call of a thread that crashes or ends the process.
const char* PlaceOfThread() {
  if (!t_calls_node) return "a thread of the node";
  const char* const call = g_call;
  return call != nullptr ? call : "no call of the node";
}

// Prints the crash. The signal then ends the process: a fault recurs when its instruction runs
// again, so a core file shows the original state; any other signal is sent again.
void PrintCrash(int signal, siginfo_t* info, void*) {
  const char* const name = sigdescr_np(signal);
  char before[64];
  std::snprintf(before, sizeof(before), "%s in ", name != nullptr ? name : "crashed");
  Report(before, PlaceOfThread());
  if (info->si_code <= 0) raise(signal);
}

void OnExit() {
  if (g_has_ended) return;
  Report("the node ended the process in ", PlaceOfThread());
  _exit(common::kExitFailure);
}

// ---- Hangs --------------------------------------------------------------------------------------

bool IsTraced() {
  std::ifstream status("/proc/self/status");
  for (std::string key, value; status >> key && std::getline(status, value);) {
    if (key == "TracerPid:") return std::stol(value) != 0;
  }
  return false;
}

void EndHang(const char* place, const std::string& what, Milliseconds limit) {
  if (IsTraced()) return;
  Report("", place, (what + std::to_string(limit.count() / 1000) + " s").c_str());
  _exit(common::kExitFailure);
}

// Adds up the time during which a count stays the same.
class Standstill {
 public:
  Milliseconds Add(bool is_busy, uint64_t count) {
    time_ = is_busy && count == count_ ? time_ + kTick : Milliseconds(0);
    count_ = count;
    return time_;
  }

 private:
  uint64_t count_ = 0;
  Milliseconds time_{0};
};

// Observes the node in ticks, so that the time in which the program is stopped does not count.
class Ticks {
 public:
  void Count() {
    const char* const call = g_call;
    const bool rests = WorkersAreIdle();
    const char* const place = call != nullptr ? call : "the worker's pass";
    if (*g_options.is_interrupted && (call != nullptr || !rests)) interrupted_ += kTick;
    if (interrupted_ > kAfterInterrupt) {
      Report("interrupted in ", place);
      _exit(common::kExitInterrupted);
    }
    const uint64_t models = g_model_calls;
    const Milliseconds call_time = call_.Add(call != nullptr, g_calls + models);
    const Milliseconds pass_time = pass_.Add(!rests, CountWorkers().passes + models);
    const Milliseconds limit = g_options.timeout + Milliseconds(g_model_delay_ms);
    if (g_options.timeout.count() == 0) return;
    if (call_time > limit) EndHang(call, " has not returned for ", limit);
    // A pass may begin with the call that hangs, and a tick earlier.
    if (pass_time > limit + kTick) EndHang("the worker's pass", " has not ended for ", limit);
  }

 private:
  Standstill call_, pass_;
  Milliseconds interrupted_{0};
};

// Blocks signals in this thread: they must end reads and sleeps of the others.
void StartTicks() {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread([] {
    for (Ticks ticks;; ticks.Count()) std::this_thread::sleep_for(kTick);
  }).detach();
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// ---- Calls --------------------------------------------------------------------------------------

// Marks a call during its lifetime.
class InCall {
 public:
  explicit InCall(const char* name) {
    ++g_calls;
    g_call = name;
  }
  ~InCall() {
    if (getpid() != g_process) _exit(common::kExitFailure);  // a child that the node forked
    g_call = nullptr;
  }
  InCall(const InCall&) = delete;
  InCall& operator=(const InCall&) = delete;
};

void NoteRequest(ChiNodeProcessRequestInfo* info) {
  g_request = info->frameNum;
  g_request_call = g_call.load();
}
template <typename Argument>
void NoteRequest(Argument) {}

// Wraps a callback of the node in a mark. Each callback has an argument of its own type.
template <typename Result, typename Argument>
void Watch(Result (*&callback)(Argument), const char* call) {
  static Result (*node)(Argument) = nullptr;
  static const char* name = nullptr;
  node = callback;
  name = call;
  if (callback == nullptr) return;
  callback = [](Argument argument) {
    const InCall mark(name);
    NoteRequest(argument);
    return node(argument);
  };
}

void WatchedEntry(ChiNodeCallbacks* table) {
  {
    const InCall call("ChiNodeEntry");
    g_entry(table);
  }
  ForEachCallback(*table,
                  [](auto& callback, const char*, const char* call) { Watch(callback, call); });
}

}  // namespace

NodeWatch::NodeWatch(const NodeWatchOptions& options) {
  g_has_ended = false;
  g_call = nullptr;
  t_calls_node = true;
  [[maybe_unused]] static const bool started = [&] {
    g_options = options;
    g_process = getpid();
    CatchCrashes(PrintCrash, true);
    std::atexit(OnExit);
    StartTicks();
    return true;
  }();
}

NodeWatch::~NodeWatch() {
  g_has_ended = true;
  g_call = "unloading the node";
}

common::Failure NodeWatch::Load(const std::string& path) {
  {
    const InCall call("loading the node");
    if (common::Failure failure = OpenNode(path, &g_entry)) return failure;
  }
  std::atexit(OnExit);  // registered before the library's own functions
  return Framework::Get().Start(WatchedEntry);
}

void NodeWatch::SetModelDelay(Milliseconds delay) { g_model_delay_ms = delay.count(); }

void NodeWatch::NoteModelCall() { ++g_model_calls; }

}  // namespace framework
