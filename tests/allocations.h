// SPDX-License-Identifier: Apache-2.0
// Counts a program's allocations, and lets chosen ones fail. The program is linked with
// -Wl,--wrap=malloc,--wrap=free,--wrap=_Znam,--wrap=_ZdaPv (the last two are new[] and delete[]),
// which routes its calls here; calls inside shared libraries are not wrapped. One source file of a
// program includes this.
#ifndef ZY_TESTS_ALLOCATIONS_H_
#define ZY_TESTS_ALLOCATIONS_H_

#include <atomic>
#include <cstddef>
#include <new>

namespace testing_support {

// Its functions run on the allocating thread and must not allocate.
class AllocationWatch {
 public:
  virtual ~AllocationWatch() = default;
  virtual bool Refuses(std::size_t bytes) = 0;
  virtual void Allocated(void* block, std::size_t bytes) = 0;
  virtual void Released(void* block) = 0;  // not null
};

inline std::atomic<AllocationWatch*> g_allocation_watch{nullptr};

inline void* Allocate(void* (*real)(std::size_t), std::size_t bytes) {
  AllocationWatch* const watch = g_allocation_watch;
  if (watch == nullptr) return real(bytes);
  void* const block = watch->Refuses(bytes) ? nullptr : real(bytes);
  if (block != nullptr) watch->Allocated(block, bytes);
  return block;
}

inline void Release(void (*real)(void*), void* block) {
  AllocationWatch* const watch = g_allocation_watch;
  if (watch != nullptr && block != nullptr) watch->Released(block);
  real(block);
}

}  // namespace testing_support

// The linker gives these names (--wrap). NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {

void* __real_malloc(std::size_t bytes);
void __real_free(void* block);
void* __real__Znam(std::size_t bytes);
void __real__ZdaPv(void* block);

void* __wrap_malloc(std::size_t bytes) { return testing_support::Allocate(__real_malloc, bytes); }
void __wrap_free(void* block) { testing_support::Release(__real_free, block); }
void* __wrap__Znam(std::size_t bytes) {
  void* const block = testing_support::Allocate(__real__Znam, bytes);
  return block != nullptr ? block : throw std::bad_alloc();
}
void __wrap__ZdaPv(void* block) { testing_support::Release(__real__ZdaPv, block); }

}  // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)

#endif  // ZY_TESTS_ALLOCATIONS_H_
