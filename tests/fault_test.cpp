// SPDX-License-Identifier: Apache-2.0
// Starves the node: every allocation and every creation of a thread, a lock or a condition variable
// fails once, in turn. Also counts what a steady stream allocates: nothing. The linker routes those
// calls of this program through the wrappers below.
#include <atomic>
#include <cstring>
#include <new>
#include <utility>

#include "analysis/zy_preview.h"
#include "tests/device_testing.h"
#include "tests/node_testing.h"

namespace {

std::atomic<int> g_calls{0};
std::atomic<int> g_failing_call{-1};
std::atomic<bool> g_worker_is_off{false};  // a fault kept the worker's thread from starting
std::atomic<size_t> g_bytes{0};            // of malloc
std::atomic<int> g_blocks{0};              // of malloc, not yet freed
std::atomic<int> g_locks{0};               // and conditions and attributes, not yet destroyed
thread_local int t_calls = 0;
thread_local bool t_in_framework = false;

bool ThisCallFails() {
  t_calls += t_in_framework ? 0 : 1;
  return g_calls++ == g_failing_call;
}

// Calls a pthread function unless this call of it fails.
template <typename... Arguments>
int CallOrFail(int error, int (*function)(Arguments...), std::decay_t<Arguments>... arguments) {
  if (!ThisCallFails()) return function(arguments...);
  g_worker_is_off = true;
  return error;
}

int Created(int error) {
  g_locks += error == 0;
  return error;
}

}  // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  if (ThisCallFails()) return nullptr;
  g_bytes += size;
  ++g_blocks;
  return __real_malloc(size);
}
void __real_free(void* block);
void __wrap_free(void* block) {
  g_blocks -= block != nullptr;
  __real_free(block);
}

// operator new and new[]: the framework of this program uses them, the node may not.
void* __real__Znwm(size_t size);
void* __wrap__Znwm(size_t size) {
  t_calls += t_in_framework ? 0 : 1;
  return __real__Znwm(size);
}
void* __real__Znam(size_t size);
void* __wrap__Znam(size_t size) {
  t_calls += t_in_framework ? 0 : 1;
  return __real__Znam(size);
}

// operator new(size_t, nothrow)
void* __real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag) {
  return ThisCallFails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                          void* (*function)(void*), void* argument) {
  return CallOrFail(EAGAIN, __real_pthread_create, thread, attributes, function, argument);
}

int __real_pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  return Created(CallOrFail(ENOMEM, __real_pthread_mutex_init, mutex, attributes));
}
int __real_pthread_mutex_destroy(pthread_mutex_t*);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
  --g_locks;
  return __real_pthread_mutex_destroy(mutex);
}

int __real_pthread_condattr_init(pthread_condattr_t*);
int __wrap_pthread_condattr_init(pthread_condattr_t* attributes) {
  return Created(CallOrFail(ENOMEM, __real_pthread_condattr_init, attributes));
}
int __real_pthread_condattr_setclock(pthread_condattr_t*, clockid_t);
int __wrap_pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
  return CallOrFail(EINVAL, __real_pthread_condattr_setclock, attributes, clock);
}
int __real_pthread_condattr_destroy(pthread_condattr_t*);
int __wrap_pthread_condattr_destroy(pthread_condattr_t* attributes) {
  --g_locks;
  return __real_pthread_condattr_destroy(attributes);
}

int __real_pthread_cond_init(pthread_cond_t*, const pthread_condattr_t*);
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
  return Created(CallOrFail(ENOMEM, __real_pthread_cond_init, condition, attributes));
}
// A wait that fails returns at once.
int __real_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  return ThisCallFails() ? EINVAL : __real_pthread_cond_wait(condition, mutex);
}
int __real_pthread_cond_destroy(pthread_cond_t*);
int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
  --g_locks;
  return __real_pthread_cond_destroy(condition);
}

// A join that fails finds the thread gone already.
int __real_pthread_join(pthread_t, void**);
int __wrap_pthread_join(pthread_t thread, void** result) {
  const int error = __real_pthread_join(thread, result);
  return ThisCallFails() ? ESRCH : error;
}

}  // extern "C"

namespace {

using testing_support::DeviceTest;

// A framework function whose own allocations do not count.
template <auto kMember, typename Record>
ChiResult Uncounted(Record* record) {
  const bool before = std::exchange(t_in_framework, true);
  const ChiResult result = (framework::Framework::Interface().*kMember)(record);
  t_in_framework = before;
  return result;
}

class FaultTest : public DeviceTest {
 protected:
  // Counts instead of collecting, because a list of lines would allocate.
  FaultTest() {
    host::SetLogSink([this](const host::LogLine& line) {
      failed_joins_ += std::strstr(line.text, "pthread dead already") != nullptr;
      considered_frames_ += std::strstr(line.text, "ProcessBuffer++") != nullptr;
      EXPECT_FALSE(g_worker_is_off && std::strstr(line.text, "mAnalyzingEnabled:1") != nullptr);
    });
  }
  ~FaultTest() override {
    g_failing_call = -1;
    g_worker_is_off = false;
  }

