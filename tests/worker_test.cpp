// SPDX-License-Identifier: Apache-2.0
// The worker: pacing and drops, faces turned upright, results kept per slot, matching, faults,
// life.
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "analysis/face_age.h"
#include "analysis/zy_preview.h"
#include "tests/device_testing.h"
#include "tests/kernel_testing.h"

namespace android {

class ZYPreviewPeer {
 public:
  static void LookAtFirstSlotOnly(ZYPreview& worker) { worker.mMultiFaceEnabled = false; }
};

}  // namespace android

namespace {

using android::ZYPreview;
using testing_support::CountContaining;
using testing_support::DeviceTest;
using Faces = std::vector<android::_FaceLocation>;

enum class Fate { kUnseen, kTaken, kDropped };

class WorkerTest : public DeviceTest {
 protected:
  WorkerTest() : worker_(std::make_unique<ZYPreview>()) {
    worker_->mFaceGenderAndAgeEnabled = true;
    worker_->mFaceScoreEnabled = true;
    AwaitWorkers();
    host::RecordAgeGender(true);
    host::RecordFaceGrade(true);
  }

  static ZyImageBuffer Describe(pictures::Nv12Frame& frame) {
    return {kZyFormatYuv420SemiPlanar,
            frame.width,
            frame.height,
            {frame.stride, frame.stride, 0, 0},
            {frame.Luma(), frame.Chroma(), nullptr, nullptr}};
  }

  // Offers a frame once; its fate is what the worker logs about it.
  Fate Offer(const ZyImageBuffer& image, const Faces& faces, int orientation = 270, int flip = 0) {
    log_.TakeOwn();
    EXPECT_EQ(worker_->ProcessBuffer(&image, faces.data(), static_cast<int>(faces.size()),
                                     orientation, flip),
              1);
    const auto lines = log_.TakeOwn();
    if (CountContaining(lines, "ProcessBuffer++") == 0) return Fate::kUnseen;
    return CountContaining(lines, "mIsAnalyzing:0") != 0 ? Fate::kTaken : Fate::kDropped;
  }

  // Offers until the frame is considered, and waits for its pass.
  Fate OfferUntilSeen(const ZyImageBuffer& image, const Faces& faces, int orientation = 270,
                      int flip = 0) {
    Fate fate = Fate::kUnseen;
    for (int i = 0; i < 4 && fate == Fate::kUnseen; ++i) {
      fate = Offer(image, faces, orientation, flip);
    }
    AwaitWorkers();
    return fate;
  }

  pictures::Nv12Frame frame_ = testing_support::PatternFrame(120, 90);
  ZyImageBuffer image_ = Describe(frame_);
  const Faces face_ = {{20, 20, 60, 50}};
  std::unique_ptr<ZYPreview> worker_;
};

// ---- Hand-over ----------------------------------------------------------------------------------

TEST_F(WorkerTest, TakesTheFirstFrameWithFacesAndOneInFourAfterwards) {
  std::string fates;
  for (int i = 0; i < 9; ++i) {
    EXPECT_EQ(Offer(image_, {}), Fate::kUnseen);  // does not count
    fates += Offer(image_, face_) == Fate::kTaken ? 'T' : '.';
    AwaitWorkers();
  }
  EXPECT_EQ(fates, "T...T...T");
}

TEST_F(WorkerTest, DropsFramesWhileAPassRuns) {
  std::atomic<bool> runs{true};
  host::ScriptAgeGender([&](const host::AgeGenderCall&) {
    while (runs) std::this_thread::yield();
    return host::AgeGenderAnswer{};
  });
  EXPECT_EQ(Offer(image_, face_), Fate::kTaken);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Offer(image_, face_), Fate::kUnseen);
  EXPECT_EQ(Offer(image_, face_), Fate::kDropped);
  runs = false;
  AwaitWorkers();
  EXPECT_EQ(host::AgeGenderCounters().analyses, 1u);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Offer(image_, face_), Fate::kUnseen);
  EXPECT_EQ(Offer(image_, face_), Fate::kTaken);
  AwaitWorkers();
}

