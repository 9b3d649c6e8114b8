// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_FRAMES_H_
#define ZY_CAMSIM_FRAMES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "camsim/options.h"
#include "common/failure.h"
#include "common/geometry.h"
#include "media/frame_source.h"
#include "media/nv12.h"
#include "real_models/find_faces.h"

namespace camsim {

// The frames of a run: each as an upright picture and as a sensor delivers it, and the faces in it.
// One thread.
class Frames {
 public:
  explicit Frames(const Options& options) : options_(options) {}

  // Opens the input. Fails (usage) if a face of the options lies outside.
  common::Failure Open();
  // Opens the face detector if the options ask for it. Fails unless every network is usable.
  common::Failure OpenFinder();

  const media::FrameSource& Source() const { return *source_; }
  // Returns the size of a picture; SentSize returns that of the frame as sent.
  Size PictureSize() const { return {source_->Width(), source_->Height()}; }
  Size SentSize(int orientation) const;

  // Makes the frame of this index the next one.
  common::Failure GoTo(int64_t index);
  // Reads the next frame. At the input's end it sets `at_end` and keeps the last one.
  common::Failure Next(bool* at_end);
  int64_t Index() const { return next_ - 1; }
  const media::Nv12Frame& Picture() const { return picture_; }
  // Returns the picture's faces from the options, the detector or the input.
  std::vector<common::Rect> Faces() const;

  // Returns the frame as the sensor delivers it at this orientation; valid until the next call.
  common::Failure Turn(int orientation, media::Nv12Frame** sent);
  // Maps rectangles of a frame of this size to the sensor's frame or back; the mapping is its own
  // inverse.
  std::vector<common::Rect> Turned(std::vector<common::Rect> faces, int orientation,
                                   Size size) const;

 private:
  const Options& options_;
  std::unique_ptr<media::FrameSource> source_;
  int64_t next_ = 0;  // in the input
  media::Nv12Frame picture_;
  media::Nv12Frame turned_;
  decltype(&zy_find_faces) find_ = nullptr;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_FRAMES_H_
