// SPDX-License-Identifier: Apache-2.0
// The worker thread of ZYPreview: waits for a frame, prepares it, analyses its faces, publishes.
#include <stdlib.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "analysis/face_age.h"
#include "analysis/upright_images.h"
#include "analysis/zy_preview.h"
#include "platform/android_clock.h"
#include "platform/android_log.h"
#include "platform/face_grade.h"

namespace android {
namespace {

constexpr char kLoop[] = "AnalyzeCurrentFrame";

// Fixed numbers of two log lines: the model's answer, and the figures of a slot after it.
constexpr int kLineEstimated = 207;
constexpr int kLineStored = 215;

constexpr int kInitAttempts = 3;

// Returns the bytes for `channels` bytes per pixel of the half-size image, at least 1 so that null
// always means failure. An allocated frame has 3 * width * height below 2^31.
size_t HalfSizeBytes(int32_t width, int32_t height, int channels) {
  const int64_t bytes = int64_t{width} * height * channels >> 2;
  return static_cast<size_t>(std::max<int64_t>(bytes, 1));
}

// Edges of a face in full-size pixels of the upright image. 64 bits, because a hostile rectangle
// may lie anywhere in the 32-bit plane.
struct UprightRect {
  int64_t x0, y0, x1, y1;
};

UprightRect TurnUpright(const int32_t (&rect)[4], int64_t width, int64_t height, int orientation,
                        bool mirrored) {
  const int64_t left = rect[0], top = rect[1], right = rect[2], bottom = rect[3];
  switch (orientation) {
    case 270:
      return {left, top, right, bottom};
    case 90:
      return {width - right, height - bottom, width - left, height - top};
    case 0:
      if (mirrored) return {height - bottom, width - right, height - top, width - left};
      return {height - bottom, left, height - top, right};
    default:
      if (mirrored) return {top, left, bottom, right};
      return {top, width - right, bottom, width - left};
  }
}

// Returns the width that a face must exceed: a sixth of the frame's shorter side, in pixels.
int FaceSizeLimit(int32_t width, int32_t height) {
  return static_cast<int>(static_cast<float>(std::min(width, height)) / 6.0f);
}

// Limits a grade to 50 to 100; a NaN passes.
float LimitGrade(float grade) {
  if (grade > 100.0f) grade = 100.0f;
  if (grade < 50.0f) grade = 50.0f;
  return grade;
}

// Grades one face; nullopt when the closed library throws.
std::optional<FaceGradeResult> Grade(FaceGradeInterface& grader, const uint8_t* bgr, int width,
                                     int height, int left, int top, int face_width,
                                     int face_height) {
  base::MutexLock lock(g_model_library);
  return CallModelLibrary(std::optional<FaceGradeResult>(), [&] {
    std::optional<FaceGradeResult> result(std::in_place);
    grader.setFaceRect(left, top, face_width, face_height);
    grader.process(bgr, width, height, *result, false);
    return result;
  });
}

template <typename T>
void StoreAll(std::atomic<T>* published, const T* values, int count) {
  for (int i = 0; i < count; ++i) published[i].store(values[i], std::memory_order_relaxed);
}

}  // namespace

void* ZYPreview::AnalyzeFrame(void* worker) {
  static_cast<ZYPreview*>(worker)->AnalyzeCurrentFrame();
  return nullptr;
}

void ZYPreview::AnalyzeCurrentFrame() {
  PassResults results = {};
  while (mAnalyzingEnabled.load(std::memory_order_relaxed)) {
    if (!mFaceInited.load(std::memory_order_relaxed)) InitModel();
    base::MutexLock lock(mFrameLock);
    if (!mAnalyzingEnabled.load(std::memory_order_relaxed)) return;
    if (!mIsAnalyzing.load(std::memory_order_relaxed)) mFrameCond.Wait(mFrameLock);
    if (!mAnalyzingEnabled.load(std::memory_order_relaxed)) return;
    if (HasFrame()) AnalyzeOnePass(results);
    // The only place that ends a pass, whatever its outcome: a flag left true would stop analysis
    // forever. mDataLock is not taken after this.
    mIsAnalyzing.store(false, std::memory_order_release);
  }
}

void ZYPreview::InitModel() {
  for (int attempt = 0; attempt < kInitAttempts; ++attempt) {
    if (!mAnalyzingEnabled.load(std::memory_order_relaxed)) return;  // the destructor waits
    if (ZyFaceAgeInit()) {
      mFaceInited.store(true, std::memory_order_relaxed);
      __android_log_print(kLogError, kLogTag, "%s: FaceInit Success", kLoop);
      const ZyFaceAgeVersion version = ZyFaceAgeGetVersion();
      __android_log_print(kLogError, kLogTag,
                          "%s: zyGenderVer=%s, fitCountry=%d(CHINA 1, INDIAN 2)", kLoop,
                          version.version, version.fitCountry);
      return;
    }
    __android_log_print(kLogError, kLogTag, "%s: FaceInit failed", kLoop);
  }
}

// Returns whether a wake-up brought a frame. The flag comes first: the sizes belong to this thread
// only while it is true.
bool ZYPreview::HasFrame() const {
  return mIsAnalyzing.load(std::memory_order_acquire) && mImageWidth != 0 && mImageHeight != 0;
}

void ZYPreview::AnalyzeOnePass(PassResults& results) {
  // Allocated for each pass on purpose: a worker that sleeps, as most do, holds one image less.
  uint8_t* gray = nullptr;
  if (FitRgbBuffer()) {
    gray = static_cast<uint8_t*>(malloc(HalfSizeBytes(mImageWidth, mImageHeight, 1)));
  }
  if (gray == nullptr) {
    // Size 0 makes both threads allocate again for the next frame, whatever its size.
    mAllocWidth = 0;
    mAllocHeight = 0;
    return;
  }
  AnalyzePreparedFrame(gray, results);
  free(gray);
  mLastAnalyzeTime.store(systemTime(SYSTEM_TIME_MONOTONIC), std::memory_order_relaxed);
}

bool ZYPreview::FitRgbBuffer() {
  if (mImageWidth == mAllocWidth && mImageHeight == mAllocHeight) return true;
  __android_log_print(kLogError, kLogTag, "%s: size changed, re-alloc memory %d*%d -> %d*%d", kLoop,
                      mAllocWidth, mAllocHeight, mImageWidth, mImageHeight);
  free(mRgbBuffer);
  mRgbBuffer = static_cast<uint8_t*>(malloc(HalfSizeBytes(mImageWidth, mImageHeight, 3)));
  mAllocWidth = mImageWidth;
  mAllocHeight = mImageHeight;
  return mRgbBuffer != nullptr;
}

void ZYPreview::AnalyzePreparedFrame(uint8_t* gray, PassResults& results) {
  prepareDataForFaceAnalyse(mInputImage.plane[0], mInputImage.plane[1], gray, mRgbBuffer,
                            mImageWidth, mImageHeight, mOrientation, mFlip);
  const bool turned = mOrientation == 0 || mOrientation == 180;
  const PassImages images = {gray, mRgbBuffer, (turned ? mImageHeight : mImageWidth) / 2,
                             (turned ? mImageWidth : mImageHeight) / 2};
  const int count = SnapshotFaces(results);
  for (int slot = 0; slot < count; ++slot) {
    PassFace face = MapFace(results.rects[slot]);
    // A frame one pixel wide or high has an empty half-size image.
    if (images.width == 0 || images.height == 0) face.valid = false;
    if (mFaceGradeInterface == nullptr) continue;
    if (mFaceGenderAndAgeEnabled.load(std::memory_order_relaxed)) {
      EstimateAgeAndGender(images, face, slot, results);
    }
    if (mFaceScoreEnabled.load(std::memory_order_relaxed)) GradeFace(images, face, slot, results);
  }
  Publish(results);
}

int ZYPreview::SnapshotFaces(PassResults& results) {
  base::MutexLock lock(mDataLock);
  const int count = std::min(mFaceAnalyzeNum.load(std::memory_order_relaxed), kMaxFaces);
  for (int i = 0; i < count; ++i) std::copy_n(mFaceRects[i], 4, results.rects[i]);
  return count;
}

ZYPreview::PassFace ZYPreview::MapFace(const int32_t (&rect)[4]) const {
  const UprightRect upright =
      TurnUpright(rect, mImageWidth, mImageHeight, mOrientation, mFlip == 1);
  const int64_t left = upright.x0 / 2, top = upright.y0 / 2;
  const int64_t right = upright.x1 / 2, bottom = upright.y1 / 2;
  return {static_cast<int>(left),
          static_cast<int>(top),
          static_cast<int>(right),
          static_cast<int>(bottom),
          static_cast<int>(right - left),
          static_cast<int>(bottom - top),
          upright.x1 - upright.x0 > FaceSizeLimit(mImageWidth, mImageHeight)};
}

// Requires the face-grade object, although it does not use it: a device without that library runs
// neither analysis.
void ZYPreview::EstimateAgeAndGender(const PassImages& images, const PassFace& face, int slot,
                                     PassResults& results) {
  __android_log_print(kLogError, kLogTag, "%s, check res:%d", "checkValidFaceSize", face.valid);
  ZyFaceAgeResult result = {};
  if (face.valid) {
    result = ZyFaceAgeAnalyze(images.gray, images.bgr, images.width, images.height, face.left,
                              face.top, face.right, face.bottom, 1.0f);
    __android_log_print(kLogError, kLogTag,
                        "%s %d: DoAgeGender ZyGender time: ms, result:%f, %f, %f, %f", kLoop,
                        kLineEstimated, result.prop, result.gender, result.ageWhenGenderHigh,
                        result.ageWhenGenderLow);
  }
  results.prop[slot] = result.prop;
  results.gender[slot] = result.gender;
  results.age_when_gender_high[slot] = result.ageWhenGenderHigh;
  results.age_when_gender_low[slot] = result.ageWhenGenderLow;
  __android_log_print(
      kLogError, kLogTag, "%s %d:  DoAgeGender ZyGender time: ms, result:%f, %f, %f, %f", kLoop,
      kLineStored, result.prop, result.gender, result.ageWhenGenderHigh, result.ageWhenGenderLow);
}

void ZYPreview::GradeFace(const PassImages& images, const PassFace& face, int slot,
                          PassResults& results) {
  __android_log_print(kLogError, kLogTag, "%s, check res:%d", "checkValidFaceSize", face.valid);
  std::optional<FaceGradeResult> result;
  if (face.valid) {
    result = Grade(*mFaceGradeInterface, images.bgr, images.width, images.height, face.left,
                   face.top, face.width, face.height);
  }
  float grade = 0.0f;
  if (result) {
    __android_log_print(kLogError, kLogTag, "%s:  DoFaceBeautyRank face grade:%f (%f, %f, %f)",
                        kLoop, result->grade, result->scores[0], result->scores[1],
                        result->scores[2]);
    grade = LimitGrade(result->grade);
  }
  __android_log_print(kLogError, kLogTag, "%s:  time:, face grade result:%f", kLoop, grade);
  results.grade[slot] = grade;
}

void ZYPreview::Publish(const PassResults& results) {
  base::MutexLock lock(mDataLock);
  StoreAll(mProp, results.prop, kMaxFaces);
  StoreAll(mGender, results.gender, kMaxFaces);
  StoreAll(mAgeWhenGenderHigh, results.age_when_gender_high, kMaxFaces);
  StoreAll(mAgeWhenGenderLow, results.age_when_gender_low, kMaxFaces);
  StoreAll(mFaceGrade, results.grade, kMaxFaces);
  for (int i = 0; i < kMaxFaces; ++i) StoreAll(mAnalyzedRects[i], results.rects[i], 4);
}

}  // namespace android