TEST_F(WorkerTest, RefusesWhatItCannotCopyAndThenTakesAGoodFrame) {
  EXPECT_EQ(worker_->ProcessBuffer(nullptr, face_.data(), 1, 0, 0), 0);
  EXPECT_EQ(log_.TakeOwn(), std::vector<std::string>({"6/ZYPreview/ProcessBuffer: Bad parameter"}));
  std::vector<ZyImageBuffer> bad(6, image_);
  bad[0].format = 2;
  bad[1].plane[0] = nullptr;
  bad[2].plane[1] = nullptr;
  bad[3].width = -120;
  bad[4].width = bad[4].height = 1 << 20;
  bad[5].height = 0;
  for (const ZyImageBuffer& image : bad) {
    EXPECT_EQ(OfferUntilSeen(image, face_), Fate::kTaken);
    EXPECT_EQ(host::AgeGenderCounters().analyses, 0u);
  }
  ZyImageBuffer other_size = bad[0];
  other_size.width = 64;
  for (const uint64_t analyses : {1u, 2u}) {
    EXPECT_EQ(OfferUntilSeen(image_, face_), Fate::kTaken);
    EXPECT_EQ(host::AgeGenderCounters().analyses, analyses);
    EXPECT_EQ(OfferUntilSeen(other_size, face_), Fate::kTaken);
  }
  EXPECT_EQ(worker_->ProcessBuffer(&image_, nullptr, 1, 0, 0), 1);
  EXPECT_EQ(worker_->mFaceAnalyzeNum, 1);  // faces without rectangles change nothing
}

TEST_F(WorkerTest, KeepsItsOwnCopyOfTheFrame) {
  OfferUntilSeen(image_, face_);
  const auto calls = host::AgeGenderCalls();
  ASSERT_EQ(calls.size(), 1u);
  for (int i = 0; i < 3; ++i) Offer(image_, face_);
  host::HoldSignals(true);
  ASSERT_EQ(Offer(image_, face_), Fate::kTaken);
  std::fill(frame_.bytes.begin(), frame_.bytes.end(), uint8_t{0});
  host::HoldSignals(false);
  AwaitWorkers();
  ASSERT_EQ(host::AgeGenderCalls().size(), 2u);
  EXPECT_EQ(host::AgeGenderCalls().back().rgb_digest, calls[0].rgb_digest);
}

TEST_F(WorkerTest, CountsMoreThanThreeFacesAsThree) {
  testing_support::GuardedBytes bytes(3 * sizeof(face_[0]));
  auto* faces = reinterpret_cast<android::_FaceLocation*>(bytes.data());
  std::fill_n(faces, 3, face_[0]);
  EXPECT_EQ(worker_->ProcessBuffer(&image_, faces, 1000, 270, 0), 1);
  AwaitWorkers();
  EXPECT_EQ(worker_->mFaceAnalyzeNum, 3);
  EXPECT_EQ(host::AgeGenderCounters().analyses, 3u);
}

TEST_F(WorkerTest, FollowsTheFrameSize) {
  pictures::Nv12Frame other = testing_support::PatternFrame(64, 48);
  const ZyImageBuffer small = Describe(other);
  log_.TakeOthers();
  for (const ZyImageBuffer& image : {image_, small, small, image_}) {
    EXPECT_EQ(OfferUntilSeen(image, {{0, 0, 40, 40}}), Fate::kTaken);
  }
  const auto lines = log_.TakeOthers();
  EXPECT_EQ(CountContaining(lines, "size changed"), 3u);
  EXPECT_EQ(CountContaining(lines, "re-alloc memory 0*0 -> 120*90"), 1u);
  EXPECT_EQ(CountContaining(lines, "re-alloc memory 120*90 -> 64*48"), 1u);
  EXPECT_EQ(CountContaining(lines, "re-alloc memory 64*48 -> 120*90"), 1u);
  const auto calls = host::AgeGenderCalls();
  EXPECT_EQ(calls[0].rgb_digest, calls[3].rgb_digest);
}

