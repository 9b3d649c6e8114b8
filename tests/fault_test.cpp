// SPDX-License-Identifier: Apache-2.0
// Injects faults into the node: every allocation and every creation of a thread, a lock or a
// condition variable fails once. Also counts the allocations of a steady stream. The linker routes
// those calls of this program through wrappers. library_test checks that the node has no other way
// to allocate.
#include <atomic>
#include <cstring>
#include <new>

#include "analysis/zy_preview.h"
#include "framework/device_state.h"
#include "framework/own_node.h"
#include "tests/allocations.h"
#include "tests/device_testing.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);

namespace {

std::atomic<int> g_calls{0};
std::atomic<int> g_failing_call{-1};
std::atomic<bool> g_worker_is_off{false};  // a fault prevented the worker's thread
std::atomic<size_t> g_bytes{0};
std::atomic<int> g_blocks{0};  // not yet freed
std::atomic<int> g_locks{0};   // with conditions and attributes; not yet destroyed
thread_local int t_calls = 0;

bool ThisCallFails() {
  ++t_calls;
  return g_calls++ == g_failing_call;
}

class Starvation : public testing_support::AllocationWatch {
  bool Refuses(size_t) override { return ThisCallFails(); }
  void Allocated(void*, size_t bytes) override {
    g_bytes += bytes;
    ++g_blocks;
  }
  void Released(void*) override { --g_blocks; }
} g_starvation;

// Calls a pthread function unless this call must fail. A successful call adds `kLocks` to the
// objects to destroy.
template <int kLocks, typename... Arguments>
int CallOrFail(int error, int (*function)(Arguments...), std::decay_t<Arguments>... arguments) {
  if (ThisCallFails()) {
    g_worker_is_off = true;
    return error;
  }
  g_locks += kLocks;
  return function(arguments...);
}

}  // namespace

// The linker gives these names (--wrap). NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {

// operator new(size_t, nothrow)
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return ThisCallFails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

decltype(pthread_create) __real_pthread_create;
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
  return CallOrFail<0>(EAGAIN, __real_pthread_create, thread, attributes, function, argument);
}

decltype(pthread_mutex_init) __real_pthread_mutex_init;
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  return CallOrFail<1>(ENOMEM, __real_pthread_mutex_init, mutex, attributes);
}
decltype(pthread_mutex_destroy) __real_pthread_mutex_destroy;
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
  --g_locks;
  return __real_pthread_mutex_destroy(mutex);
}

decltype(pthread_condattr_init) __real_pthread_condattr_init;
int __wrap_pthread_condattr_init(pthread_condattr_t* attributes) {
  return CallOrFail<1>(ENOMEM, __real_pthread_condattr_init, attributes);
}
decltype(pthread_condattr_setclock) __real_pthread_condattr_setclock;
int __wrap_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
  EXPECT_EQ(clock, CLOCK_MONOTONIC);
  return CallOrFail<0>(EINVAL, __real_pthread_condattr_setclock, attributes, clock);
}
decltype(pthread_condattr_destroy) __real_pthread_condattr_destroy;
int __wrap_pthread_condattr_destroy(pthread_condattr_t* attributes) {
  --g_locks;
  return __real_pthread_condattr_destroy(attributes);
}

decltype(pthread_cond_init) __real_pthread_cond_init;
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
  return CallOrFail<1>(ENOMEM, __real_pthread_cond_init, condition, attributes);
}
// Returns at once when it fails.
decltype(pthread_cond_wait) __real_pthread_cond_wait;
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  return ThisCallFails() ? EINVAL : __real_pthread_cond_wait(condition, mutex);
}
decltype(pthread_cond_destroy) __real_pthread_cond_destroy;
int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
  --g_locks;
  return __real_pthread_cond_destroy(condition);
}

// Fails as if the thread were already gone.
decltype(pthread_join) __real_pthread_join;
int __wrap_pthread_join(pthread_t thread, void** result) {
  const int error = __real_pthread_join(thread, result);
  return ThisCallFails() ? ESRCH : error;
}

}  // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

using testing_support::DeviceTest;

class FaultTest : public DeviceTest {
 protected:
  // Counts instead of collecting, because a list of lines would allocate.
  FaultTest() {
    testing_support::g_allocation_watch = &g_starvation;
    framework::SetLogListener([this](const framework::LogLine& line) {
      failed_joins_ += std::strstr(line.text, "pthread dead already") != nullptr;
      const auto outcome = framework::OutcomeIn(line.text);
      considered_frames_ += outcome == framework::Outcome::kTaken;
      considered_frames_ += outcome == framework::Outcome::kDropped;
      EXPECT_FALSE(g_worker_is_off && outcome == framework::Outcome::kTaken);
      return false;
    });
  }
  ~FaultTest() override {
    testing_support::g_allocation_watch = nullptr;
    g_failing_call = -1;
    g_worker_is_off = false;
  }

  static void AwaitPass() {
    if (!g_worker_is_off) AwaitWorkers();
  }

