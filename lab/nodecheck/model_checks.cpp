// SPDX-License-Identifier: Apache-2.0
// Models that are slow, and models that fail. All of it needs the knobs of the stand-ins.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "device/control.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

constexpr char kModel[] = "libQVFD_AgeGender.so";
std::atomic<int> g_calls{0};

void CountCalls(const Subject& subject) {
  subject.Knob<decltype(zy_tell_age_gender_calls)>(kModel, "zy_tell_age_gender_calls")(
      [](void*, const ZyModelCall*) { ++g_calls; }, nullptr);
}

// The longest of so many requests that come over 0.6 seconds, or the first above the limit, in ms.
double LongestRequest(Camera* camera, int limit_ms) {
  std::chrono::duration<double, std::milli> longest(0);
  for (uint64_t number = 1; number <= 120 && longest.count() <= limit_ms; ++number) {
    const auto begin = std::chrono::steady_clock::now();
    camera->Send(number);
    longest = std::max<decltype(longest)>(longest, std::chrono::steady_clock::now() - begin);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return longest.count();
}

// The best of up to five series counts: in one, another program may have had the processor.
std::string SlowModel(const Subject& subject) {
  const int limit_ms = subject.options.limit_ms;
  const auto delay =
      subject.Knob<decltype(zy_set_age_gender_delay)>(kModel, "zy_set_age_gender_delay");
  delay(std::max(500, 2 * limit_ms));
  CountCalls(subject);
  subject.Start();
  Camera camera(1280, 720);
  double longest = LongestRequest(&camera, limit_ms);
  for (int series = 1; series < 5 && longest > limit_ms; ++series) {
    longest = std::min(longest, LongestRequest(&camera, limit_ms));
  }
  camera.Destroy();
  if (g_calls == 0) Skip("the node calls no model");
  char text[32];
  std::snprintf(text, sizeof(text), "%.2f ms", longest);
  Require(longest <= limit_ms, "the longest request", "at most " + std::to_string(limit_ms) + " ms",
          text);
  return "the longest took " + std::string(text);
}

std::string FailingSetUp(const Subject& subject) {
  const auto fail =
      subject.Knob<decltype(zy_fail_age_gender_inits)>(kModel, "zy_fail_age_gender_inits");
  CountCalls(subject);
  subject.Start();
  for (const int attempts : {1, 7, -1}) {
    fail(attempts);
    Camera camera(640, 480);
    uint64_t number = 0;
    while (number++ < 120) {
      camera.Send(number);
      if (number % 6 == 0) AwaitWorkers();
    }
    fail(0);
    g_calls = 0;
    // A worker may wait long for a processor.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (g_calls == 0 && std::chrono::steady_clock::now() < end) {
      camera.Send(++number);
      AwaitWorkers();
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    Require(g_calls != 0, "5 s after the model's recovery", "a call of it", "none");
  }
  return "";
}

}  // namespace

const Checks kModelChecks = {
    {"models.slow", "No request waits while a model call takes 500 ms.", SlowModel},
    {"models.failing", "Set-ups of the model fail without harm, and analysis resumes.",
     FailingSetUp},
};

}  // namespace nodecheck