TEST_F(WorkerTest, AWakeUpWithoutAFrameIsNoPass) {
  host::FailAgeGenderInit(-1);
  worker_ = std::make_unique<ZYPreview>();
  AwaitWorkers();
  worker_->mFaceGenderAndAgeEnabled = true;
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(host::AgeGenderCounters().analyses, 1u);  // the model is never ready, but asked
  const uint64_t passes = host::ClockReads();
  const uint64_t attempts = host::AgeGenderCounters().inits;
  host::WakeWorkersSpuriously();
  while (host::AgeGenderCounters().inits < attempts + 3) std::this_thread::yield();
  EXPECT_EQ(host::ClockReads(), passes);
}

// ---- Faces upright ------------------------------------------------------------------------------

TEST_F(WorkerTest, TurnsFacesUprightTogetherWithTheirPixels) {
  // A bright patch where the face is, on a dark frame of 160x120.
  pictures::Nv12Frame frame = testing_support::PatternFrame(160, 120, 192);
  std::memset(frame.Luma(), 16, frame.LumaSize());
  std::memset(frame.Chroma(), 128, frame.ChromaSize());
  const android::_FaceLocation face = {20, 40, 60, 48};
  for (int y = face.y; y < face.y + face.h; ++y) {
    std::memset(frame.Luma() + y * frame.stride + face.x, 200, static_cast<size_t>(face.w));
  }
  struct Case {
    int orientation, flip;
    int width, height, left, top, right, bottom;
  };
  for (const Case& test :
       {Case{270, 0, 80, 60, 10, 20, 40, 44}, Case{270, 1, 80, 60, 10, 20, 40, 44},
        Case{90, 0, 80, 60, 40, 16, 70, 40}, Case{90, 1, 80, 60, 40, 16, 70, 40},
        Case{0, 0, 60, 80, 16, 10, 40, 40}, Case{0, 1, 60, 80, 16, 40, 40, 70},
        Case{180, 0, 60, 80, 20, 40, 44, 70}, Case{180, 1, 60, 80, 20, 10, 44, 40}}) {
    const size_t before = host::AgeGenderCalls().size();
    ASSERT_EQ(OfferUntilSeen(Describe(frame), {face}, test.orientation, test.flip), Fate::kTaken);
    ASSERT_EQ(host::AgeGenderCalls().size(), before + 1);
    const host::AgeGenderCall age = host::AgeGenderCalls().back();
    EXPECT_EQ(
        (std::vector<int>{age.width, age.height, age.left, age.top, age.right, age.bottom}),
        (std::vector<int>{test.width, test.height, test.left, test.top, test.right, test.bottom}))
        << test.orientation << " " << test.flip;
    EXPECT_EQ(age.factor, 1.0f);
    const host::FaceGradeCall grade = host::FaceGradeCalls().back();
    EXPECT_EQ((std::vector<int>{grade.width, grade.height, grade.x, grade.y, grade.face_width,
                                grade.face_height}),
              (std::vector<int>{test.width, test.height, test.left, test.top,
                                test.right - test.left, test.bottom - test.top}));
    EXPECT_FALSE(grade.flag);
    // Every pixel inside the rectangle is of the patch, of luma 200 and colour (200 - 16) * 1.164.
    EXPECT_EQ(worker_->mAgeWhenGenderLow[0], 5.0f + 200.0f * 0.25f)
        << test.orientation << " " << test.flip;
    EXPECT_EQ(worker_->mFaceGrade[0], 45.0f + 214.0f * 0.1f);
  }
}