  // Starts a node with its worker and the usual metadata. Returns false when a fault prevents its
  // creation.
  static bool Start(framework::Session& session) {
    if (session.Create(0, 160, 120)) return false;
    session.PostPipelineCreate();
    AwaitPass();
    framework::SetInput(framework::UsualState(640, 480, {0, 0, 160, 160}), &session.Input());
    return true;
  }

  // Sends requests whose frames are offered, and waits for the pass of each.
  void Send(framework::Session& session, media::Nv12Frame& frame, int count) {
    for (int i = 0; i < count; ++i) {
      framework::CameraBuffer buffer(&frame);
      ASSERT_FALSE(session.Process(frame_number_ += framework::kOfferPeriod, &buffer, &buffer));
      ASSERT_NE(session.Output().Find(result_tag_), nullptr);
      AwaitPass();
    }
  }

  const bool started_ = !framework::Framework::Get().Start(ChiNodeEntry);
  const uint32_t result_tag_ =
      framework::Framework::Get().Tags().Id("brodax.faceAnalyzeResult", "result");
  int failed_joins_ = 0;  // known from this thread's log only
  int considered_frames_ = 0;
  uint64_t frame_number_ = 4;
  media::Nv12Frame large_ = testing_support::PatternFrame(160, 120);
  media::Nv12Frame small_ = testing_support::PatternFrame(80, 60);
};

TEST_F(FaultTest, AfterEveryFaultAGoodFrameIsAnalysedOrTheNodeIsCleanlyOff) {
  int faults = 0, off = 0;
  for (bool failed = true; failed; ++faults) {
    device::AgeGender().Reset();
    g_calls = g_blocks = g_locks = 0;
    g_worker_is_off = false;
    g_failing_call = faults;
    {
      framework::Session session;
      if (Start(session)) {
        for (media::Nv12Frame* frame : {&large_, &small_, &large_}) Send(session, *frame, 10);
        const uint64_t passes = device::AgeGender().Counts().analyses;
        EXPECT_TRUE(passes == 0 || passes >= 7) << "fault " << faults << ": " << passes;
        off += passes == 0;
      }
      failed = g_calls > faults;
    }
    EXPECT_EQ(g_blocks, 0) << "fault " << faults;
    EXPECT_EQ(g_locks, 0) << "fault " << faults;
    EXPECT_EQ(device::FaceGrade().Counts().inits, device::FaceGrade().Counts().clears);
  }
  // The worker, its two locks, the condition with its attributes and clock, the grader and the
  // thread switch analysis off.
  EXPECT_EQ(off, 8);
  EXPECT_EQ(failed_joins_, 1);
  EXPECT_GT(faults, 20);  // those, the node, and the buffers of every size
}

TEST_F(FaultTest, AWorkerThatCannotBeReplacedLeavesANodeThatAnswers) {
  framework::Session session;
  ASSERT_TRUE(Start(session));
  Send(session, large_, 1);
  g_calls = 0;
  g_failing_call = 1;  // after the end of the first worker's thread
  session.PostPipelineCreate();
  g_worker_is_off = true;
  Send(session, large_, 4);
  EXPECT_EQ(session.Result().face_count, 0);
  EXPECT_EQ(device::AgeGender().Counts().clears, 1u);
}

TEST_F(FaultTest, AFailedResizeThatIsRevertedLosesNoMoreFrames) {
  framework::Session session;
  ASSERT_TRUE(Start(session));
  Send(session, large_, 1);
  g_calls = g_failing_call = 0;
  Send(session, small_, 4);
  Send(session, large_, 4);
  EXPECT_EQ(device::AgeGender().Counts().analyses, 2u);
}

TEST_F(FaultTest, AWorkerWithoutLocksRefusesFrames) {
  g_failing_call = g_calls.load();
  android::ZYPreview worker;
  const ZyImageBuffer image = {};
  const android::_FaceLocation face = {0, 0, 9, 9};
  EXPECT_EQ(worker.ProcessBuffer(&image, &face, 1, 0, 0), 1);
  EXPECT_EQ(considered_frames_, 0);
}

TEST_F(FaultTest, ASteadyStreamAllocatesAGrayImagePerPassAndNothingOnTheRequestThread) {
  framework::Session session;
  ASSERT_TRUE(Start(session));
  g_bytes = 0;
  Send(session, large_, 8);  // two passes: the frame, its colour image, a gray image for each
  EXPECT_EQ(g_bytes, size_t{160} * 120 * 3 / 2 + size_t{80} * 60 * (3 + 2));
  const uint64_t passes = device::AgeGender().Counts().analyses;
  const int before = t_calls;
  g_bytes = 0;
  Send(session, large_, 400);
  EXPECT_EQ(t_calls, before);
  EXPECT_EQ(g_bytes, size_t{100} * 80 * 60);  // on the worker thread, a gray image per pass
  EXPECT_EQ(device::AgeGender().Counts().analyses, passes + 100);
}

}  // namespace
