// SPDX-License-Identifier: Apache-2.0
// Races: threads that offer frames to one worker, and nodes that share the models. The thread
// sanitizer judges; ZY_RACE_ROUNDS makes it longer (./dev races).
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "analysis/zy_preview.h"
#include "tests/device_testing.h"
#include "tests/node_testing.h"

namespace {

using android::ZYPreview;
using testing_support::SetWords;

int Rounds() {
  const char* rounds = std::getenv("ZY_RACE_ROUNDS");
  return rounds != nullptr ? std::atoi(rounds) : 20;
}

// Offers frames of two sizes, toggles the switches and reads everything that the node may read.
void Offer(ZYPreview& worker, int seed, int offers) {
  pictures::Nv12Frame frames[2] = {testing_support::PatternFrame(64 + 2 * seed, 48),
                                   testing_support::PatternFrame(48, 64 + 2 * seed)};
  const android::_FaceLocation faces[3] = {{0, 0, 30, 30}, {8, 8, 30, 30}, {16, 16, 30, 30}};
  float sum = 0.0f;
  for (int i = 0; i < offers; ++i) {
    pictures::Nv12Frame& frame = frames[i / 32 % 2];
    const ZyImageBuffer image = {kZyFormatYuv420SemiPlanar,
                                 frame.width,
                                 frame.height,
                                 {frame.stride, frame.stride, 0, 0},
                                 {frame.Luma(), frame.Chroma(), nullptr, nullptr}};
    worker.mFaceGenderAndAgeEnabled = i % 5 != 0;
    worker.mFaceScoreEnabled = i % 7 != 0;
    worker.ProcessBuffer(&image, faces, i % 512 == 511 ? 0 : 1 + i % 3, i % 4 * 90, i % 2);
    const int slot = worker.getFaceIndex(i % 2 == 0, 0, 30, 0, 30);
    if (i % 16 == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
    if (slot >= 0) sum += worker.mProp[slot] + worker.mGender[slot] + worker.mFaceGrade[slot];
  }
  EXPECT_GE(sum, 0.0f);
}

// Lives of a node, from its creation to its destruction, with requests that all hand a frame over.
void Live(int seed, int lives, int requests) {
  pictures::Nv12Frame frames[2] = {testing_support::PatternFrame(64 + 2 * seed, 48),
                                   testing_support::PatternFrame(48, 64 + 2 * seed)};
  for (int life = 0; life < lives; ++life) {
    framework::Session session;
    ASSERT_FALSE(session.Create(0, 64, 48));
    session.PostPipelineCreate();
    framework::Metadata& input = session.Input();
    testing_support::SetUsualMetadata(input, {96, 96}, {0, 0, 90, 90, 9, 9, 96, 96});
    for (uint32_t i = 0; i < static_cast<uint32_t>(requests); ++i) {
      SetWords(input, "brodax.faceGenderAndAge", "enabled", {i % 5 != 0});
      SetWords(input, "brodax.faceScore", "enabled", {i % 7 != 0});
      SetWords(input, "brodax.device", "orientation", {i % 4 * 90});
      framework::CameraBuffer buffer(&frames[i / 32 % 2]);
      ASSERT_FALSE(session.Process(4 + uint64_t{6} * i, &buffer, &buffer));
      if (i % 16 == 0) std::this_thread::sleep_for(std::chrono::microseconds(20));
    }
  }
}

class RaceTest : public testing_support::DeviceTest {
 protected:
  RaceTest() { host::SetLogSink(nullptr); }
};

TEST_F(RaceTest, TwoThreadsOfferToOneWorkerThatIsDestroyedInTheMiddleOfAPass) {
  constexpr int kOffers = 2000;
  for (int round = 0; round < Rounds(); ++round) {
    auto worker = std::make_unique<ZYPreview>();
    std::thread other([&] { Offer(*worker, 1, kOffers); });
    Offer(*worker, 2, kOffers);
    other.join();
    worker.reset();
  }
  std::printf("%d offers, %d analyses\n", Rounds() * 2 * kOffers,
              static_cast<int>(host::AgeGenderCounters().analyses));
  EXPECT_GT(host::AgeGenderCounters().analyses, 100u);
  EXPECT_EQ(host::AgeGenderCounters().overlaps, 0u);
}

TEST_F(RaceTest, NodesThatShareTheModelsComeAndGo) {
  constexpr int kLives = 10, kRequests = 100;
  ASSERT_FALSE(framework::Framework::Get().Start(ChiNodeEntry));
  for (int round = 0; round < Rounds(); ++round) {
    std::thread other([] { Live(1, kLives, kRequests); });
    Live(2, kLives, kRequests);
    other.join();
  }
  const host::FaceGradeCounts graders = host::FaceGradeCounters();
  std::printf("%d requests in %d lives, %d analyses\n", Rounds() * 2 * kLives * kRequests,
              static_cast<int>(graders.created), static_cast<int>(graders.processed));
  EXPECT_EQ(graders.created, static_cast<uint64_t>(Rounds() * 2 * kLives));
  EXPECT_EQ(graders.created, graders.destroyed);
  EXPECT_GT(graders.processed, 100u);
  EXPECT_EQ(graders.overlaps, 0u);
  EXPECT_EQ(host::AgeGenderCounters().overlaps, 0u);
}

}  // namespace
