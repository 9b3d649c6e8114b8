// SPDX-License-Identifier: Apache-2.0
// Runs nodes for very long: many requests, spread over many lives. Every request must get its
// record, what becomes of the frames must add up in every life, and memory, threads and descriptors
// must stay as they are. Lives come in turns of three kinds: in the first the frames come as a
// camera's do, one in six for the worker, which gets the time that it needs; in the second all are
// for the worker, faster than it takes them; in the third a second thread lives such a life of its
// own beside, so that two nodes share the models and come and go together.
// usage: soak [REQUESTS] [LIVES] [KIB]   (resident memory may grow by so much after a warm-up)
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "framework/frame_fate.h"
#include "host/control.h"
#include "pictures/scene.h"
#include "tests/node_testing.h"

namespace {

using testing_support::SetUsualMetadata;
using testing_support::SetWords;

// What became of the frames of one life, or of many. Those abandoned were pending when their node
// was destroyed.
struct Fates {
  uint64_t requests, offered, skipped, dropped, taken, analysed, abandoned;

  Fates operator+(const Fates& other) const {
    return {requests + other.requests,  offered + other.offered, skipped + other.skipped,
            dropped + other.dropped,    taken + other.taken,     analysed + other.analysed,
            abandoned + other.abandoned};
  }
};

struct Footprint {
  int64_t resident_kib;
  int64_t threads;
  int64_t descriptors;
};

thread_local Fates t_life = {};  // of the node that lives on this thread

void Require(bool holds, const char* promise, uint64_t life) {
  if (holds) return;
  std::fprintf(stderr, "soak: broken in life %" PRIu64 ": %s\n", life, promise);
  std::exit(1);
}

void CountFates(const host::LogLine& line) {
  const auto fate = framework::FateIn(line.text);
  t_life.taken += fate == framework::FrameFate::kTaken;
  t_life.dropped += fate == framework::FrameFate::kDropped;
}

int64_t CountEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

Footprint Measure() {
  int64_t size = 0, resident_pages = 0;
  std::ifstream("/proc/self/statm") >> size >> resident_pages;
  return {resident_pages * 4, CountEntries("/proc/self/task"), CountEntries("/proc/self/fd")};
}

// The threads that are there without a node. One comes and goes first, because a sanitizer starts a
// thread of its own with it.
int64_t CountThreadsAtRest() {
  pid_t id = 0;
  std::thread([&] { id = gettid(); }).join();
  while (std::filesystem::exists("/proc/self/task/" + std::to_string(id)))
    std::this_thread::yield();
  return CountEntries("/proc/self/task");
}

// A thread that was joined is counted until the kernel, or an emulator, has cleared it away.
Footprint MeasureAtRest(int64_t threads) {
  Footprint now = Measure();
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (now.threads != threads && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    now = Measure();
  }
  return now;
}

pictures::Nv12Frame Frame(int width, int height) {
  pictures::Nv12Frame frame;
  pictures::Scene(width, height, 0, 1).Draw(0, &frame);
  return frame;
}

class Soak {
 public:
  // A life, or two at once, with so many requests in all.
  Fates Live(uint64_t life, uint64_t requests) {
    const bool is_hurried = life % 3 != 0, is_shared = life % 3 == 2;
    const uint64_t passes = host::ClockReads();
    Fates beside = {};
    std::thread second([&] {
      if (is_shared) beside = LiveAlone(life, requests / 2, is_hurried);
    });
    Fates fates = LiveAlone(life, is_shared ? requests - requests / 2 : requests, is_hurried);
    second.join();
    fates = fates + beside;
    fates.analysed = host::ClockReads() - passes;
    fates.abandoned = fates.taken - fates.analysed;
    Require(fates.abandoned <= (is_shared    ? 2
                                : is_hurried ? 1
                                             : 0),
            "only its end makes a worker abandon a frame", life);
    return fates;
  }