TEST_F(WorkerTest, AnUnknownOrientationMapsLikeAHalfTurnInsideAnUnturnedImage) {
  ASSERT_EQ(OfferUntilSeen(image_, {{10, 20, 60, 50}}, 45, 0), Fate::kTaken);
  const host::AgeGenderCall call = host::AgeGenderCalls().back();
  EXPECT_EQ(
      (std::vector<int>{call.width, call.height, call.left, call.top, call.right, call.bottom}),
      (std::vector<int>{60, 45, 10, 25, 35, 55}));
}

TEST_F(WorkerTest, AFaceMustBeWiderThanASixthOfTheShorterSide) {
  // 15 pixels for 120x90. At orientation 0 the frame's height direction is the face's width.
  struct Case {
    int w, h, orientation;
    bool valid;
  };
  for (const Case& test : {Case{15, 90, 270, false}, Case{16, 1, 270, true}, Case{16, 1, 90, true},
                           Case{90, 15, 0, false}, Case{1, 16, 0, true}, Case{1, 16, 180, true},
                           Case{-50, 50, 270, false}}) {
    const uint64_t before = host::AgeGenderCounters().analyses;
    OfferUntilSeen(image_, {{30, 30, test.w, test.h}}, test.orientation);
    EXPECT_EQ(host::AgeGenderCounters().analyses - before, test.valid ? 1u : 0u) << test.w;
    EXPECT_EQ(worker_->mFaceGrade[0] > 0.0f, test.valid);
    EXPECT_EQ(worker_->mAgeWhenGenderLow[0] > 0.0f, test.valid);
  }
}

TEST_F(WorkerTest, TheModelsNeverSeeAnEmptyImage) {
  for (const auto& [width, height] : std::vector<std::pair<int, int>>{{1, 40}, {40, 1}, {1, 1}}) {
    for (const int orientation : {0, 90, 180, 270}) {
      pictures::Nv12Frame thin = testing_support::PatternFrame(width, height);
      const uint64_t passes = host::ClockReads();
      EXPECT_EQ(OfferUntilSeen(Describe(thin), {{0, 0, 40, 40}}, orientation), Fate::kTaken);
      EXPECT_EQ(host::ClockReads(), passes + 1);
      EXPECT_EQ(worker_->mFaceGrade[0], 0.0f);  // too small
    }
  }
  EXPECT_EQ(host::AgeGenderCounters().analyses, 0u);
}

TEST_F(WorkerTest, RectanglesAnywhereInTheIntegerPlaneAreHarmless) {
  constexpr int kMin = std::numeric_limits<int>::min(), kMax = std::numeric_limits<int>::max();
  for (const int orientation : {0, 90, 180, 270}) {
    for (const int flip : {0, 1}) {
      OfferUntilSeen(image_,
                     {{kMax, kMax, kMax, kMax}, {kMin, kMin, kMin, kMin}, {kMin, kMax, -1, 1}},
                     orientation, flip);
      worker_->getFaceIndex(false, kMin, kMax, kMax, kMin);
    }
  }
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(worker_->getFaceIndex(false, 20, 80, 20, 70), 0);
}

// ---- Results ------------------------------------------------------------------------------------

TEST_F(WorkerTest, StartsWithDefaults) {
  const ZYPreview fresh;
  EXPECT_FALSE(fresh.mFaceGenderAndAgeEnabled || fresh.mFaceScoreEnabled);
  for (int slot = 0; slot < 3; ++slot) {
    EXPECT_EQ(worker_->mProp[slot], 0.7f);
    EXPECT_EQ(worker_->mGender[slot], 0.0f);
    EXPECT_EQ(worker_->mAgeWhenGenderHigh[slot], 24.0f);
    EXPECT_EQ(worker_->mAgeWhenGenderLow[slot], 20.0f);
    EXPECT_EQ(worker_->mFaceGrade[slot], 80.0f);
    for (const auto& edge : worker_->mAnalyzedRects[slot]) EXPECT_EQ(edge, 0);
  }
}

