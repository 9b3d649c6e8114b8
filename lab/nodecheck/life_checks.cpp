// SPDX-License-Identifier: Apache-2.0
// Lives of nodes: short ones, many, two in parallel, and their effects on the process.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <thread>
#include <utility>

#include "common/process_state.h"
#include "device/control.h"
#include "framework/log_watch.h"
#include "framework/own_node.h"
#include "framework/worker_watch.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

// Measures the process between two lives, and fails on more than there was the first time.
class Leftovers {
 public:
  explicit Leftovers(const Subject& subject)
      : patience_(subject.Patience()), threads_(common::CountThreads()) {}

  common::Footprint Check() {
    const common::Footprint now = common::MeasureFootprint(threads_, patience_);
    if (warm_.threads == 0) warm_ = now;
    Require("threads between two lives", threads_, now.threads);
    // From its first report on, even a suppressed one, a sanitizer keeps a pair of pipes to the
    // program that names its frames.
    const int64_t pipes = common::IsSlowMachine() ? 2 : 0;
    Require("open descriptors between two lives", warm_.descriptors + pipes, now.descriptors);
    const int64_t most_kib = warm_.resident_kib + 1024;
    if (!common::IsSlowMachine()) Require("KiB of resident memory", most_kib, now.resident_kib);
    return now;
  }

 private:
  static void Require(const char* what, int64_t most, int64_t seen) {
    nodecheck::Require(seen <= most, what, "at most " + std::to_string(most), std::to_string(seen));
  }

  const std::chrono::milliseconds patience_;
  const int64_t threads_;
  common::Footprint warm_ = {};  // the first time
};

// Fails on overlapping calls of a model: the libraries are not thread-safe.
void RequireTurns(const Subject& subject) {
  for (const auto& [library, name] :
       {std::pair("libQVFD_AgeGender.so", "zy_overlapping_age_gender_calls"),
        std::pair("libFaceGrade.so", "zy_overlapping_face_grade_calls")}) {
    uint64_t (*count)() = nullptr;
    if (subject.device.FindControl(library, name, &count)) continue;
    Require(count() == 0, "calls of a model", "one at a time",
            std::to_string(count()) + " overlap");
  }
}

void AtOnce(Subject* subject) {
  for (int life = 0; life < 20; ++life) Camera(subject, 640, 480, life % 2 == 0);
}
const Check kAtOnce("life.at_once", "Nodes that end before their first request.", AtOnce);

// Slows the model down, if the device has the control.
void SlowDown(const Subject& subject, int call_ms) {
  auto* const delay =
      subject.FindControl<decltype(zy_set_age_gender_delay)>("zy_set_age_gender_delay");
  if (delay != nullptr) delay(call_ms);
}

void InPass(Subject* subject) {
  SlowDown(*subject, 100);
  bool is_woken = false;
  for (const int pause_ms : {0, 0, 5, 20, 50, 90}) {
    Camera camera(subject, 640, 480);
    is_woken |= camera.SendUntilWoken();
    std::this_thread::sleep_for(std::chrono::milliseconds(pause_ms));
  }
  if (!is_woken) Note("no worker was woken");
}
const Check kInPass("life.in_pass", "Nodes that end while a frame is pending or analysed.", InPass);

void TwoNodes(Subject* subject) {
  SlowDown(*subject, 5);
  subject->Node();  // before there are two threads
  const auto live = [&] {
    for (uint32_t life = 0; life < 5; ++life) {
      Camera camera(subject, 320 + 32 * life, 240);
      for (int series = 0; series < 5; ++series) camera.SendSeries();
    }
  };
  std::thread other(live);
  live();
  other.join();
  RequireTurns(*subject);
}
const Check kTwoNodes("life.two_nodes",
                      "Two nodes in two threads; their calls of the models take turns.", TwoNodes);

// Uses small frames: an allocator keeps a varying amount of large ones.
void ManyLives(Subject* subject) {
  subject->Node();
  Leftovers leftovers(*subject);
  for (int life = 1; life <= 200; ++life) {
    Camera(subject, 160, 120).SendUntilWoken();
    if (life == 20 || life == 200) leftovers.Check();
  }
  if (common::IsSlowMachine()) Note("resident memory means little here");
}
const Check kMany("life.many", "200 lives leave no thread, descriptor or memory behind.",
                  ManyLives);

void Kept(Subject* subject) {
  int pipes[2] = {};  // which a node might close as its own
  Require(pipe(pipes) == 0, "pipe", "two descriptors", "none");
  const auto before = common::SurveyProcess();
  Camera(subject, 320, 240).SendSeries();
  const std::string difference = common::FirstDifference(before, common::SurveyProcess());
  if (!difference.empty()) Fail(difference);
}
const Check kKept("process.kept",
                  "Descriptors, signals, working directory and environment stay the same.", Kept);

