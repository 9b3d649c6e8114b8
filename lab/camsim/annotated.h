// SPDX-License-Identifier: Apache-2.0
// What is drawn of a run: frames with their faces and figures, as one picture and as a clip.
#ifndef ZY_CAMSIM_ANNOTATED_H_
#define ZY_CAMSIM_ANNOTATED_H_

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/geometry.h"
#include "media/nv12.h"
#include "media/picture.h"
#include "record/run_listener.h"

namespace camsim {

// The frame with its faces outlined and numbered by slot.
media::Picture DrawFaces(const media::Nv12Frame& frame, const std::vector<common::Rect>& faces);

// What is shown of a frame of a clip: its own faces with the figures that were published last, each
// with those of the face that it overlaps most. `published` has figures, or no faces. A frame
// without reasons is shown as it is.
record::RequestRecord WithFigures(const record::RequestRecord& frame,
                                  const record::RequestRecord& published);

// Writes the frame that shows best what the node found, the last of its kind.
class AnnotatedPicture : public record::RunListener {
 public:
  // `to_text` is told of the picture.
  AnnotatedPicture(std::string path, std::string caption, std::FILE* to_text)
      : path_(std::move(path)), caption_(std::move(caption)), to_text_(to_text) {}
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  const std::string path_, caption_;
  std::FILE* const to_text_;
  int rank_ = -1;
  record::RequestRecord request_;
  media::Nv12Frame picture_;
};

// Writes all frames, with the figures that were published last and how many frames ago that was.
class AnnotatedClip : public record::RunListener {
 public:
  // `rate` as for media::WriteY4mHeader.
  AnnotatedClip(std::string path, std::string caption, std::string rate, std::FILE* to)
      : path_(std::move(path)), caption_(std::move(caption)), rate_(std::move(rate)), to_(to) {}
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;

 private:
  const std::string path_, caption_, rate_;
  std::FILE* const to_;
  record::RequestRecord published_;  // the latest request with figures
  bool has_figures_ = false;
  bool has_header_ = false;
  media::Nv12Frame frame_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_ANNOTATED_H_