 private:
  // Sizes, faces and switches change on the way.
  Fates LiveAlone(uint64_t life, uint64_t requests, bool is_hurried) {
    t_life = {};
    {
      framework::Session session;
      Require(!session.Create(0, 64, 48), "a node is created", life);
      session.PostPipelineCreate();
      for (uint64_t i = 0; i < requests; ++i) {
        const bool offered = Send(session, 4 + i * (is_hurried ? 6 : 1), i / 64, life);
        t_life.offered += offered;
        if (offered && !is_hurried) host::WaitForRestingWorkers(std::chrono::seconds(60));
      }
    }
    t_life.requests = requests;
    t_life.skipped = t_life.offered - t_life.offered / 4 - (t_life.offered % 4 != 0);
    Require(t_life.offered == t_life.skipped + t_life.dropped + t_life.taken, "fates add up", life);
    return t_life;
  }

  // Returns whether the request offered a frame to the worker.
  bool Send(framework::Session& session, uint64_t number, uint64_t scene, uint64_t life) {
    const auto faces = static_cast<std::size_t>(scene % 4);
    framework::Metadata& input = session.Input();
    SetUsualMetadata(input, {128, 128}, std::vector<int32_t>(faces * 4, 160));
    SetWords(input, "brodax.faceGenderAndAge", "enabled", {scene % 3 != 0});
    SetWords(input, "brodax.faceScore", "enabled", {scene % 3 != 1});
    SetWords(input, "brodax.device", "orientation", {static_cast<uint32_t>(scene % 4 * 90)});
    framework::CameraBuffer buffer(&frames_[scene / 4 % 2]);
    Require(!session.Process(number, &buffer, &buffer), "a request succeeds", life);
    const bool hands_over = number % 6 == 4;
    const auto expected = static_cast<int32_t>(hands_over ? faces : 0);
    Require(session.Output().Find(result_) != nullptr, "a request gets its record", life);
    Require(session.Result().face_count == expected, "the record tells of its faces", life);
    return hands_over && faces != 0;
  }

  pictures::Nv12Frame frames_[2] = {Frame(64, 48), Frame(48, 66)};
  const uint32_t result_ = testing_support::TagId("brodax.faceAnalyzeResult", "result");
};

void Print(const Fates& all, const Footprint& now) {
  std::printf("%11" PRIu64 " %9" PRIu64 " %9" PRIu64 " %8" PRIu64 " %8" PRIu64 " %9" PRIu64
              " %9" PRIu64 " %9" PRId64 " %7" PRId64 " %11" PRId64 "\n",
              all.requests, all.offered, all.skipped, all.dropped, all.taken, all.analysed,
              all.abandoned, now.resident_kib, now.threads, now.descriptors);
  std::fflush(stdout);
}

uint64_t Argument(int count, char** values, int index, uint64_t otherwise) {
  return index < count ? std::strtoull(values[index], nullptr, 10) : otherwise;
}

}  // namespace

int main(int count, char** values) {
  const uint64_t requests = Argument(count, values, 1, 10'000'000);
  const uint64_t lives = std::max<uint64_t>(10, Argument(count, values, 2, 10'000));
  const auto growth = static_cast<int64_t>(Argument(count, values, 3, 1024));
  host::SetLogSink(CountFates);
  Require(!framework::Framework::Get().Start(ChiNodeEntry), "the library starts", 0);
  std::printf(
      "   requests   offered   skipped  dropped    taken  analysed abandoned       KiB "
      "threads descriptors\n");
  Soak soak;
  Fates all = {};
  const int64_t threads = CountThreadsAtRest();
  Footprint warm = {};
  for (uint64_t life = 0; life < lives; ++life) {
    all = all + soak.Live(life, (life + 1) * requests / lives - life * requests / lives);
    if ((life + 1) % (lives / 10) != 0) continue;
    const Footprint now = MeasureAtRest(threads);
    if (warm.threads == 0) warm = now;
    Print(all, now);
    Require(now.resident_kib <= warm.resident_kib + growth, "resident memory stays flat", life);
    Require(now.threads == threads, "no thread stays behind", life);
    Require(now.descriptors == warm.descriptors, "no descriptor stays open", life);
  }
  const host::FaceGradeCounts graders = host::FaceGradeCounters();
  const uint64_t nodes = lives + lives / 3;
  Require(graders.created == nodes && graders.destroyed == nodes, "a grader per node", lives);
  const uint64_t clears = host::AgeGenderCounters().clears;
  Require(clears >= lives && clears <= nodes, "the last node of a life clears the model", lives);
  Require(graders.overlaps + host::AgeGenderCounters().overlaps == 0, "calls take turns", lives);
  return 0;
}
