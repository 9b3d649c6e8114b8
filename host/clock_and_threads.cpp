// SPDX-License-Identifier: Apache-2.0
// Stands in for libutils: the clock, and a view of who waits for what. The condition-variable
// functions below stand before the C library's in the search order, note the event and pass it on.
#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>
#include <utility>

#include "host/control.h"
#include "platform/android_clock.h"

namespace {

std::atomic<uint64_t> g_clock_reads{0};
std::atomic<bool> g_clock_is_set{false};
std::atomic<int64_t> g_set_time{0};

int64_t RealTime() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * INT64_C(1'000'000'000) + now.tv_nsec;
}

// A condition variable that somebody created, and whether it was waited on since its last signal.
// Both events happen under the mutex that belongs to it, so a resting worker has seen every signal.
struct Watched {
  std::atomic<pthread_cond_t*> condition{nullptr};
  std::atomic<bool> resting{false};
  bool is_signal_held = false;  // under g_hold_mutex
};

constexpr int kMaxWatched = 64;
Watched g_watched[kMaxWatched];

std::mutex g_hold_mutex;
bool g_holding = false;  // under g_hold_mutex

// Puts `to` where `from` stands; null stands for a free place.
void Replace(const pthread_cond_t* from, pthread_cond_t* to) {
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  for (Watched& watched : g_watched) {
    if (watched.condition.load() != from) continue;
    watched.resting = false;
    watched.condition = to;
    std::lock_guard<std::mutex> hold_lock(g_hold_mutex);
    watched.is_signal_held = false;
    return;
  }
}

void Note(const pthread_cond_t* condition, bool resting) {
  for (Watched& watched : g_watched) {
    if (watched.condition.load() == condition) watched.resting = resting;
  }
}

// Whether a signal is to wait; then it is kept.
bool HoldSignal(const pthread_cond_t* condition) {
  std::lock_guard<std::mutex> lock(g_hold_mutex);
  if (!g_holding) return false;
  for (Watched& watched : g_watched) {
    if (watched.condition.load() == condition) return watched.is_signal_held = true;
  }
  return false;
}

bool AllRest() {
  return std::all_of(std::begin(g_watched), std::end(g_watched), [](const Watched& watched) {
    return watched.condition.load() == nullptr || watched.resting.load();
  });
}

// The C library's function behind one of ours. Found again by each thread that asks first; an
// atomic, because the thread sanitizer does not see what orders calls that it passes on itself.
template <typename Function>
Function Next(std::atomic<Function>* found, const char* name) {
  Function function = found->load();
  if (function == nullptr) {
    function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
    found->store(function);
  }
  return function;
}

using InitFunction = int (*)(pthread_cond_t*, const pthread_condattr_t*);
using ConditionFunction = int (*)(pthread_cond_t*);
using WaitFunction = int (*)(pthread_cond_t*, pthread_mutex_t*);

int PassSignalOn(pthread_cond_t* condition) {
  static std::atomic<ConditionFunction> next{nullptr};
  return Next(&next, "pthread_cond_signal")(condition);
}

}  // namespace

void host::SetClock(int64_t nanoseconds) {
  g_set_time = nanoseconds;
  g_clock_is_set = true;
}

void host::UseRealClock() { g_clock_is_set = false; }

uint64_t host::ClockReads() { return g_clock_reads; }

bool host::WaitForRestingWorkers(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!AllRest()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    const timespec pause = {0, 50'000};
    nanosleep(&pause, nullptr);
  }
  return true;
}

void host::HoldSignals(bool hold) {
  std::lock_guard<std::mutex> lock(g_hold_mutex);
  g_holding = hold;
  if (hold) return;
  for (Watched& watched : g_watched) {
    if (!std::exchange(watched.is_signal_held, false)) continue;
    pthread_cond_t* const condition = watched.condition;
    if (condition != nullptr) PassSignalOn(condition);
  }
}

void host::WakeWorkersSpuriously() {
  for (Watched& watched : g_watched) {
    pthread_cond_t* const condition = watched.condition;
    if (condition != nullptr) PassSignalOn(condition);
  }
}

extern "C" {

int64_t systemTime(int) {
  ++g_clock_reads;
  return g_clock_is_set ? g_set_time.load() : RealTime();
}

int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) noexcept {
  static std::atomic<InitFunction> next{nullptr};
  const int result = Next(&next, "pthread_cond_init")(condition, attributes);
  if (result == 0) Replace(nullptr, condition);
  return result;
}

int pthread_cond_destroy(pthread_cond_t* condition) noexcept {
  static std::atomic<ConditionFunction> next{nullptr};
  Replace(condition, nullptr);
  return Next(&next, "pthread_cond_destroy")(condition);
}

int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  Note(condition, false);
  return HoldSignal(condition) ? 0 : PassSignalOn(condition);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  static std::atomic<WaitFunction> next{nullptr};
  Note(condition, true);
  return Next(&next, "pthread_cond_wait")(condition, mutex);
}

}  // extern "C"
