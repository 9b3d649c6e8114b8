// SPDX-License-Identifier: Apache-2.0
// The worker's thread and hand-over, and cases that only a direct caller can produce: drops, ages
// of results, a model that is not ready, odd rectangles, start and stop.
#include <atomic>
#include <cstdio>
#include <memory>
#include <optional>

#include "analysis/face_age.h"
#include "analysis/zy_preview.h"
#include "framework/own_node.h"
#include "tests/device_testing.h"

namespace {

using android::ZYPreview;
using device::ModelSettings;
using framework::Outcome;
using testing_support::CountContaining;
using Faces = std::vector<android::_FaceLocation>;

class WorkerTest : public testing_support::DeviceTest {
 protected:
  WorkerTest() {
    device::AgeGender().Set(&ModelSettings::records, true);
    Restart();
  }

  void Restart() {
    worker_.reset();
    worker_ = std::make_unique<ZYPreview>();
    worker_->mFaceGenderAndAgeEnabled = true;
    worker_->mFaceScoreEnabled = true;
    AwaitWorkers();
  }

  // Offers a frame once. Returns nullopt if it was skipped.
  std::optional<Outcome> Offer(const ZyImageBuffer& image, const Faces& faces,
                               int orientation = 270, int flip = 0) {
    log_.TakeOwn();
    const int count = static_cast<int>(faces.size());
    EXPECT_EQ(worker_->ProcessBuffer(&image, faces.data(), count, orientation, flip), 1);
    for (const std::string& line : log_.TakeOwn()) {
      if (const auto outcome = framework::OutcomeIn(line.c_str() + line.rfind('/') + 1))
        return outcome;
    }
    return std::nullopt;
  }

  // Offers a frame until it is considered, and waits for its pass.
  void Hand(const ZyImageBuffer& image, const Faces& faces, int orientation = 270, int flip = 0) {
    std::optional<Outcome> outcome;
    for (int i = 0; i < 4 && !outcome; ++i) outcome = Offer(image, faces, orientation, flip);
    EXPECT_EQ(outcome, Outcome::kTaken);
    AwaitWorkers();
  }

  void ExpectThreeSkips() {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Offer(image_, face_), std::nullopt);
  }

  size_t FailedSetUps() { return CountContaining(log_.TakeOthers(), "FaceInit failed"); }
  int Index(bool fresh = false) { return worker_->getFaceIndex(fresh, 20, 80, 20, 70); }

  media::Nv12Frame frame_ = testing_support::PatternFrame(122, 94);
  const ZyImageBuffer image_ = media::ImageOf(frame_);
  const Faces face_ = {{20, 20, 60, 50}};
  std::unique_ptr<ZYPreview> worker_;
};

TEST_F(WorkerTest, BeginsWithDefaultsAndAllAnalysesOff) {
  const ZYPreview fresh;
  EXPECT_FALSE(fresh.mFaceGenderAndAgeEnabled || fresh.mFaceScoreEnabled);
  for (int slot = 0; slot < 3; ++slot) {
    const std::vector<float> figures = {fresh.mProp[slot], fresh.mGender[slot],
                                        fresh.mAgeWhenGenderHigh[slot],
                                        fresh.mAgeWhenGenderLow[slot], fresh.mFaceGrade[slot]};
    EXPECT_EQ(figures, std::vector<float>({0.7f, 0.0f, 24.0f, 20.0f, 80.0f}));
    for (const std::atomic<int32_t>& edge : fresh.mAnalyzedRects[slot]) EXPECT_EQ(edge, 0);
  }
}

// ---- Hand-over ----------------------------------------------------------------------------------

TEST_F(WorkerTest, ADroppedFrameKeepsThePendingOne) {
  Hand(image_, face_, 0);
  ExpectThreeSkips();
  std::atomic<bool> runs{true};
  device::AgeGender().SetScript([&](const device::AgeGenderCall&) {
    while (runs) std::this_thread::yield();
    return device::AgeGenderAnswer{};
  });
  framework::HoldSignals(true);
  EXPECT_EQ(Offer(image_, face_, 0), Outcome::kTaken);
  std::fill(frame_.bytes.begin(), frame_.bytes.end(), uint8_t{0});
  for (const bool pending : {true, false}) {
    ExpectThreeSkips();
    EXPECT_EQ(Offer(image_, Faces(2, {0, 0, 90, 90}), 180, 1), Outcome::kDropped);
    EXPECT_EQ(worker_->mFaceAnalyzeNum, 1);
    framework::HoldSignals(false);
    while (pending && device::AgeGender().Counts().analyses < 2) std::this_thread::yield();
  }
  runs = false;
  AwaitWorkers();
  const auto calls = device::AgeGender().Calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].rgb_digest, calls[1].rgb_digest);
  EXPECT_EQ(calls[0].left, calls[1].left);
  ExpectThreeSkips();
  EXPECT_EQ(Offer(image_, face_), Outcome::kTaken);
  AwaitWorkers();
}

