// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_ANALYSIS_ZY_PREVIEW_H_
#define ZY_ANALYSIS_ZY_PREVIEW_H_

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "base/sync.h"
#include "image/zy_image_buffer.h"

class FaceGradeInterface;

namespace android {

// A face in full-frame pixels.
struct _FaceLocation {  // NOLINT(clang-diagnostic-reserved-identifier): shared with the node
  int32_t x;
  int32_t y;
  int32_t w;
  int32_t h;
};

// Faces that a frame can carry, and slots of each result array.
inline constexpr int kMaxFaces = 3;

// Gender scores above this one are of the high class.
inline constexpr float kHighGenderAbove = 0.6f;

// The results of one face slot.
struct SlotResult {
  float gender;  // the gender score
  float age;     // of the class that the gender score names; a NaN names the low one
  float grade;   // 50 to 100 or NaN when graded, 0 when a pass skipped it
  float prop;    // the model's first output
};

// The face-analysis worker. Its thread analyses one frame at a time. A frame offered while another
// is pending or under analysis is dropped, never queued, so the request thread never waits for the
// models.
//
// Locks. mDataLock guards the data of a hand-over (the frame, its faces, the pacing counter) and
// the publication of results. mFrameLock with mFrameCond guards the hand-over; the worker thread
// holds it for the whole pass. The request thread takes mFrameLock inside mDataLock, the worker
// thread mDataLock inside mFrameLock. The opposite orders cannot deadlock, because mIsAnalyzing
// keeps the two apart: the request thread asks for mFrameLock only after it saw mIsAnalyzing false
// under mDataLock, and the worker thread asks for mDataLock only while mIsAnalyzing is true. Only a
// hand-over, under both locks, sets the flag. The worker thread clears it at the end of a pass, and
// the destructor when no more frames are offered.
//
// mIsAnalyzing also owns the pixels: while it is false, mInputImage, mImageWidth, mImageHeight,
// mAllocWidth, mAllocHeight, mOrientation and mFlip belong to the holder of mDataLock; while it is
// true, to the worker thread. Release stores and acquire loads of the flag publish them.
//
// Everything that two threads use without a common lock is atomic. A reader of the result arrays
// may see slots of two passes, but no torn value.
class ZYPreview {
 public:
  // Starts the thread. When a lock or the thread cannot be created, the worker never takes a frame.
  // May wait for calls of other workers into the closed libraries. Request thread.
  ZYPreview();
  // Waits for a running pass or model set-up, and for calls of other workers like the constructor.
  // Stops the thread, releases the model and all buffers. No other thread may be in a call of this
  // object. Request thread.
  virtual ~ZYPreview();
  ZYPreview(const ZYPreview&) = delete;
  ZYPreview& operator=(const ZYPreview&) = delete;

  // Offers a frame with `faceNum` faces (0 to 3; more count as 3) in its pixels. One in four frames
  // with faces is considered: it is copied and analysed unless a pass is pending or running. A
  // frame without faces empties the list of faces that getFaceIndex() searches. `orientation` is in
  // degrees (0, 90, 180, 270); `flip` 1 mirrors. `image` (format 1) and `faces` stay the caller's
  // and are not used after the call. Returns 0 when `image` is null, else 1, also when the frame is
  // not taken. Request thread; several may call at once.
  int ProcessBuffer(const ZyImageBuffer* image, const _FaceLocation* faces, int faceNum,
                    int orientation, int flip);

  // Returns the first slot (0 to 2) whose analysed rectangle has every edge nearer to the given one
  // than three tenths of the given width, or -1. Edges are in full-frame pixels. With
  // `requireFresh` a slot counts only when the model is ready and the last pass ended at most two
  // seconds ago. The node asks without it, so that results stay until the next pass replaces them.
  // Any thread while the worker exists.
  int getFaceIndex(bool requireFresh, int left, int right, int top, int bottom) const;

  // Returns the latest results of face slot `slot` (0 to 2). Any thread.
  SlotResult ResultOf(int slot) const {
    // Read once: a second read could belong to the next pass and pick the wrong age.
    const float gender = mGender[slot].load(std::memory_order_relaxed);
    const auto& age = gender > kHighGenderAbove ? mAgeWhenGenderHigh : mAgeWhenGenderLow;
    return {gender, age[slot].load(std::memory_order_relaxed),
            mFaceGrade[slot].load(std::memory_order_relaxed),
            mProp[slot].load(std::memory_order_relaxed)};
  }