TEST_F(WorkerTest, SlotsThatAPassDoesNotWriteKeepTheirValues) {
  std::atomic<int> calls{1};
  host::ScriptAgeGender([&](const host::AgeGenderCall&) {
    const auto call = static_cast<float>(++calls);
    return host::AgeGenderAnswer{10.0f * call, 0.5f, call};
  });
  OfferUntilSeen(image_, {{0, 0, 40, 40}, {40, 0, 40, 40}, {80, 0, 40, 40}});
  worker_->mFaceScoreEnabled = false;
  host::ScriptFaceGrade([](const host::FaceGradeCall&) { return host::FaceGradeAnswer{99, {}}; });
  const float grade = worker_->mFaceGrade[0];
  ZyImageBuffer bad = image_;
  bad.format = 2;
  OfferUntilSeen(bad, Faces(3, {7, 7, 40, 40}));  // leaves rectangles behind, but is no pass
  OfferUntilSeen(image_, {{0, 20, 40, 40}, {40, 20, 40, 40}});
  EXPECT_EQ(worker_->mGender[0], 5.0f);
  EXPECT_EQ(worker_->mAgeWhenGenderHigh[1], 60.0f);
  EXPECT_EQ(worker_->mAgeWhenGenderLow[1], 60.0f);
  EXPECT_EQ(worker_->mGender[2], 4.0f);
  EXPECT_EQ(worker_->mFaceGrade[0], grade);
  EXPECT_EQ(worker_->mAnalyzedRects[1][1], 20);
  EXPECT_EQ(worker_->mAnalyzedRects[2][1], 0);
  worker_->mFaceGenderAndAgeEnabled = false;
  OfferUntilSeen(image_, Faces(3, face_[0]));
  EXPECT_EQ(worker_->mProp[0], 0.5f);
  EXPECT_EQ(worker_->mFaceGrade[2], grade);
}

TEST_F(WorkerTest, SwitchesGateTheModels) {
  worker_->mFaceGenderAndAgeEnabled = false;
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(host::AgeGenderCounters().analyses, 0u);
  EXPECT_EQ(host::FaceGradeCounters().processed, 1u);
  worker_->mFaceScoreEnabled = false;
  OfferUntilSeen(image_, {{4, 8, 60, 50}});
  EXPECT_EQ(host::FaceGradeCounters().processed, 1u);
  EXPECT_EQ(worker_->mAnalyzedRects[0][0], 4);  // a pass all the same
}

TEST_F(WorkerTest, GradesAreLimited) {
  std::atomic<float> grade{0.0f};
  host::ScriptFaceGrade([&](const host::FaceGradeCall&) {
    return host::FaceGradeAnswer{grade.load(), {}};
  });
  for (const auto& [given, published] : std::vector<std::pair<float, float>>{{30.0f, 50.0f},
                                                                             {50.5f, 50.5f},
                                                                             {130.0f, 100.0f},
                                                                             {INFINITY, 100.0f},
                                                                             {-INFINITY, 50.0f}}) {
    grade = given;
    OfferUntilSeen(image_, face_);
    EXPECT_EQ(worker_->mFaceGrade[0], published);
  }
  grade = NAN;
  OfferUntilSeen(image_, face_);
  EXPECT_TRUE(std::isnan(worker_->mFaceGrade[0]));
  host::SkipFaceGradeResult(true);
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(worker_->mFaceGrade[0], 50.0f);  // the result's default is 0
}

// ---- Matching -----------------------------------------------------------------------------------

