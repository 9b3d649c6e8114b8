// SPDX-License-Identifier: Apache-2.0
// Counts the allocations of a program and lets a chosen one fail. For one source file of a program
// that is named by zy_watch_allocations() in CMakeLists.txt: the linker then routes its calls
// through the wrappers below. Calls of the C++ library's own objects are not seen.
#ifndef ZY_TESTS_ALLOCATIONS_H_
#define ZY_TESTS_ALLOCATIONS_H_

#include <atomic>
#include <cstddef>
#include <new>

namespace testing_support {

inline std::atomic<int> g_calls{0};          // that may fail, counted from 0
inline std::atomic<int> g_failing_call{-1};  // none
inline std::atomic<size_t> g_bytes{0};       // of malloc
inline std::atomic<int> g_blocks{0};         // of malloc, not yet given back
inline std::atomic<bool> g_array_new_fails{false};
inline thread_local int t_calls = 0;  // every allocation of this thread
inline thread_local bool t_calls_are_not_counted = false;

inline void CountOfThread() { t_calls += t_calls_are_not_counted ? 0 : 1; }

inline bool ThisCallFails() {
  CountOfThread();
  return g_calls++ == g_failing_call;
}

}  // namespace testing_support

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  if (testing_support::ThisCallFails()) return nullptr;
  testing_support::g_bytes += size;
  ++testing_support::g_blocks;
  return __real_malloc(size);
}
void __real_free(void* block);
void __wrap_free(void* block) {
  testing_support::g_blocks -= block != nullptr;
  __real_free(block);
}

// operator new and operator new[]: of tests and the framework, which are not to fail.
void* __real__Znwm(size_t size);
void* __wrap__Znwm(size_t size) {
  testing_support::CountOfThread();
  return __real__Znwm(size);
}
void* __real__Znam(size_t size);
void* __wrap__Znam(size_t size) {
  testing_support::CountOfThread();
  if (testing_support::g_array_new_fails) throw std::bad_alloc();
  return __real__Znam(size);
}

// operator new(size_t, nothrow)
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return testing_support::ThisCallFails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

}  // extern "C"

#endif  // ZY_TESTS_ALLOCATIONS_H_