TEST_F(WorkerTest, AcceptsFramesThatNoNodeOffers) {
  EXPECT_EQ(worker_->ProcessBuffer(nullptr, face_.data(), 1, 0, 0), 0);
  EXPECT_EQ(log_.TakeOwn(), std::vector<std::string>({"6/ZYPreview/ProcessBuffer: Bad parameter"}));
  std::vector<ZyImageBuffer> bad(6, image_);
  bad[0].format = 2;
  bad[1].plane[0] = nullptr;
  bad[2].plane[1] = nullptr;
  bad[3].width = -122;
  bad[4].width = bad[4].height = 1 << 20;
  bad[5].height = 0;
  for (const ZyImageBuffer& image : bad) Hand(image, face_);
  EXPECT_EQ(device::AgeGender().Counts().analyses, 0u);
  const Faces three(3, face_[0]);
  for (int i = 0; i < 4; ++i) worker_->ProcessBuffer(&image_, three.data(), 1000, 270, 0);
  AwaitWorkers();
  EXPECT_EQ(device::AgeGender().Counts().analyses, 3u);
  EXPECT_EQ(worker_->ProcessBuffer(&image_, nullptr, 1, 270, 0), 1);  // not counted
  EXPECT_EQ(worker_->mFaceAnalyzeNum, 3);
  ExpectThreeSkips();
  for (const int none : {0, -1}) {
    EXPECT_EQ(Offer(image_, face_), Outcome::kTaken);
    AwaitWorkers();
    EXPECT_EQ(Index(), 0);
    EXPECT_EQ(worker_->ProcessBuffer(&image_, face_.data(), none, 270, 0),
              1);  // not counted either
    EXPECT_EQ(Index(), -1);
    ExpectThreeSkips();
  }
}

TEST_F(WorkerTest, FollowsTheFrameSize) {
  media::Nv12Frame small = testing_support::PatternFrame(64, 48);
  media::Nv12Frame flat = testing_support::PatternFrame(64, 1);
  media::Nv12Frame thin = testing_support::PatternFrame(1, 48);
  log_.TakeOthers();
  for (media::Nv12Frame* frame : {&frame_, &small, &small, &flat, &thin, &frame_}) {
    Hand(media::ImageOf(*frame), {{0, 0, 40, 40}});
  }
  const auto lines = log_.TakeOthers();
  EXPECT_EQ(CountContaining(lines, "size changed"), 5u);
  EXPECT_EQ(CountContaining(lines, "re-alloc memory 0*0 -> 122*94"), 1u);
  EXPECT_EQ(CountContaining(lines, "re-alloc memory 1*48 -> 122*94"), 1u);
  EXPECT_EQ(device::AgeGender().Counts().analyses,
            4u);  // a frame one pixel high or wide has no half-size image
}

TEST_F(WorkerTest, AWakeUpWithoutAFrameIsNoPass) {
  device::AgeGender().Set(&ModelSettings::failing_inits, -1);
  Restart();
  Hand(image_, face_);
  EXPECT_EQ(device::AgeGender().Counts().analyses, 1u);  // the model is never ready, but called
  const uint64_t passes = device::ClockReads();
  const uint64_t attempts = device::AgeGender().Counts().attempts;
  framework::WakeWorkersSpuriously();
  while (device::AgeGender().Counts().attempts < attempts + 3) std::this_thread::yield();
  EXPECT_EQ(device::ClockReads(), passes);
}

// ---- Faces and results --------------------------------------------------------------------------

// In frames of 122x94 a face must be wider than 15 pixels.
TEST_F(WorkerTest, HalvesEdgesTowardZero) {
  device::FaceGrade().Set(&ModelSettings::records, true);
  Hand(image_, {{-3, -5, 60, 40}, {21, 31, 16, 1}, {21, 31, 15, 60}});
  std::vector<std::vector<int>> graded;
  for (const device::FaceGradeCall& call : device::FaceGrade().Calls()) {
    graded.push_back({call.left, call.top, call.right, call.bottom});
  }
  EXPECT_EQ(graded, (std::vector<std::vector<int>>{{-1, -2, 28, 17}, {10, 15, 18, 16}}));
}