TEST_F(WorkerTest, MatchesEdgesNearerThanThreeTenthsOfTheWidth) {
  OfferUntilSeen(image_, {{10, 10, 40, 40}, {60, 10, 20, 40}, {60, 10, 40, 40}});
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 10, 50), 0);
  // The tolerance of a width of 40 is 12, of 52 it is 15; the comparison is strict.
  EXPECT_EQ(worker_->getFaceIndex(false, 21, 61, 10, 50), 0);
  EXPECT_EQ(worker_->getFaceIndex(false, 22, 62, 10, 50), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 21, 61), 0);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 22, 50), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 10, 38), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 62, 10, 50), 0);
  EXPECT_EQ(worker_->getFaceIndex(false, 60, 80, 10, 50), 1);
  EXPECT_EQ(worker_->getFaceIndex(false, 60, 100, 10, 50), 2);
  android::ZYPreviewPeer::LookAtFirstSlotOnly(*worker_);
  EXPECT_EQ(worker_->getFaceIndex(false, 60, 80, 10, 50), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 10, 50), 0);
  worker_->ProcessBuffer(&image_, face_.data(), 0, 270, 0);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 10, 50), -1);
}

TEST_F(WorkerTest, NarrowRectanglesNeverMatch) {
  OfferUntilSeen(image_, {{10, 10, 3, 40}, {10, 10, 4, 40}});
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 13, 10, 50), -1);
  EXPECT_EQ(worker_->getFaceIndex(false, 10, 14, 10, 50), 1);
}

