// SPDX-License-Identifier: Apache-2.0
// The request thread's part of ZYPreview: its life, the hand-over, the search for a face.
#include "analysis/zy_preview.h"

#include <stdlib.h>

#include <algorithm>
#include <new>

#include "analysis/face_age.h"
#include "analysis/upright_images.h"
#include "base/wrapping.h"
#include "image/zy_copy_buffer.h"
#include "platform/android_clock.h"
#include "platform/android_log.h"
#include "platform/face_grade.h"

namespace android {
namespace {

static_assert(sizeof(std::atomic<float>) == sizeof(float));
static_assert(sizeof(std::atomic<int32_t>) == sizeof(int32_t));
static_assert(sizeof(std::atomic<int64_t>) == sizeof(int64_t));
static_assert(sizeof(std::atomic<bool>) == sizeof(bool));

// Age at which results stop being fresh.
constexpr int64_t kFreshNanoseconds = 2'000'000'000;

// Frames with faces that pass between two that are considered.
constexpr int32_t kSkippedFrames = 3;

bool Near(const std::atomic<int32_t>& published, int32_t edge, int64_t tolerance) {
  const int64_t difference = int64_t{published.load(std::memory_order_relaxed)} - edge;
  return std::max(difference, -difference) < tolerance;
}

// Returns null without memory, and when the closed library throws.
FaceGradeInterface* CreateFaceGrade() {
  base::MutexLock lock(g_model_library);
  return CallModelLibrary<FaceGradeInterface*>(
      nullptr, [] { return new (std::nothrow) FaceGradeInterface; });
}

void Fill(std::atomic<float> (&slots)[kMaxFaces], float value) {
  for (std::atomic<float>& slot : slots) slot.store(value, std::memory_order_relaxed);
}

}  // namespace

ZYPreview::ZYPreview() {
  const bool frame_lock_ready = mFrameLock.Init() && mFrameCond.Init();
  Fill(mProp, 0.7f);
  Fill(mGender, 0.0f);
  Fill(mAgeWhenGenderHigh, 24.0f);
  Fill(mAgeWhenGenderLow, 20.0f);
  Fill(mFaceGrade, 80.0f);
  for (auto& rect : mAnalyzedRects) {
    for (std::atomic<int32_t>& edge : rect) edge.store(0, std::memory_order_relaxed);
  }
  mLocksReady = mDataLock.Init() && frame_lock_ready;
  ZyFaceAgeAttach();
  mFaceGradeInterface = CreateFaceGrade();
  if (mLocksReady) StartAnalyzeThread();
}

ZYPreview::~ZYPreview() {
  if (mThread != 0) StopAnalyzeThread();
  ReleaseFaceGrade();
  ZyFaceAgeFinalize();
  free(mRgbBuffer);
  ZyFreeBuffer(&mInputImage);
  mDataLock.Destroy();
  mFrameCond.Destroy();
  mFrameLock.Destroy();
}

void ZYPreview::StartAnalyzeThread() {
  VP8YUVInit();
  mIsAnalyzing.store(false, std::memory_order_relaxed);
  mAnalyzingEnabled.store(true, std::memory_order_relaxed);
  pthread_t thread = 0;
  if (pthread_create(&thread, nullptr, AnalyzeFrame, this) == 0) {
    mThread = thread;
  } else {
    mAnalyzingEnabled.store(false, std::memory_order_relaxed);
  }
}

void ZYPreview::StopAnalyzeThread() {
  {
    base::MutexLock lock(mFrameLock);
    mAnalyzingEnabled.store(false, std::memory_order_relaxed);
    mIsAnalyzing.store(false, std::memory_order_relaxed);
    mFrameCond.Signal();
  }
  if (pthread_join(mThread, nullptr) != 0) {
    __android_log_print(kLogError, kLogTag, "%s: pthread dead already\n", "stopAnalyzeThread");
  }
  mThread = 0;
}

void ZYPreview::ReleaseFaceGrade() {
  base::MutexLock lock(g_model_library);
  delete mFaceGradeInterface;
  mFaceGradeInterface = nullptr;
}

int ZYPreview::ProcessBuffer(const ZyImageBuffer* image, const _FaceLocation* faces, int faceNum,
                             int orientation, int flip) {
  if (image == nullptr) {
    __android_log_print(kLogError, kLogTag, "%s: Bad parameter", "ProcessBuffer");
    return 0;
  }
  if (!mLocksReady) return 1;
  base::MutexLock data_lock(mDataLock);
  if (faces == nullptr || faceNum < 1) {
    if (faceNum <= 0) mFaceAnalyzeNum.store(0, std::memory_order_relaxed);
    return 1;
  }
  if (mFrameSkipCount++ < kSkippedFrames) return 1;
  mFrameSkipCount = 0;
  // Acquire: when the flag is false, the pixels and sizes belong to this thread from here on.
  const bool analyzing = mIsAnalyzing.load(std::memory_order_acquire);
  const bool enabled = mAnalyzingEnabled.load(std::memory_order_relaxed);
  __android_log_print(
      kLogError, kLogTag, "%s++,   mAnalyzingEnabled:%d, mIsAnalyzing:%d, mFaceAnalyzeNum:%d",
      "ProcessBuffer", enabled, analyzing, mFaceAnalyzeNum.load(std::memory_order_relaxed));
  if (!enabled || analyzing) return 1;
  StoreFaces(faces, std::min(faceNum, kMaxFaces));
  if (!TakeFrame(*image)) return 1;
  mOrientation = orientation;
  mFlip = flip;
  // This does not wait for analysis: while mIsAnalyzing is false, the worker thread holds
  // mFrameLock only for moments.
  base::MutexLock frame_lock(mFrameLock);
  mIsAnalyzing.store(true, std::memory_order_release);
  mFrameCond.Signal();
  return 1;
}

void ZYPreview::StoreFaces(const _FaceLocation* faces, int faceNum) {
  mFaceAnalyzeNum.store(faceNum, std::memory_order_relaxed);
  for (int i = 0; i < faceNum; ++i) {
    mFaceRects[i][0] = faces[i].x;
    mFaceRects[i][1] = faces[i].y;
    mFaceRects[i][2] = base::WrappingSum(faces[i].x, faces[i].w);
    mFaceRects[i][3] = base::WrappingSum(faces[i].y, faces[i].h);
  }
}

// Copies the frame into mInputImage. Allocates the buffer again until the worker thread has run a
// pass at the frame's size, and after a failed allocation. Returns false when there is no copy.
bool ZYPreview::TakeFrame(const ZyImageBuffer& image) {
  const bool worker_agrees = image.width == mAllocWidth && image.height == mAllocHeight;
  const bool buffer_fits = mInputImage.plane[0] != nullptr && image.width == mInputImage.width &&
                           image.height == mInputImage.height;
  if (!worker_agrees || !buffer_fits) {
    ZyFreeBuffer(&mInputImage);
    ZyFaceAgeClear();
    if (ZyAllocBuffer(&mInputImage, image.width, image.height, kZyFormatYuv420SemiPlanar) == 0) {
      return false;
    }
    mImageWidth = image.width;
    mImageHeight = image.height;
  }
  return ZyCopyBuffer(&mInputImage, &image, 0) != 0;
}

int ZYPreview::getFaceIndex(bool requireFresh, int left, int right, int top, int bottom) const {
  if (requireFresh) {
    if (!mFaceInited.load(std::memory_order_relaxed)) return -1;
    const int64_t now = systemTime(SYSTEM_TIME_MONOTONIC);
    if (now - mLastAnalyzeTime.load(std::memory_order_relaxed) > kFreshNanoseconds) return -1;
  }
  const int slots = mMultiFaceEnabled ? kMaxFaces : 1;
  const int count = std::min(mFaceAnalyzeNum.load(std::memory_order_relaxed), slots);
  const auto tolerance = static_cast<int64_t>(static_cast<float>(int64_t{right} - left) * 0.3f);
  for (int i = 0; i < count; ++i) {
    const std::atomic<int32_t>(&rect)[4] = mAnalyzedRects[i];
    if (Near(rect[0], left, tolerance) && Near(rect[2], right, tolerance) &&
        Near(rect[1], top, tolerance) && Near(rect[3], bottom, tolerance)) {
      return i;
    }
  }
  return -1;
}

}  // namespace android
