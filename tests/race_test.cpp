// SPDX-License-Identifier: Apache-2.0
// Races: threads that offer frames to one worker, and nodes that share the models. The thread
// sanitizer judges; ZY_RACE_ROUNDS makes it longer.
#include <cstdlib>
#include <memory>

#include "analysis/zy_preview.h"
#include "tests/device_testing.h"

namespace {

using android::ZYPreview;

int Rounds() {
  const char* rounds = std::getenv("ZY_RACE_ROUNDS");
  return rounds != nullptr ? std::atoi(rounds) : 20;
}

// Offers frames of two sizes, toggles the switches and reads everything that the node may read.
void Offer(ZYPreview& worker, int seed, int offers) {
  sim::Nv12Frame frames[2] = {testing_support::PatternFrame(64 + 2 * seed, 48),
                              testing_support::PatternFrame(48, 64 + 2 * seed)};
  const android::_FaceLocation faces[3] = {{0, 0, 30, 30}, {8, 8, 30, 30}, {16, 16, 30, 30}};
  float sum = 0.0f;
  for (int i = 0; i < offers; ++i) {
    sim::Nv12Frame& frame = frames[i / 32 % 2];
    const ZyImageBuffer image = {kZyFormatYuv420SemiPlanar,
                                 frame.width,
                                 frame.height,
                                 {frame.stride, frame.stride, 0, 0},
                                 {frame.Luma(), frame.Chroma(), nullptr, nullptr}};
    worker.mFaceGenderAndAgeEnabled = i % 5 != 0;
    worker.mFaceScoreEnabled = i % 7 != 0;
    worker.ProcessBuffer(&image, faces, i % 13 == 0 ? 0 : 1 + i % 3, i % 4 * 90, i % 2);
    const int slot = worker.getFaceIndex(i % 2 == 0, 0, 30, 0, 30);
    if (i % 16 == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
    if (slot >= 0) sum += worker.mProp[slot] + worker.mGender[slot] + worker.mFaceGrade[slot];
  }
  EXPECT_GE(sum, 0.0f);
}

class RaceTest : public testing_support::DeviceTest {};

TEST_F(RaceTest, TwoThreadsOfferToOneWorkerThatIsDestroyedInTheMiddleOfAPass) {
  constexpr int kOffers = 2000;
  host::SetLogSink(nullptr);
  for (int round = 0; round < Rounds(); ++round) {
    auto worker = std::make_unique<ZYPreview>();
    std::thread other([&] { Offer(*worker, 1, kOffers); });
    Offer(*worker, 2, kOffers);
    other.join();
    worker.reset();
  }
  EXPECT_GT(host::AgeGenderCounters().analyses, 0u);
}

TEST_F(RaceTest, WorkersThatShareTheModelsComeAndGo) {
  constexpr int kLives = 10;
  host::SetLogSink(nullptr);
  const auto live = [](int seed) {
    for (int i = 0; i < kLives; ++i) {
      ZYPreview worker;
      Offer(worker, seed, 40);
    }
  };
  for (int round = 0; round < Rounds(); ++round) {
    std::thread other(live, 1);
    live(2);
    other.join();
  }
  EXPECT_EQ(host::FaceGradeCounters().created, host::FaceGradeCounters().destroyed);
}

}  // namespace
