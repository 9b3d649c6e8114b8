// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_FRAMES_H_
#define ZY_CAMSIM_FRAMES_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "camsim/options.h"
#include "common/failure.h"
#include "common/geometry.h"
#include "media/frame_source.h"
#include "media/nv12.h"
#include "real_models/find_faces.h"

namespace camsim {

// Returns the smallest crop that holds as many of the largest faces, at most three, as a node
// analyses in it; it holds the largest in any case, and a quarter of each face around it. Returns
// the whole picture without faces.
common::Rect ChooseCrop(std::vector<common::Rect> faces, Size picture);

// The frames of a run: each as an upright picture and as a sensor delivers it, and the faces in it.
// One thread.
class Frames {
 public:
  explicit Frames(const Options& options) : options_(options) {}

  // Opens the face detector if the options ask for it. Fails unless every network is usable.
  common::Failure OpenFinder();
  // Opens the input; the crop may depend on the detector. Fails (usage) if a crop or a face of the
  // options lies outside.
  common::Failure Open();

  const media::FrameSource& Source() const { return *source_; }
  // Returns the size of a picture; SentSize returns that of the frame as sent.
  Size PictureSize() const {
    return crop_ ? Size{crop_->w, crop_->h} : Size{source_->Width(), source_->Height()};
  }
  // Returns the part of each frame that a picture is; nullopt for the whole.
  const std::optional<common::Rect>& Crop() const { return crop_; }
  Size SentSize(int orientation) const;

  // Makes the frame of this index the next one.
  common::Failure GoTo(int64_t index);
  // Reads the next frame. At the input's end it sets `at_end` and keeps the last one.
  common::Failure Next(bool* at_end);
  int64_t Index() const { return next_ - 1; }
  const media::Nv12Frame& Picture() const { return picture_; }
  // Returns the picture's faces from the options, the detector or the input.
  std::vector<common::Rect> Faces();

  // Returns the frame as the sensor delivers it at this orientation; valid until the next call.
  common::Failure Turn(int orientation, media::Nv12Frame** sent);
  // Maps rectangles of a frame of this size to the sensor's frame or back; the mapping is its own
  // inverse.
  std::vector<common::Rect> Turned(std::vector<common::Rect> faces, int orientation,
                                   Size size) const;

 private:
  // Returns the orientation to which frames are turned; 270, as they are, unless they are upright.
  int TurnOf(int orientation) const { return options_.IsUpright() ? orientation : 270; }
  std::vector<common::Rect> SourceFaces() const;

  const Options& options_;
  std::unique_ptr<media::FrameSource> source_;
  std::optional<common::Rect> crop_;
  bool has_first_ = false;  // was read ahead
  media::Nv12Frame whole_;
  int64_t next_ = 0;  // in the input
  media::Nv12Frame picture_;
  media::Nv12Frame turned_;
  decltype(&zy_find_faces) find_ = nullptr;
  std::vector<common::Rect> found_;  // in the frame that was searched last
  bool has_searched_ = false;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_FRAMES_H_