// ---- The soak: many requests, spread over many lives --------------------------------------------

// Counts of this thread's node, if the log is that of our node.
thread_local framework::OutcomeCounts t_life;

// Runs one node with changing sizes, faces and switches.
framework::OutcomeCounts LiveAlone(Subject* subject, uint64_t requests, bool is_hurried) {
  LentFrame frames[] = {{64, 48, 64}, {48, 66, 48}};
  Camera camera(subject, 64, 48);
  camera.session.Options().margin_of_tags =
      std::nullopt;  // it would take longer than everything else
  t_life = {};
  for (uint64_t i = 0; i < requests; ++i) {
    const auto scene = static_cast<uint32_t>(i / 64);
    framework::DeviceState tags = camera.Usual(scene % 4);
    tags.gender_and_age = scene % 3 != 0;
    tags.score = scene % 3 != 1;
    tags.orientation = static_cast<int32_t>(scene % 4 * 90);
    camera.Set(tags);
    const uint64_t offered = t_life.offered;
    camera.Send(4 + i * (is_hurried ? 6 : 1), &frames[scene / 4 % 2], 1,
                scene % 4 != 0 ? End::kAnswerOrError : End::kAny);
    const auto faces = static_cast<uint32_t>(camera.session.Result().face_count);
    Require(t_life.offered == offered || faces == scene % 4, "a record",
            std::to_string(scene % 4) + " faces", std::to_string(faces));
    if (!is_hurried) subject->AwaitWorkers();
  }
  Require(t_life.AddUp(), "a life",
          std::to_string(t_life.offered - t_life.Skipped()) + " frames dropped or taken",
          std::to_string(t_life.dropped + t_life.taken));
  return t_life;
}

// Runs a life of one of three kinds: the worker gets the time it needs; requests come faster than
// it takes them; two such nodes in parallel. Every taken frame is analysed. Only the first kind is
// counted exactly: a hurried worker may take the next frame without a pause, and the end of its
// node may cancel the last ones unseen.
framework::OutcomeCounts Live(Subject* subject, uint64_t life, uint64_t requests) {
  const bool is_hurried = life % 3 != 0, is_shared = life % 3 == 2;
  const uint64_t before = framework::CountWorkers().passes;
  framework::OutcomeCounts beside;
  std::thread second([&] {
    if (is_shared) beside = LiveAlone(subject, requests / 2, is_hurried);
  });
  auto counts = LiveAlone(subject, is_shared ? requests - requests / 2 : requests, is_hurried);
  second.join();
  counts += beside;
  const uint64_t passes = framework::CountWorkers().passes - before;
  Require(counts.offered == 0 || is_hurried || counts.taken == passes, "a life",
          std::to_string(counts.taken) + " frames analysed", std::to_string(passes));
  return counts;
}

void Print(uint64_t requests, const framework::OutcomeCounts& all, const common::Footprint& now) {
  char row[128];
  std::snprintf(row, sizeof(row),
                "%10" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64 " %9" PRIu64
                " %8" PRId64 " %7" PRId64 " %11" PRId64,
                requests, all.offered, all.Skipped(), all.dropped, all.taken,
                framework::CountWorkers().passes, now.resident_kib, now.threads, now.descriptors);
  PrintRow(row);
}

void Soak(Subject* subject) {
  const uint64_t requests = subject->options.soak;
  const uint64_t chosen = subject->options.lives;
  const uint64_t lives = std::max<uint64_t>(10, chosen != 0 ? chosen : requests / 1000);
  framework::SetLogListener([](const framework::LogLine& line) {
    t_life.See(line.text);
    return false;
  });
  subject->Node();
  PrintRow(
      "  requests   offered   skipped   dropped     taken  analysed      KiB threads descriptors");
  Leftovers leftovers(*subject);
  framework::OutcomeCounts all;
  for (uint64_t life = 0; life < lives; ++life) {
    const uint64_t sent = (life + 1) * requests / lives;
    all += Live(subject, life, sent - life * requests / lives);
    if ((life + 1) * 10 / lives != life * 10 / lives) Print(sent, all, leftovers.Check());
  }
  RequireTurns(*subject);
  if (all.offered == 0) Note("the node logs no outcomes of frames");
}

}  // namespace

const Check kSoak("soak", "Every request of many lives gets its answer.", Soak);

}  // namespace nodecheck
