// SPDX-License-Identifier: Apache-2.0
// Two threads offer frames to one worker, for the thread sanitizer. (The soak of nodecheck covers
// nodes that share the models.) ZY_RACE_ROUNDS sets the number of rounds (./dev races).
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "analysis/zy_preview.h"
#include "tests/device_testing.h"

namespace {

using android::ZYPreview;

// Offers frames of two sizes, toggles the switches and reads everything that the node may read.
void Offer(ZYPreview& worker, int seed, int offers) {
  media::Nv12Frame frames[2] = {testing_support::PatternFrame(64 + 2 * seed, 48),
                                testing_support::PatternFrame(48, 64 + 2 * seed)};
  const android::_FaceLocation faces[3] = {{0, 0, 30, 30}, {8, 8, 30, 30}, {16, 16, 30, 30}};
  [[maybe_unused]] volatile float read;
  for (int i = 0; i < offers; ++i) {
    const ZyImageBuffer image = media::ImageOf(frames[i / 32 % 2]);
    worker.mFaceGenderAndAgeEnabled = i % 5 != 0;
    worker.mFaceScoreEnabled = i % 7 != 0;
    worker.ProcessBuffer(&image, faces, i % 512 == 511 ? 0 : 1 + i % 3, i % 4 * 90, i % 2);
    const int slot = worker.getFaceIndex(i % 2 == 0, 0, 30, 0, 30);
    if (i % 16 == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
    if (slot >= 0) read = worker.mProp[slot] + worker.mGender[slot] + worker.mFaceGrade[slot];
  }
}

using RaceTest = testing_support::DeviceTest;

TEST_F(RaceTest, TwoThreadsOfferToOneWorkerThatIsDestroyedInTheMiddleOfAPass) {
  constexpr int kOffers = 2000;
  const char* const asked = std::getenv("ZY_RACE_ROUNDS");
  const int rounds = asked != nullptr ? std::atoi(asked) : 20;
  framework::SetLogListener(nullptr);
  for (int round = 0; round < rounds; ++round) {
    auto worker = std::make_unique<ZYPreview>();
    std::thread other([&] { Offer(*worker, 1, kOffers); });
    Offer(*worker, 2, kOffers);
    other.join();
    worker.reset();
  }
  std::printf("%d offers, %d analyses\n", rounds * 2 * kOffers,
              static_cast<int>(device::AgeGender().Counts().analyses));
  EXPECT_GT(device::AgeGender().Counts().analyses, 100u);
}

}  // namespace
