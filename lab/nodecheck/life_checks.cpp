// SPDX-License-Identifier: Apache-2.0
// Lives of nodes: short ones, many, two at once.
#include <chrono>
#include <thread>

#include "device/control.h"
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

std::string AtOnce(const Subject& subject) {
  subject.Start();
  for (int life = 0; life < 20; ++life) Camera(640, 480, life % 2 == 0);
  return "";
}

// Without the knob the model is as fast as it is.
void SlowDown(const Subject& subject, int call_ms) {
  decltype(zy_set_age_gender_delay)* delay = nullptr;
  subject.device.FindKnob("libQVFD_AgeGender.so", "zy_set_age_gender_delay", &delay);
  if (delay != nullptr) delay(call_ms);
}

std::string InPass(const Subject& subject) {
  SlowDown(subject, 100);
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
  SlowDown(subject, 5);
  subject.Start();
  const auto live = [] {
    for (uint32_t life = 0; life < 5; ++life) {
      Camera camera(320 + 32 * life, 240);
      for (uint64_t number = 1; number <= 120; ++number) {
        camera.Send(number);
        if (number % 24 == 0) AwaitWorkers();
      }
    }
  };
  std::thread other(live);
  live();
  other.join();
  RequireTurns(subject);
  return "";
}

// Frames are small: what a memory allocator keeps of large ones depends on the threads' turns.
std::string ManyLives(const Subject& subject) {
  subject.Start();
  const int64_t threads = CountThreadsAtRest();
  Footprint warm = {};
  for (int life = 1; life <= 200; ++life) {
    Camera(160, 120).SendUntilWoken(60);
    if (life != 20) continue;
    warm = MeasureAtRest(threads);
    RequireNothingLeft(threads, warm, warm);
  }
  RequireNothingLeft(threads, warm, MeasureAtRest(threads));
  return IsSlowMachine() ? "resident memory says nothing here" : "";
}

}  // namespace

const Checks kLifeChecks = {
    {"life.at_once", "Nodes that end before their first request.", AtOnce},
    {"life.in_pass", "Nodes that end while a frame is pending or analysed.", InPass},
    {"life.two_nodes", "Two nodes in two threads; their calls of the models take turns.", TwoNodes},
    {"life.many", "200 lives leave no thread, descriptor or memory behind.", ManyLives},
};

}  // namespace nodecheck