TEST_F(WorkerTest, FreshResultsAreAtMostTwoSecondsOld) {
  // The age counts from the end of the pass.
  host::ScriptAgeGender([](const host::AgeGenderCall&) {
    host::SetClock(5'000'000'000);
    return host::AgeGenderAnswer{};
  });
  host::SetClock(1'000'000'000);
  OfferUntilSeen(image_, {{10, 10, 40, 40}});
  for (const auto& [now, slot] : std::vector<std::pair<int64_t, int>>{
           {7'000'000'000, 0}, {7'000'000'001, -1}, {5'000'000'000, 0}}) {
    host::SetClock(now);
    EXPECT_EQ(worker_->getFaceIndex(true, 10, 50, 10, 50), slot) << now;
    EXPECT_EQ(worker_->getFaceIndex(false, 10, 50, 10, 50), 0);
  }
}

// ---- The model ----------------------------------------------------------------------------------

TEST_F(WorkerTest, TriesTheModelThreeTimesPerPassUntilItIsReady) {
  host::FailAgeGenderInit(7);
  host::SetClock(1);
  worker_ = std::make_unique<ZYPreview>();
  worker_->mFaceGenderAndAgeEnabled = true;
  AwaitWorkers();
  const uint64_t before = host::AgeGenderCounters().analyses;
  EXPECT_EQ(CountContaining(log_.TakeOthers(), "FaceInit failed"), 3u);
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(CountContaining(log_.TakeOthers(), "FaceInit failed"), 3u);
  EXPECT_EQ(host::AgeGenderCounters().analyses, before + 1);  // analysed all the same
  EXPECT_EQ(worker_->getFaceIndex(true, 20, 80, 20, 70), -1);
  OfferUntilSeen(image_, face_);
  const auto lines = log_.TakeOthers();
  EXPECT_EQ(CountContaining(lines, "FaceInit failed"), 1u);
  EXPECT_EQ(CountContaining(lines, "FaceInit Success"), 1u);
  EXPECT_EQ(worker_->getFaceIndex(true, 20, 80, 20, 70), 0);
}

TEST_F(WorkerTest, AModelThatFailsThreeTimesIsReadyWithTheFirstFrame) {
  for (const bool throws : {false, true}) {
    host::FailAgeGenderInit(3);
    host::ThrowFromAgeGenderInit(throws);
    host::SetClock(1);
    log_.TakeOthers();
    worker_ = std::make_unique<ZYPreview>();
    AwaitWorkers();
    EXPECT_EQ(CountContaining(log_.TakeOthers(), "FaceInit failed"), 3u);
    OfferUntilSeen(image_, face_);
    EXPECT_EQ(worker_->getFaceIndex(true, 20, 80, 20, 70), 0);
  }
}

TEST_F(WorkerTest, ModelsThatThrowLeaveZerosAndALivingWorker) {
  std::atomic<bool> throws{true};
  host::ScriptAgeGender([&](const host::AgeGenderCall&) -> host::AgeGenderAnswer {
    if (throws) throw std::bad_alloc();
    return {30.0f, 0.5f, 0.5f};
  });
  host::ScriptFaceGrade([&](const host::FaceGradeCall&) -> host::FaceGradeAnswer {
    if (throws) throw std::bad_alloc();
    return {70.0f, {}};
  });
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(worker_->mAgeWhenGenderLow[0], 0.0f);
  EXPECT_EQ(worker_->mFaceGrade[0], 0.0f);
  throws = false;
  OfferUntilSeen(image_, face_);
  EXPECT_EQ(worker_->mAgeWhenGenderLow[0], 30.0f);
  EXPECT_EQ(worker_->mFaceGrade[0], 70.0f);
}

TEST_F(WorkerTest, TheLastWorkerClearsTheModel) {
  auto second = std::make_unique<ZYPreview>();
  worker_.reset();
  EXPECT_EQ(host::AgeGenderCounters().clears, 0u);
  second.reset();
  EXPECT_EQ(host::AgeGenderCounters().clears, 1u);
  ZyFaceAgeFinalize();  // one too many, which does not count
  EXPECT_EQ(host::AgeGenderCounters().clears, 2u);
  worker_ = std::make_unique<ZYPreview>();
  second = std::make_unique<ZYPreview>();
  worker_.reset();
  EXPECT_EQ(host::AgeGenderCounters().clears, 2u);
}

TEST_F(WorkerTest, LogsVersionsOfUpToNineteenCharacters) {
  host::SetAgeGenderVersion("1234567890123456789");
  log_.TakeOthers();
  worker_ = std::make_unique<ZYPreview>();
  AwaitWorkers();
  EXPECT_EQ(CountContaining(log_.TakeOthers(), "zyGenderVer=1234567890123456789, fitCountry=0("),
            1u);
}

using WorkerDeathTest = WorkerTest;

TEST_F(WorkerDeathTest, LongerVersionsEndTheProcess) {
  worker_.reset();  // leaves one thread, so that a plain fork will do; an emulator cannot exec
  for (const size_t length : {20u, 56u}) {
    EXPECT_DEATH(
        {
          host::SetAgeGenderVersion(std::string(length, 'v'));
          std::fputs("the version is set", stderr);
          ZyFaceAgeGetVersion();
        },
        "the version is set");
  }
}

// ---- Stop ---------------------------------------------------------------------------------------

TEST_F(WorkerTest, DestructionWaitsForOneAttemptToSetTheModelUp) {
  std::atomic<int> attempts{0};
  std::atomic<bool> ends{false};
  host::FailAgeGenderInit(-1);
  host::SetLogSink([&](const host::LogLine&) {
    if (attempts++ != 0) return;
    while (!ends) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  });
  worker_ = std::make_unique<ZYPreview>();
  while (attempts == 0) std::this_thread::yield();
  ends = true;
  worker_.reset();
  EXPECT_EQ(attempts, 1);
  host::SetLogSink(nullptr);
}

TEST_F(WorkerTest, DestructionWaitsForARunningPassAndNoLonger) {
  host::SetAgeGenderDelay(std::chrono::milliseconds(200));
  ASSERT_EQ(Offer(image_, {face_[0], face_[0]}), Fate::kTaken);
  while (host::AgeGenderCounters().analyses == 0) std::this_thread::yield();
  worker_.reset();
  EXPECT_EQ(host::AgeGenderCounters().analyses, 2u);
  EXPECT_EQ(host::AgeGenderCounters().clears, 1u);
  EXPECT_EQ(CountContaining(log_.TakeOwn(), "pthread dead"), 0u);
}

}  // namespace
