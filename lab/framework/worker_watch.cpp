// SPDX-License-Identifier: Apache-2.0
#include "framework/worker_watch.h"

#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>

namespace {

enum class Held { kNothing, kSignal, kBroadcast };

// Signal and wait happen under the mutex of the condition variable, so a sleeping worker has
// received every signal. All members are atomic, also those under a lock: the thread sanitizer does
// not see locks inside the calls that it intercepts itself.
struct Watched {
  std::atomic<pthread_cond_t*> condition{nullptr};
  std::atomic<uint64_t> untreated{0};      // signals since the last wait
  std::atomic<Held> held{Held::kNothing};  // changed under g_hold_mutex
  std::atomic<bool> idle{false};           // waited on since the last signal
  std::atomic<int64_t> doubted{0};  // deadline until which it may have no worker at all; else 0
};

constexpr int kMaxWatched = 256;
Watched g_watched[kMaxWatched];
std::mutex g_table_mutex;  // for changes of the table

std::mutex g_hold_mutex;
std::atomic<bool> g_holding{false};  // changed under g_hold_mutex

std::atomic<uint64_t> g_signals{0};
std::atomic<uint64_t> g_passes{0};

thread_local bool t_has_waited = false;
constexpr std::chrono::seconds kDoubt{2};

int64_t Now() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

Watched* Find(const pthread_cond_t* condition) {
  const auto found =
      std::find_if(std::begin(g_watched), std::end(g_watched),
                   [=](const Watched& w) { return w.condition.load() == condition; });
  return found != std::end(g_watched) ? found : nullptr;
}

// Replaces `from` by `to`; null means a free entry. Returns null when the table is full.
Watched* Replace(const pthread_cond_t* from, pthread_cond_t* to, int64_t doubted = 0) {
  std::lock_guard<std::mutex> lock(g_table_mutex);
  if (from == nullptr && Find(to) != nullptr) return Find(to);  // another thread was faster
  Watched* const watched = Find(from);
  if (watched == nullptr) return nullptr;
  watched->idle = false;
  watched->untreated = 0;
  watched->doubted = doubted;
  watched->condition = to;
  std::lock_guard<std::mutex> hold_lock(g_hold_mutex);
  watched->held = Held::kNothing;
  return watched;
}

void NoteWait(pthread_cond_t* condition) {
  t_has_waited = true;
  Watched* watched = Find(condition);
  if (watched == nullptr) watched = Replace(nullptr, condition);
  if (watched == nullptr) return;
  g_passes += watched->untreated.exchange(0);
  watched->doubted = 0;
  watched->idle = true;
}

// Watches a condition variable from its first signal on: one without initialisation may be
// signalled before its worker first waits. A worker's own signals are replies, which nobody needs
// to wait for. The deadline covers a reply before the worker's first wait.
Watched* WatchSignalled(pthread_cond_t* condition) {
  if (t_has_waited) return nullptr;
  return Replace(nullptr, condition, Now() + std::chrono::nanoseconds(kDoubt).count());
}

// Returns whether a signal must wait, and keeps it.
bool NoteSignal(pthread_cond_t* condition, Held kind) {
  Watched* watched = Find(condition);
  if (watched == nullptr) watched = WatchSignalled(condition);
  if (watched == nullptr) return false;
  ++g_signals;
  ++watched->untreated;
  watched->idle = false;
  std::lock_guard<std::mutex> lock(g_hold_mutex);
  if (g_holding) watched->held = std::max(watched->held.load(), kind);
  return g_holding;
}

bool AllRest() {
  return std::all_of(std::begin(g_watched), std::end(g_watched), [](const Watched& watched) {
    const int64_t doubted = watched.doubted;
    return watched.condition.load() == nullptr || watched.idle.load() ||
           (doubted != 0 && Now() > doubted);
  });
}

// The C library's function behind one of ours. Each thread may look it up again; atomic, because
// the thread sanitizer does not see the order of calls that it intercepts itself.
class Next {
 public:
  explicit constexpr Next(const char* name) : name_(name) {}

  template <typename... Arguments>
  int operator()(Arguments... arguments) {
    if (found_ == nullptr) found_ = dlsym(RTLD_NEXT, name_);
    return reinterpret_cast<int (*)(Arguments...)>(found_.load())(arguments...);
  }

 private:
  const char* const name_;
  std::atomic<void*> found_{nullptr};
};

Next g_init("pthread_cond_init");
Next g_destroy("pthread_cond_destroy");
Next g_signal("pthread_cond_signal");
Next g_broadcast("pthread_cond_broadcast");
Next g_wait("pthread_cond_wait");
Next g_timed_wait("pthread_cond_timedwait");
Next g_clock_wait("pthread_cond_clockwait");

}  // namespace

namespace framework {

bool WaitForIdleWorkers(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!AllRest()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    const timespec pause = {0, 50'000};
    nanosleep(&pause, nullptr);
  }
  return true;
}

void HoldSignals(bool hold) {
  std::lock_guard<std::mutex> lock(g_hold_mutex);
  g_holding = hold;
  if (hold) return;
  for (Watched& watched : g_watched) {
    const Held held = watched.held.exchange(Held::kNothing);
    pthread_cond_t* const condition = watched.condition;
    if (held == Held::kNothing || condition == nullptr) continue;
    held == Held::kSignal ? g_signal(condition) : g_broadcast(condition);
  }
}

void WakeWorkersSpuriously() {
  for (Watched& watched : g_watched) {
    pthread_cond_t* const condition = watched.condition;
    if (condition != nullptr) g_signal(condition);
  }
}

WorkerCounts CountWorkers() { return {g_signals, g_passes}; }

}  // namespace framework

extern "C" {

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
  const int result = g_init(condition, attributes);
  // The memory may be reused without a destruction of its former content.
  if (result == 0 && Replace(condition, condition) == nullptr) Replace(nullptr, condition);
  return result;
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  Replace(condition, nullptr);
  return g_destroy(condition);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  return NoteSignal(condition, Held::kSignal) ? 0 : g_signal(condition);
}

int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  return NoteSignal(condition, Held::kBroadcast) ? 0 : g_broadcast(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  NoteWait(condition);
  return g_wait(condition, mutex);
}

int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* until) {
  NoteWait(condition);
  return g_timed_wait(condition, mutex, until);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* until) {
  NoteWait(condition);
  return g_clock_wait(condition, mutex, clock, until);
}

}  // extern "C"
