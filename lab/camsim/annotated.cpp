// SPDX-License-Identifier: Apache-2.0
#include "camsim/annotated.h"

#include <algorithm>
#include <vector>

#include "media/annotate.h"
#include "media/y4m.h"

namespace camsim {
namespace {

using framework::kSlots;
using framework::SlotWhy;
using framework::Why;
using record::RequestRecord;

constexpr media::Colour kFaceColours[kSlots] = {{80, 220, 100}, {90, 170, 255}, {255, 190, 60}};
constexpr media::Colour kCaptionColour = {200, 200, 200};

// Returns two lines: the figures, or else the reason.
std::string Label(const RequestRecord& request, std::size_t slot) {
  const framework::ResultRecord& result = request.out.result;
  const SlotWhy why = request.why ? (*request.why)[slot] : SlotWhy();
  if (!why.HasFigures()) return TextOf(why);
  char estimates[64], score[32];
  std::snprintf(estimates, sizeof(estimates), "gender %.2f age %.1f", result.gender[slot],
                result.age[slot]);
  std::snprintf(score, sizeof(score), "score %.1f", result.score[slot]);
  if (why.estimates != Why::kIsFigure) return score + ("\n" + TextOf(why));
  char prop[32];
  std::snprintf(prop, sizeof(prop), "prop %.2f", result.prop[slot]);
  if (why.score != Why::kIsFigure) return estimates + ("\n" + std::string(prop));
  return estimates + ("\n" + std::string(score)) + " " + prop;
}

// Returns the largest scale up to `scale` at which every text fits into the width.
int ScaleThatFits(const std::vector<std::string>& texts, int scale, int width) {
  for (const std::string& text : texts) {
    while (scale > 1 && media::LabelBox(0, 0, text, scale).w > width) --scale;
  }
  return scale;
}

// Draws a caption, and the frame's faces with outlines and results.
media::Picture Annotate(const media::Nv12Frame& frame, const RequestRecord& request,
                        const std::string& caption) {
  media::Picture picture = media::Nv12ToPicture(frame);
  std::vector<std::string> texts = {caption};
  const std::size_t faces = std::min<std::size_t>(request.faces.size(), kSlots);
  for (std::size_t slot = 0; slot < faces; ++slot) texts.push_back(Label(request, slot));
  const int scale =
      ScaleThatFits(texts, media::LabelScale(picture.width, picture.height), picture.width);
  std::vector<media::LabelledFace> labelled;
  for (std::size_t slot = 0; slot < faces; ++slot) {
    labelled.push_back({request.faces[slot], texts[slot + 1], kFaceColours[slot]});
  }
  const common::Rect size = media::LabelBox(0, 0, texts[0], scale);
  const int caption_y = picture.height - size.h;
  media::DrawLabelledFaces(labelled, scale, {{0, caption_y, size.w, size.h}}, &picture);
  for (std::size_t i = kSlots; i < request.faces.size(); ++i) {
    media::DrawRectangle(request.faces[i], kCaptionColour, 1, &picture);
  }
  media::DrawLabel(0, caption_y, texts[0], kCaptionColour, scale, &picture);
  return picture;
}

// Returns how well a frame shows the node's results; the picture is the frame of the largest rank.
int RankOf(const RequestRecord& request) {
  if (request.HasFigures()) return 3;
  if (request.out.result.face_count > 0) return 2;
  return request.faces.empty() ? 0 : 1;
}

}  // namespace

RequestRecord WithFigures(const RequestRecord& frame, const RequestRecord& published) {
  RequestRecord shown = frame;
  if (!frame.why) return shown;
  shown.out.result = {};
  shown.why->fill({Why::kNotAnalysed, Why::kNotAnalysed});
  const std::size_t known = std::min<std::size_t>(published.faces.size(), kSlots);
  for (std::size_t slot = 0; slot < std::min<std::size_t>(frame.faces.size(), kSlots); ++slot) {
    int64_t most = 0;
    for (std::size_t other = 0; other < known; ++other) {
      const int64_t overlap = common::Overlap(frame.faces[slot], published.faces[other]);
      if (overlap <= most) continue;
      most = overlap;
      (*shown.why)[slot] = (*published.why)[other];
      for (const record::Figure& figure : record::kFigures) {
        (shown.out.result.*figure.of)[slot] = (published.out.result.*figure.of)[other];
      }
    }
  }
  return shown;
}

common::Failure AnnotatedPicture::OnRequest(const RequestRecord& request,
                                            const media::Nv12Frame& picture) {
  const int rank = RankOf(request);
  if (rank < rank_) return std::nullopt;
  rank_ = rank;
  request_ = request;
  picture_ = picture;
  return std::nullopt;
}

common::Failure AnnotatedPicture::Finish(const record::Summary&) {
  return media::WritePng(Annotate(picture_, request_, caption_), file_);
}

common::Failure AnnotatedClip::OnRequest(const RequestRecord& request,
                                         const media::Nv12Frame& picture) {
  if (request.HasFigures()) published_ = request;
  has_figures_ |= request.HasFigures();
  std::string caption = caption_;
  if (has_figures_) {
    const int64_t age = request.number - published_.number;
    caption += "\nfigures " + std::to_string(age) + (age == 1 ? " frame old" : " frames old");
  }
  if (!has_header_) media::WriteY4mHeader(picture.width, picture.height, rate_, to_);
  has_header_ = true;
  const media::Picture annotated = Annotate(picture, WithFigures(request, published_), caption);
  common::Failure failure = media::PictureToNv12(annotated, 0, &frame_);
  if (!failure) media::WriteY4mFrame(frame_, to_);
  return failure;
}

}  // namespace camsim