  static void AwaitPass() {
    if (!g_worker_is_off) AwaitWorkers();
  }

  // A node with its worker and the usual metadata. False when a fault kept it from being created.
  static bool Start(framework::Session& session) {
    if (session.Create(0, 160, 120)) return false;
    session.PostPipelineCreate();
    AwaitPass();
    testing_support::SetUsualMetadata(session.Input(), {640, 480}, {0, 0, 160, 160});
    return true;
  }

  // Sends every sixth request, so that each is handed over, and awaits its pass.
  void Send(framework::Session& session, pictures::Nv12Frame& frame, int count) {
    for (int i = 0; i < count; ++i) {
      framework::CameraBuffer buffer(&frame);
      ASSERT_FALSE(session.Process(frame_number_ += 6, &buffer, &buffer));
      ASSERT_NE(session.Output().Find(result_tag_), nullptr);
      AwaitPass();
    }
  }

  const bool started_ = !framework::Framework::Get().Start(ChiNodeEntry);
  const uint32_t result_tag_ = testing_support::TagId("brodax.faceAnalyzeResult", "result");
  int failed_joins_ = 0;  // the log of this thread alone tells of these
  int considered_frames_ = 0;
  uint64_t frame_number_ = 4;
  pictures::Nv12Frame large_ = testing_support::PatternFrame(160, 120);
  pictures::Nv12Frame small_ = testing_support::PatternFrame(80, 60);
};

TEST_F(FaultTest, AfterEveryFaultAGoodFrameIsAnalysedOrTheNodeIsCleanlyOff) {
  int faults = 0, off = 0;
  for (bool failed = true; failed; ++faults) {
    host::ResetAgeGender();
    g_calls = g_blocks = g_locks = 0;
    g_worker_is_off = false;
    g_failing_call = faults;
    {
      framework::Session session;
      if (Start(session)) {
        for (pictures::Nv12Frame* frame : {&large_, &small_, &large_}) Send(session, *frame, 10);
        const uint64_t passes = host::AgeGenderCounters().analyses;
        EXPECT_TRUE(passes == 0 || passes >= 7) << "fault " << faults << ": " << passes;
        off += passes == 0;
      }
      failed = g_calls > faults;
    }
    EXPECT_EQ(g_blocks, 0) << "fault " << faults;
    EXPECT_EQ(g_locks, 0) << "fault " << faults;
    EXPECT_EQ(host::FaceGradeCounters().created, host::FaceGradeCounters().destroyed);
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
  EXPECT_EQ(host::AgeGenderCounters().clears, 1u);
}

TEST_F(FaultTest, AFailedResizeThatIsTakenBackLosesNoMoreFrames) {
  framework::Session session;
  ASSERT_TRUE(Start(session));
  Send(session, large_, 1);
  g_calls = g_failing_call = 0;
  Send(session, small_, 4);
  Send(session, large_, 4);
  EXPECT_EQ(host::AgeGenderCounters().analyses, 2u);
}

TEST_F(FaultTest, AWorkerWithoutLocksLooksAtNoFrame) {
  g_failing_call = g_calls.load();
  android::ZYPreview worker;
  const ZyImageBuffer image = {};
  const android::_FaceLocation face = {0, 0, 9, 9};
  EXPECT_EQ(worker.ProcessBuffer(&image, &face, 1, 0, 0), 1);
  EXPECT_EQ(considered_frames_, 0);
}

TEST_F(FaultTest, ASteadyStreamAllocatesAGrayImagePerPassAndNothingOnTheRequestThread) {
  ChiNodeInterface interface = framework::Framework::Interface();
  interface.pGetMetadata = Uncounted<&ChiNodeInterface::pGetMetadata>;
  interface.pSetMetadata = Uncounted<&ChiNodeInterface::pSetMetadata>;
  interface.pGetVendorTagBase = Uncounted<&ChiNodeInterface::pGetVendorTagBase>;
  framework::Framework::Get().Callbacks().pSetNodeInterface(&interface);
  framework::Session session;
  ASSERT_TRUE(Start(session));
  g_bytes = 0;
  Send(session, large_, 8);  // two passes: the frame, its colour image, a gray image for each
  EXPECT_EQ(g_bytes, size_t{160} * 120 * 3 / 2 + 80 * 60 * (3 + 2));
  const uint64_t passes = host::AgeGenderCounters().analyses;
  const int before = t_calls;
  g_bytes = 0;
  Send(session, large_, 400);
  EXPECT_EQ(t_calls, before);
  EXPECT_EQ(g_bytes, size_t{100} * 80 * 60);  // on the worker thread, a gray image per pass
  EXPECT_EQ(host::AgeGenderCounters().analyses, passes + 100);
}

}  // namespace
