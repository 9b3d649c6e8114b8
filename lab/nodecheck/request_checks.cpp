// SPDX-License-Identifier: Apache-2.0
// Requests of all shapes.
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <deque>
#include <iterator>
#include <limits>
#include <map>
#include <thread>

#include "device/control.h"
#include "framework/random_metadata.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

using framework::Margin;

// Sends frames of many shapes at four orientations of the device.
void SendShapes(Subject* subject, Margin margin, bool compares) {
  constexpr std::array<uint32_t, 3> kShapes[] = {{640, 480, 640}, {641, 479, 704},  {1, 1, 2},
                                                 {2, 300, 64},    {333, 1, 384},    {64, 48, 4096},
                                                 {97, 211, 98},   {1280, 720, 1280}};
  Camera camera(subject, 640, 480);
  camera.compares = compares;
  framework::DeviceState tags = camera.Usual(2);
  for (const auto& [width, height, pitch] : kShapes) {
    LentFrame frame(width, height, pitch, margin);
    for (const int32_t orientation : {0, 90, 180, 270}) {
      tags.orientation = orientation;
      camera.Set(tags);
      camera.SendSeries(&frame, 1, End::kAnswerOrError);
    }
  }
}

// Records whether the node calls the model, and the tags of every answer.
void Plain(Subject* subject) {
  Expectations& expected = Expected();
  auto* const tell =
      subject->FindControl<decltype(zy_report_age_gender_calls)>("zy_report_age_gender_calls");
  const auto note = [](void* calls, const ZyModelCall*) { *static_cast<bool*>(calls) = true; };
  if (tell != nullptr) tell(note, &expected.calls_model);
  Camera camera(subject, 640, 480);
  std::map<uint32_t, int> answers;  // by tag
  for (uint64_t number = 1; number <= 12; ++number) {
    camera.Send(number);
    for (const auto& value : camera.session.Output().Values()) answers[value.tag] += value.present;
  }
  subject->AwaitWorkers();
  uint32_t count = 0;
  for (const auto& [tag, number] : answers) {
    if (number == 12 && count + 1 < std::size(expected.tags)) expected.tags[count++] = tag;
  }
  Note(std::to_string(count) + " tags with each");
}

void Sizes(Subject* subject) {
  for (const Margin margin : {Margin::kGuardBehind, Margin::kGuardBefore}) {
    SendShapes(subject, margin, false);
  }
}

void KeptRecords(Subject* subject) { SendShapes(subject, Margin::kFiller, true); }
const Check kKeptRecords("requests.kept",
                         "The input, its padding and the request's record stay the same.",
                         KeptRecords);

// Uses each frame once: its planes become inaccessible afterwards.
void Returned(Subject* subject) {
  Camera camera(subject, 320, 240);
  std::deque<LentFrame> frames;
  for (uint64_t number = 1; number <= 24; ++number) {
    LentFrame& frame = frames.emplace_back(320, 240, 320);
    camera.Send(number, &frame, 1, End::kAnswer);
    frame.Close();
  }
  subject->AwaitWorkers();
}
const Check kReturned("requests.returned",
                      "Planes are not touched after the return of process-request.", Returned);

// Sends requests with one malformed part each.
void Malformed(Subject* subject) {
  Camera camera(subject, 640, 480);
  for (const uint32_t pitch : {0u, 1u, 320u, 639u}) {
    LentFrame frame(640, 480, pitch, Margin::kGuardBehind);
    camera.SendSeries(&frame, 1, End::kAny);
  }
  for (int missing = 0; missing < 5; ++missing) {
    LentFrame frame(640, 480, 640);
    for (const int i : {0, 1}) {
      if (missing < 2) frame.records().images[i].pPlaneAddress[missing] = nullptr;
      if (missing == 2) frame.records().buffers[i].numPlanes = 1;
      if (missing == 3) frame.records().buffers[i].numImages = 0;
      if (missing == 4) frame.records().buffers[i].pImages = nullptr;
    }
    camera.SendSeries(&frame, 1, End::kAny);
  }
  LentFrame frame(640, 480, 640);
  for (const uint32_t count : {0u, 2u, 12u, 13u, 100u}) {
    camera.SendSeries(&frame, count, End::kAny);
  }
  camera.Send(1);
}
const Check kMalformed("requests.malformed",
                       "A pitch below the width, missing planes and images, 0 to 100 buffers.",
                       Malformed, {&kRequestsSizes});

