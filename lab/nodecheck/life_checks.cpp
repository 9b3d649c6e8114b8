// SPDX-License-Identifier: Apache-2.0
// Lives of nodes: short ones, many, two at once; and what they do to their process.
#include <unistd.h>

#include <chrono>
#include <thread>

#include "device/control.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

void AtOnce(Subject* subject) {
  for (int life = 0; life < 20; ++life) Camera(subject, 640, 480, life % 2 == 0);
}
const Check kAtOnce("life.at_once", "Nodes that end before their first request.", AtOnce);

// Without the control the model is as fast as it is.
void SlowDown(const Subject& subject, int call_ms) {
  auto* const delay = subject.FindControl<decltype(zy_set_age_gender_delay)>(
      Subject::kAgeGenderLibrary, "zy_set_age_gender_delay");
  if (delay != nullptr) delay(call_ms);
}

void InPass(Subject* subject) {
  SlowDown(*subject, 100);
  bool is_woken = false;
  for (const int pause_ms : {0, 0, 5, 20, 50, 90}) {
    Camera camera(subject, 640, 480);
    is_woken |= camera.SendUntilWoken(60);
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
      for (uint64_t number = 1; number <= 120; ++number) {
        camera.Send(number);
        if (number % 24 == 0) subject->AwaitWorkers();
      }
    }
  };
  std::thread other(live);
  live();
  other.join();
  RequireTurns(*subject);
}
const Check kTwoNodes("life.two_nodes",
                      "Two nodes in two threads; their calls of the models take turns.", TwoNodes);

// Frames are small: what a memory allocator keeps of large ones depends on the threads' turns.
void ManyLives(Subject* subject) {
  subject->Node();
  const int64_t threads = common::CountThreads();
  common::Footprint warm = {};
  for (int life = 1; life <= 200; ++life) {
    Camera(subject, 160, 120).SendUntilWoken(60);
    if (life != 20) continue;
    warm = common::MeasureFootprint(threads, subject->Patience());
    RequireNothingLeft(threads, warm, warm);
  }
  RequireNothingLeft(threads, warm, common::MeasureFootprint(threads, subject->Patience()));
  if (IsSlowMachine()) Note("resident memory says nothing here");
}
const Check kMany("life.many", "200 lives leave no thread, descriptor or memory behind.",
                  ManyLives);

// Of anything there may be more now, but for variables; life.many counts descriptors.
void Kept(Subject* subject) {
  int pipes[2] = {};  // which a node may take for its own
  Require(pipe(pipes) == 0, "pipe", "two descriptors", "none");
  const auto before = common::SurveyProcess();
  {
    Camera camera(subject, 320, 240);
    for (uint64_t number = 1; number <= 24; ++number) camera.Send(number);
    subject->AwaitWorkers();
  }
  auto after = common::SurveyProcess();
  for (const auto& [name, value] : before) {
    Require(after.count(name) != 0, name, "it kept", "it gone");
    Require(after[name] == value, name, value, after[name]);
  }
  for (const auto& [name, value] : after) {
    Require(before.count(name) != 0 || name[0] == 'd', name, "none", value);
  }
}
const Check kKept("process.kept",
                  "Descriptors, signals, working directory and environment stay the same.", Kept);

}  // namespace
}  // namespace nodecheck
