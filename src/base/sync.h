// SPDX-License-Identifier: Apache-2.0
// Thin wrappers around the POSIX mutex and condition variable, with clang's thread-safety
// annotations. Creating them can fail, and Init() reports it.
#ifndef ZY_BASE_SYNC_H_
#define ZY_BASE_SYNC_H_

#include <pthread.h>

#if defined(__clang__)
#define ZY_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZY_THREAD_ANNOTATION(x)
#endif

#define ZY_CAPABILITY ZY_THREAD_ANNOTATION(capability("mutex"))
#define ZY_SCOPED_CAPABILITY ZY_THREAD_ANNOTATION(scoped_lockable)
#define ZY_GUARDED_BY(mutex) ZY_THREAD_ANNOTATION(guarded_by(mutex))
#define ZY_REQUIRES(...) ZY_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZY_ACQUIRE(...) ZY_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define ZY_RELEASE(...) ZY_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define ZY_EXCLUDES(...) ZY_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace base {

class ConditionVariable;

// A mutex with default attributes. An object with static storage uses the default constructor,
// which cannot fail and runs no code at load. Others call Init() before the first Lock(). Any
// thread.
class ZY_CAPABILITY Mutex {
 public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  // Returns false when the system refuses; the mutex must not be locked then.
  bool Init() { return created_ = pthread_mutex_init(&mutex_, nullptr) == 0; }
  // Destroys the mutex if Init() succeeded. No thread may hold it or wait for it.
  void Destroy() {
    if (created_) pthread_mutex_destroy(&mutex_);
    created_ = false;
  }

  void Lock() ZY_ACQUIRE() { pthread_mutex_lock(&mutex_); }
  void Unlock() ZY_RELEASE() { pthread_mutex_unlock(&mutex_); }

 private:
  friend class ConditionVariable;
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  bool created_ = false;
};

// A condition variable on the monotonic clock. Any thread.
class ConditionVariable {
 public:
  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  // Returns false when the system refuses; the variable must not be used then.
  bool Init() {
    pthread_condattr_t attributes;
    if (pthread_condattr_init(&attributes) != 0) return false;
    created_ = pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC) == 0 &&
               pthread_cond_init(&condition_, &attributes) == 0;
    pthread_condattr_destroy(&attributes);
    return created_;
  }
  // Destroys the variable if Init() succeeded. No thread may wait on it.
  void Destroy() {
    if (created_) pthread_cond_destroy(&condition_);
    created_ = false;
  }

  // Releases `mutex`, sleeps until a signal or a spurious wake-up, and locks `mutex` again.
  void Wait(Mutex& mutex) ZY_REQUIRES(mutex) { pthread_cond_wait(&condition_, &mutex.mutex_); }
  void Signal() { pthread_cond_signal(&condition_); }

 private:
  pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
  bool created_ = false;
};

// Holds a mutex for the length of a scope.
class ZY_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZY_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~MutexLock() ZY_RELEASE() { mutex_.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace base

#endif  // ZY_BASE_SYNC_H_