void FrameNumbers(Subject* subject) {
  Camera camera(subject, 320, 240);
  for (const uint64_t first : {UINT64_C(0), UINT64_MAX - 15}) {
    for (uint64_t i = 0; i < 30; ++i) camera.Send(first + i);  // past the maximum, to 0 again
  }
  for (uint64_t i = 30; i > 0; --i) camera.Send(i);
  for (int i = 0; i < 12; ++i) camera.Send(4);
}
const Check kFrameNumbers("requests.frame_numbers",
                          "Frame numbers from 0, backwards, over the end, and again.",
                          FrameNumbers);

void RandomMetadata(Subject* subject) {
  std::mt19937 random(subject->options.seed);
  Camera camera(subject, 640, 480);
  for (uint64_t number = 1; number <= 1000;) {
    const Margin margin = random() % 2 == 0 ? Margin::kGuardBehind : Margin::kGuardBefore;
    const auto width = static_cast<uint32_t>(1 + random() % 400);
    LentFrame frame(width, static_cast<uint32_t>(1 + random() % 300), width + width % 2, margin);
    camera.session.Options().margin_of_tags = margin;
    for (int i = 0; i < 25; ++i, ++number) {
      framework::SetRandomMetadata(&random, &camera.session.Input());
      camera.Send(number, &frame, 1, End::kAny);
    }
    subject->AwaitWorkers();
  }
}
const Check kRandom("requests.random", "1,000 requests with random metadata; --seed varies them.",
                    RandomMetadata, {&kRequestsSizes, &kTagsValues});

// ---- Slow and failing models; all checks need the controls of the fakes -------------------------

std::atomic<int> g_calls{0};

// Returns the longest of the requests sent over 0.6 seconds, or the first above the limit, in ms.
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

// Takes the best of up to five series: in one, another program may have used the processor.
void SlowModel(Subject* subject) {
  const int limit_ms = subject->options.limit_ms;
  const auto delay =
      subject->NeedControl<decltype(zy_set_age_gender_delay)>("zy_set_age_gender_delay");
  delay(std::max(500, 2 * limit_ms));
  Camera camera(subject, 1280, 720);
  double longest = std::numeric_limits<double>::max();
  for (int series = 0; series < 5 && longest > limit_ms; ++series) {
    longest = std::min(longest, LongestRequest(&camera, limit_ms));
  }
  char text[32];
  std::snprintf(text, sizeof(text), "%.2f ms", longest);
  Require(longest <= limit_ms, "the longest request", "at most " + std::to_string(limit_ms) + " ms",
          text);
  Note("the longest took " + std::string(text));
}
const Check kSlow("models.slow", "No request waits while a model call takes 500 ms.", SlowModel);

void FailingSetUp(Subject* subject) {
  const auto fail =
      subject->NeedControl<decltype(zy_fail_age_gender_inits)>("zy_fail_age_gender_inits");
  subject->NeedControl<decltype(zy_report_age_gender_calls)>("zy_report_age_gender_calls")(
      [](void*, const ZyModelCall*) { ++g_calls; }, nullptr);
  for (const int attempts : {1, 7, -1}) {
    fail(attempts);
    Camera camera(subject, 640, 480);
    for (int series = 0; series < 8; ++series) camera.SendSeries();
    fail(0);
    g_calls = 0;
    const auto end = std::chrono::steady_clock::now() + subject->Patience();
    while (g_calls == 0 && std::chrono::steady_clock::now() < end) {
      camera.SendSeries();
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    Require(g_calls != 0, "after the model's recovery", "a call of it", "none");
  }
}
const Check kFailing("models.failing", "Set-ups of the model fail without harm; analysis resumes.",
                     FailingSetUp);

}  // namespace

const Check kRequestsPlain("requests.plain", "Twelve equal requests are answered.", Plain,
                           {&kEntryCallbacks});
const Check kRequestsSizes("requests.sizes",
                           "Sizes that change, odd ones, wide pitches, at four orientations.",
                           Sizes);

}  // namespace nodecheck