  // The analyses that a pass runs; the node writes them, the worker thread reads them.
  std::atomic<bool> mFaceGenderAndAgeEnabled{false};
  std::atomic<bool> mFaceScoreEnabled{false};

  // ---- Published results: any thread may read ----

  // Per face slot: the model's first output, the gender score, the ages for a gender score above
  // and up to 0.6, and the face grade (50 to 100 or NaN when graded, 0 when a pass skipped it).
  std::atomic<float> mProp[kMaxFaces];
  std::atomic<float> mGender[kMaxFaces];
  std::atomic<float> mAgeWhenGenderHigh[kMaxFaces];
  std::atomic<float> mAgeWhenGenderLow[kMaxFaces];
  std::atomic<float> mFaceGrade[kMaxFaces];
  // The rectangles (left, top, right, bottom) of the results, and the face count of the last frame
  // considered, 0 after a frame without faces.
  std::atomic<int32_t> mAnalyzedRects[kMaxFaces][4];
  std::atomic<int32_t> mFaceAnalyzeNum{0};

 private:
  // Results kept from pass to pass: a slot that a pass does not write is published again.
  struct PassResults {
    int32_t rects[kMaxFaces][4];
    float prop[kMaxFaces];
    float gender[kMaxFaces];
    float age_when_gender_high[kMaxFaces];
    float age_when_gender_low[kMaxFaces];
    float grade[kMaxFaces];
  };
  // The images of one pass, half the frame's size and upright.
  struct PassImages {
    const uint8_t* gray;
    const uint8_t* bgr;
    int width;
    int height;
  };
  // A face in pixels of those images.
  struct PassFace {
    int left;
    int top;
    int right;
    int bottom;
    int width;
    int height;
    bool valid;
  };

  static constexpr char kLogTag[] = "ZYPreview";

  // The request thread's part (zy_preview.cpp).
  void StartAnalyzeThread();
  void StopAnalyzeThread();
  void ReleaseFaceGrade();
  void StoreFaces(const _FaceLocation* faces, int faceNum) ZY_REQUIRES(mDataLock);
  bool TakeFrame(const ZyImageBuffer& image) ZY_REQUIRES(mDataLock);

  // The worker thread's part (analysis_loop.cpp).
  static void* AnalyzeFrame(void* worker);
  void AnalyzeCurrentFrame();
  void InitModel();
  bool HasFrame() const;
  void AnalyzeOnePass(PassResults& results);
  bool FitRgbBuffer();
  void AnalyzePreparedFrame(uint8_t* gray, PassResults& results);
  int SnapshotFaces(PassResults& results) ZY_EXCLUDES(mDataLock);
  PassFace MapFace(const int32_t (&rect)[4]) const;
  void EstimateAgeAndGender(const PassImages& images, const PassFace& face, int slot,
                            PassResults& results);
  void GradeFace(const PassImages& images, const PassFace& face, int slot, PassResults& results);
  void Publish(const PassResults& results) ZY_EXCLUDES(mDataLock);

  // The locks and the thread. The constructor alone sets mLocksReady; without locks there is no
  // thread, and every frame is refused.
  base::Mutex mDataLock;
  base::Mutex mFrameLock;
  base::ConditionVariable mFrameCond;
  bool mLocksReady = false;
  pthread_t mThread = 0;

  // The hand-over.
  std::atomic<bool> mAnalyzingEnabled{false};
  std::atomic<bool> mIsAnalyzing{false};
  int32_t mFrameSkipCount ZY_GUARDED_BY(mDataLock) = 3;
  int32_t mFaceRects[kMaxFaces][4] ZY_GUARDED_BY(mDataLock) = {};

  // The frame, which mIsAnalyzing owns.
  ZyImageBuffer mInputImage = {};
  int32_t mImageWidth = 0;
  int32_t mImageHeight = 0;
  int32_t mAllocWidth = 0;
  int32_t mAllocHeight = 0;
  int32_t mOrientation = 0;
  int32_t mFlip = 0;

  // The worker thread's own, between the constructor and the destructor.
  uint8_t* mRgbBuffer = nullptr;  // blue, green, red
  FaceGradeInterface* mFaceGradeInterface = nullptr;

  // Read by getFaceIndex(). Nothing turns mMultiFaceEnabled off yet.
  std::atomic<bool> mFaceInited{false};
  std::atomic<int64_t> mLastAnalyzeTime{0};
  bool mMultiFaceEnabled = true;
};

}  // namespace android

#endif  // ZY_ANALYSIS_ZY_PREVIEW_H_
