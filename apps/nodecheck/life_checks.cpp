// SPDX-License-Identifier: Apache-2.0
// Lives of nodes: short ones, many, two at once; what they leave behind; and the soak.
#include <unistd.h>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "apps/nodecheck/nodecheck.h"
#include "framework/log_watch.h"
#include "framework/worker_watch.h"
#include "host/control.h"

namespace nodecheck {
namespace {

// ---- What the process holds ---------------------------------------------------------------------

constexpr int64_t kGrowthKib = 1024;

struct Footprint {
  int64_t resident_kib, threads, descriptors;
};

int64_t CountEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

// The threads that are there without a node. One comes and goes first, because a sanitizer starts a
// thread of its own with it.
int64_t CountThreadsAtRest() {
  pid_t id = 0;
  std::thread([&] { id = gettid(); }).join();
  while (std::filesystem::exists("/proc/self/task/" + std::to_string(id))) {
    std::this_thread::yield();
  }
  return CountEntries("/proc/self/task");
}

// A thread that was joined is counted until the kernel, or an emulator, has cleared it away.
Footprint Measure(int64_t threads) {
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
  require("open descriptors between two lives", warm.descriptors, now.descriptors);
  if (IsSlowMachine()) return;
  require("KiB of resident memory", warm.resident_kib + kGrowthKib, now.resident_kib);
}

// ---- Lives --------------------------------------------------------------------------------------

std::string AtOnce(const Subject& subject) {
  subject.Start();
  for (int life = 0; life < 20; ++life) Camera(640, 480, life % 2 == 0);
  return "";
}

// Without the knob the models are as fast as they are, and the end comes where it comes.
std::string InPass(const Subject& subject) {
  decltype(zy_set_age_gender_delay)* delay = nullptr;
  subject.device.FindKnob("libQVFD_AgeGender.so", "zy_set_age_gender_delay", &delay);
  if (delay != nullptr) delay(100);
  subject.Start();
  bool is_woken = false;
  for (const int pause_ms : {0, 0, 5, 20, 50, 90}) {
    Camera camera(640, 480);
    is_woken |= camera.SendUntilWoken(60);
    std::this_thread::sleep_for(std::chrono::milliseconds(pause_ms));
  }
  return is_woken ? "" : "no worker was woken";
}

std::string TwoNodes(const Subject& subject) {
  subject.Start();
  const auto live = [] {
    for (uint32_t life = 0; life < 5; ++life) {
      Camera camera(320 + 32 * life, 240);
      for (uint64_t number = 0; number < 120; ++number) camera.Send(number);
    }
  };
  std::thread other(live);
  live();
  other.join();
  return "";
}

std::string ManyLives(const Subject& subject) {
  subject.Start();
  const int64_t threads = CountThreadsAtRest();
  Footprint warm = {};
  for (int life = 1; life <= 200; ++life) {
    Camera(640, 480).SendUntilWoken(60);
    if (life != 20) continue;
    warm = Measure(threads);
    RequireNothingLeft(threads, warm, warm);
  }
  RequireNothingLeft(threads, warm, Measure(threads));
  return IsSlowMachine() ? "resident memory says nothing here" : "";
}

// ---- The soak -----------------------------------------------------------------------------------

// What became of frames. The node's own log tells, where it does; a worker's passes are seen.
struct Fates {
  uint64_t requests, offered, skipped, dropped, taken, analysed;
};
Fates g_told = {};  // of this life, by the log

bool CountFates(const framework::LogLine& line) {
  if (std::strncmp(line.text, "ProcessRequest():679", 20) == 0) ++g_told.offered;
  if (std::strncmp(line.text, "ProcessBuffer++", 15) == 0) {
    ++(std::strstr(line.text, "mIsAnalyzing:1") != nullptr ? g_told.dropped : g_told.taken);
  }
  return false;
}

// Sizes, faces and switches change on the way. In every other life the worker gets the time that it
// needs; in the others each request may be for it, faster than it takes them.
Fates Live(uint64_t requests, bool is_hurried) {
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  const uint64_t passes = framework::CountWorkers().passes;
  Frame frames[] = {{64, 48, 64}, {48, 66, 48}};
  g_told = {};
  {
    Camera camera(64, 48);
    camera.session.GuardValues(false);  // which takes longer than all the rest
    for (uint32_t i = 0; i < requests; ++i) {
      const uint32_t scene = i / 64;
      camera.SetFaces(scene % 4);
      const auto set = [&](const char* section, const char* name, uint32_t value) {
        camera.session.Input().SetWords(tags.Id(section, name), std::vector<uint32_t>{value});
      };
      set("brodax.faceGenderAndAge", "enabled", scene % 3 != 0);
      set("brodax.faceScore", "enabled", scene % 3 != 1);
      set("brodax.device", "orientation", scene % 4 * 90);
      const uint64_t offered = g_told.offered;
      camera.Send(4 + i * (is_hurried ? 6 : 1), &frames[scene / 4 % 2], true);
      const auto faces = static_cast<uint32_t>(camera.session.Result().face_count);
      Require(g_told.offered == offered || faces == scene % 4, "a record",
              std::to_string(scene % 4) + " faces", std::to_string(faces));
      if (!is_hurried) AwaitWorkers();
    }
  }
  Fates fates = g_told;
  fates.requests = requests;
  fates.analysed = framework::CountWorkers().passes - passes;
  if (fates.offered == 0) return fates;
  fates.skipped = fates.offered - (fates.offered + 3) / 4;  // one in four is considered
  Require(fates.offered == fates.skipped + fates.dropped + fates.taken, "frames of a life",
          std::to_string(fates.offered - fates.skipped) + " considered",
          std::to_string(fates.dropped + fates.taken));
  Require(fates.taken - fates.analysed <= (is_hurried ? 1 : 0), "frames of a life",
          std::to_string(fates.taken) + " analysed", std::to_string(fates.analysed));
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
    const Fates fates =
        Live((life + 1) * requests / lives - life * requests / lives, life % 2 != 0);
    all = {all.requests + fates.requests, all.offered + fates.offered,
           all.skipped + fates.skipped,   all.dropped + fates.dropped,
           all.taken + fates.taken,       all.analysed + fates.analysed};
    if ((life + 1) % (lives / 10) != 0) continue;
    const Footprint now = Measure(threads);
    if (warm.threads == 0) warm = now;
    Print(all, now);
    RequireNothingLeft(threads, warm, now);
  }
  return all.offered == 0 ? "the node's log does not tell what became of frames" : "";
}

}  // namespace

const Checks kLifeChecks = {
    {"life.at_once", "Nodes that end before their first request.", AtOnce},
    {"life.in_pass", "Nodes that end while a frame is pending or analysed.", InPass},
    {"life.two_nodes", "Two nodes, each in a thread of its own.", TwoNodes},
    {"life.many", "200 lives leave no thread, descriptor or memory behind.", ManyLives},
};
const Check kSoak = {"soak", "Every request of many lives gets its record.", Soak};

}  // namespace nodecheck
