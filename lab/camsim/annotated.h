// SPDX-License-Identifier: Apache-2.0
// Draws frames with their faces and figures, as one picture and as a clip.
#ifndef ZY_CAMSIM_ANNOTATED_H_
#define ZY_CAMSIM_ANNOTATED_H_

#include <cstdio>
#include <string>
#include <utility>

#include "common/geometry.h"
#include "common/replaced_file.h"
#include "media/nv12.h"
#include "media/picture.h"
#include "record/run_listener.h"

namespace camsim {

// Returns a clip's frame with the figures published last: each of its faces gets those of the face
// that it overlaps most. `published` has figures, or no faces. A frame without reasons is returned
// unchanged.
record::RequestRecord WithFigures(const record::RequestRecord& frame,
                                  const record::RequestRecord& published);

// Writes the last frame that best shows the node's results.
class AnnotatedPicture : public record::RunListener {
 public:
  // Completing the file stays with its owner.
  AnnotatedPicture(std::string caption, common::ReplacedFile* file)
      : caption_(std::move(caption)), file_(file) {}
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;
  common::Failure Finish(const record::Summary& summary) override;

 private:
  const std::string caption_;
  common::ReplacedFile* const file_;
  int rank_ = -1;
  record::RequestRecord request_;
  media::Nv12Frame picture_;
};

// Writes all frames with the figures published last and their age in frames.
class AnnotatedClip : public record::RunListener {
 public:
  // Takes `rate` like media::WriteY4mHeader. Errors of the stream stay with its owner.
  AnnotatedClip(std::string caption, std::string rate, std::FILE* to)
      : caption_(std::move(caption)), rate_(std::move(rate)), to_(to) {}
  common::Failure OnRequest(const record::RequestRecord& request,
                            const media::Nv12Frame& picture) override;

 private:
  const std::string caption_, rate_;
  std::FILE* const to_;
  record::RequestRecord published_;  // the latest request with figures
  bool has_figures_ = false;
  bool has_header_ = false;
  media::Nv12Frame frame_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_ANNOTATED_H_
