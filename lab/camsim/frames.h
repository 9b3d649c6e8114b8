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

// The frames of a run: each as a picture and as a sensor delivers it, and the faces in it. One
// thread.
class Frames {
 public:
  explicit Frames(const Options& options) : options_(options) {}

  // Opens the input. Fails (usage) on a face of the options that lies outside.
  common::Failure Open();
  // Opens what finds faces, where the options ask for it. Fails unless every network can be used.
  common::Failure OpenFinder();

  const media::FrameSource& Source() const { return *source_; }
  // The size of a picture, and that in which its frame is sent.
  Size PictureSize() const { return {source_->Width(), source_->Height()}; }
  Size SentSize(int orientation) const;

  // Lets the frame of this index be the next one.
  common::Failure GoTo(int64_t index);
  // Takes the next frame. At the input's end sets `at_end` and leaves the last one.
  common::Failure Next(bool* at_end);
  int64_t Index() const { return next_ - 1; }
  const media::Nv12Frame& Picture() const { return picture_; }
  // The faces that the options, a finder or the input itself know in the picture.
  std::vector<common::Rect> Faces() const;

  // The frame as the sensor at this orientation delivers it; valid until the next call.
  common::Failure Turn(int orientation, media::Nv12Frame** sent);
  // Rectangles of a frame of this size where it is turned for the sensor, or back: a turn undoes
  // itself.
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
