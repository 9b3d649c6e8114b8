// SPDX-License-Identifier: Apache-2.0
// What nodes leave behind, and the soak: many requests, spread over many lives.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "device/control.h"
#include "framework/log_watch.h"
#include "framework/own_node.h"
#include "framework/worker_watch.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

constexpr int64_t kGrowthKib = 1024;

int64_t CountEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

// What became of frames: the log of our node tells, and the watch over its workers.
struct Fates {
  uint64_t requests, offered, skipped, dropped, taken, analysed;

  Fates operator+(const Fates& other) const {
    return {requests + other.requests, offered + other.offered, skipped + other.skipped,
            dropped + other.dropped,   taken + other.taken,     analysed + other.analysed};
  }
};
thread_local Fates t_life = {};  // of the node that lives on this thread

bool CountFates(const framework::LogLine& line) {
  const auto outcome = framework::OutcomeIn(line.text);
  t_life.taken += outcome == framework::Outcome::kTaken;
  t_life.dropped += outcome == framework::Outcome::kDropped;
  t_life.offered += std::strncmp(line.text, "ProcessRequest():679", 20) == 0;
  return false;
}

// Sizes, faces and switches change on the way.
Fates LiveAlone(uint64_t requests, bool is_hurried) {
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  Frame frames[] = {{64, 48, 64}, {48, 66, 48}};
  Camera camera(64, 48);
  camera.session.GuardValues(false);  // which takes longer than all the rest
  t_life = {};
  for (uint32_t i = 0; i < requests; ++i) {
    const uint32_t scene = i / 64;
    camera.SetFaces(scene % 4);
    const auto set = [&](const char* section, const char* name, uint32_t value) {
      camera.session.Input().SetWords(tags.Id(section, name), std::vector<uint32_t>{value});
    };
    set("brodax.faceGenderAndAge", "enabled", scene % 3 != 0);
    set("brodax.faceScore", "enabled", scene % 3 != 1);
    set("brodax.device", "orientation", scene % 4 * 90);
    const uint64_t offered = t_life.offered;
    camera.Send(4 + uint64_t{i} * (is_hurried ? 6 : 1), &frames[scene / 4 % 2], true);
    const auto faces = static_cast<uint32_t>(camera.session.Result().face_count);
    Require(t_life.offered == offered || faces == scene % 4, "a record",
            std::to_string(scene % 4) + " faces", std::to_string(faces));
    if (!is_hurried) AwaitWorkers();
  }
  t_life.requests = requests;
  const uint64_t considered = (t_life.offered + 3) / 4;
  t_life.skipped = t_life.offered - considered;
  Require(considered == t_life.dropped + t_life.taken, "a life",
          std::to_string(considered) + " frames dropped or taken",
          std::to_string(t_life.dropped + t_life.taken));
  return t_life;
}

// A life of one of three kinds: the worker gets the time that it needs; requests come faster than
// it takes them; two nodes live like that side by side. A frame that is taken is analysed. Only the
// first kind is counted: a hurried worker may go from frame to frame without a rest, and which of
// the last ones its node's end has cut off is not seen from outside.
Fates Live(uint64_t life, uint64_t requests) {
  const bool is_hurried = life % 3 != 0, is_shared = life % 3 == 2;
  const uint64_t passes = framework::CountWorkers().passes;
  Fates beside = {};
  std::thread second([&] {
    if (is_shared) beside = LiveAlone(requests / 2, is_hurried);
  });
  Fates fates = LiveAlone(is_shared ? requests - requests / 2 : requests, is_hurried);
  second.join();
  fates = fates + beside;
  fates.analysed = framework::CountWorkers().passes - passes;
  Require(fates.offered == 0 || is_hurried || fates.taken == fates.analysed, "a life",
          std::to_string(fates.taken) + " frames analysed", std::to_string(fates.analysed));
  return fates;
}

void Print(const Fates& all, const Footprint& now) {
  std::printf("%10" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64
              " %8" PRId64 " %7" PRId64 " %11" PRId64 "\n",
              all.requests, all.offered, all.skipped, all.dropped, all.taken, all.analysed,
              now.resident_kib, now.threads, now.descriptors);
  std::fflush(stdout);
}

std::string Soak(const Subject& subject) {
  const uint64_t requests = subject.options.soak[0];
  const uint64_t lives = std::max<uint64_t>(10, subject.options.soak[1]);
  framework::SetLogListener(CountFates);
  subject.Start();
  std::puts(
      "  requests   offered   skipped   dropped     taken  analysed      KiB threads descriptors");
  const int64_t threads = CountThreadsAtRest();
  Footprint warm = {};
  Fates all = {};
  for (uint64_t life = 0; life < lives; ++life) {
    all = all + Live(life, (life + 1) * requests / lives - life * requests / lives);
    if ((life + 1) % (lives / 10) != 0) continue;
    const Footprint now = MeasureAtRest(threads);
    if (warm.threads == 0) warm = now;
    Print(all, now);
    RequireNothingLeft(threads, warm, now);
  }
  RequireTurns(subject);
  return all.offered == 0 ? "the node's log does not tell what became of frames" : "";
}

}  // namespace

// One comes and goes first, because a sanitizer starts a thread of its own with it.
int64_t CountThreadsAtRest() {
  pid_t id = 0;
  std::thread([&] { id = gettid(); }).join();
  while (std::filesystem::exists("/proc/self/task/" + std::to_string(id))) {
    std::this_thread::yield();
  }
  return CountEntries("/proc/self/task");
}

// A thread that was joined is counted until the kernel, or an emulator, has cleared it away.
Footprint MeasureAtRest(int64_t threads) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (CountEntries("/proc/self/task") != threads && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  int64_t size = 0, pages = 0;
  std::ifstream("/proc/self/statm") >> size >> pages;
  return {pages * sysconf(_SC_PAGESIZE) / 1024, CountEntries("/proc/self/task"),
          CountEntries("/proc/self/fd")};
}

void RequireNothingLeft(int64_t threads, const Footprint& warm, const Footprint& now) {
  const auto require = [](const char* what, int64_t most, int64_t seen) {
    Require(seen <= most, what, "at most " + std::to_string(most), std::to_string(seen));
  };
  require("threads between two lives", threads, now.threads);
  // A sanitizer talks through a pair of pipes to the program that names its frames, from the first
  // report on, even of one that is suppressed.
  const int64_t pipes = IsSlowMachine() ? 2 : 0;
  require("open descriptors between two lives", warm.descriptors + pipes, now.descriptors);
  if (IsSlowMachine()) return;
  require("KiB of resident memory", warm.resident_kib + kGrowthKib, now.resident_kib);
}

void RequireTurns(const Subject& subject) {
  decltype(zy_overlapping_age_gender_calls)* overlaps[2] = {};
  subject.device.FindKnob("libQVFD_AgeGender.so", "zy_overlapping_age_gender_calls", &overlaps[0]);
  subject.device.FindKnob("libFaceGrade.so", "zy_overlapping_face_grade_calls", &overlaps[1]);
  for (const auto& count : overlaps) {
    if (count == nullptr) continue;
    Require(count() == 0, "calls of a model", "one at a time",
            std::to_string(count()) + " overlap");
  }
}

const Check kSoak = {"soak", "Every request of many lives gets its record.", Soak};

}  // namespace nodecheck