TEST_F(WorkerTest, FindsTheFirstFaceNearerThanThreeTenthsOfTheWidth) {
  Hand(image_, {{10, 10, 3, 40}, {60, 10, 40, 40}, {60, 10, 40, 40}});
  EXPECT_EQ(worker_->getFaceIndex(false, 60, 100, 10, 50), 1);
  EXPECT_EQ(worker_->getFaceIndex(false, 71, 111, 10, 50), 1);  // 11 is less than 12
  EXPECT_EQ(worker_->getFaceIndex(false, 72, 112, 10, 50), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 13, 10, 50),
            -1);  // the limit of 0 excludes everything
  EXPECT_EQ(worker_->getFaceIndex(false, INT32_MIN, INT32_MAX, INT32_MAX, INT32_MIN), -1);
  // Three tenths are taken of the width as a float: here of 100000000, which gives 30000002.
  Hand(image_, {{0, 10, 100000001, 40}, {INT32_MAX - 9, INT32_MAX, 20, 1}});
  EXPECT_EQ(worker_->getFaceIndex(false, 30000001, 130000002, 10, 50), 0);
  EXPECT_EQ(worker_->mAnalyzedRects[1][2], INT32_MIN + 10);  // edges wrap around
  EXPECT_EQ(worker_->mAnalyzedRects[1][3], INT32_MIN);
}

TEST_F(WorkerTest, FreshResultsAreAtMostTwoSecondsOld) {
  device::AgeGender().SetScript([](const device::AgeGenderCall&) {
    device::SetClock(5'000'000'000);  // the age counts from the end of the pass
    return device::AgeGenderAnswer{};
  });
  device::SetClock(1'000'000'000);
  Hand(image_, face_);
  for (const auto& [now, slot] : {std::pair(7'000'000'000, 0), {7'000'000'001, -1}}) {
    device::SetClock(now);
    EXPECT_EQ(Index(true), slot) << now;
    EXPECT_EQ(Index(), 0);
  }
}

// ---- The closed libraries -----------------------------------------------------------------------

TEST_F(WorkerTest, TriesTheModelThreeTimesPerPassUntilItIsReady) {
  device::SetClock(1);
  for (const bool throws : {false, true}) {
    device::AgeGender().Set(&ModelSettings::failing_inits, 7);
    device::AgeGender().Set(&ModelSettings::failing_inits_throw, throws);
    FailedSetUps();
    Restart();
    EXPECT_EQ(FailedSetUps(), 3u);
    Hand(image_, face_);
    EXPECT_EQ(FailedSetUps(), 3u);
    EXPECT_EQ(Index(true), -1);
    Hand(image_, face_);
    EXPECT_EQ(FailedSetUps(), 1u);
    EXPECT_EQ(Index(true), 0);
  }
  EXPECT_EQ(device::AgeGender().Counts().analyses, 4u);  // analysed nevertheless
}

TEST_F(WorkerTest, TheLastWorkerClearsTheModel) {
  worker_.reset();
  ZyFaceAgeFinalize();  // one too many, which is ignored
  Restart();
  auto second = std::make_unique<ZYPreview>();
  worker_.reset();
  EXPECT_EQ(device::AgeGender().Counts().clears, 2u);
  second.reset();
  EXPECT_EQ(device::AgeGender().Counts().clears, 3u);
}

using WorkerDeathTest = WorkerTest;

TEST_F(WorkerDeathTest, VersionsOfTwentyCharactersEndTheProcess) {
  device::AgeGender().Set(&ModelSettings::version, "1234567890123456789");
  log_.TakeOthers();
  Restart();
  EXPECT_EQ(CountContaining(log_.TakeOthers(), "Ver=1234567890123456789, fitCountry=0("), 1u);
  worker_.reset();  // leaves one thread, so that a plain fork suffices; an emulator cannot exec
  for (const size_t length : {20u, 56u}) {
    device::AgeGender().Set(&ModelSettings::version, std::string(length, 'v'));
    EXPECT_DEATH((std::fputs("asked", stderr), ZyFaceAgeGetVersion()), "asked");
  }
}

// ---- Stop ---------------------------------------------------------------------------------------

TEST_F(WorkerTest, DestructionWaitsForOneAttemptToSetTheModelUp) {
  std::atomic<int> attempts{0};
  std::atomic<bool> ends{false};
  device::AgeGender().Set(&ModelSettings::failing_inits, -1);
  worker_.reset();
  framework::SetLogListener([&](const framework::LogLine&) {
    if (attempts++ != 0) return false;
    while (!ends) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    return false;
  });
  worker_ = std::make_unique<ZYPreview>();
  while (attempts == 0) std::this_thread::yield();
  ends = true;
  worker_.reset();
  EXPECT_EQ(attempts, 1);
  framework::SetLogListener(nullptr);
}

TEST_F(WorkerTest, DestructionWaitsForARunningPass) {
  device::AgeGender().Set(&ModelSettings::delay, std::chrono::milliseconds(200));
  ASSERT_EQ(Offer(image_, {face_[0], face_[0]}), Outcome::kTaken);
  while (device::AgeGender().Counts().analyses == 0) std::this_thread::yield();
  worker_.reset();
  EXPECT_EQ(device::AgeGender().Counts().analyses, 2u);
  EXPECT_EQ(CountContaining(log_.TakeOwn(), "pthread dead"), 0u);
}

}  // namespace
