// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "camsim/report.h"
#include "media/annotate.h"
#include "media/picture.h"

namespace camsim {
namespace {

constexpr media::Colour kFaceColours[kSlots] = {{80, 220, 100}, {90, 170, 255}, {255, 190, 60}};
constexpr media::Colour kCaptionColour = {200, 200, 200};

// Two lines: figures, and where there are none the reason.
std::string Label(const RequestReport& report, std::size_t slot) {
  const framework::ResultRecord& result = report.result;
  const SlotWhy why = report.why[slot];
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

// The largest scale up to `scale` at which every text fits into the width.
int ScaleThatFits(const std::vector<std::string>& texts, int scale, int width) {
  for (const std::string& text : texts) {
    while (scale > 1 && media::LabelBox(0, 0, text, scale).w > width) --scale;
  }
  return scale;
}

int64_t Overlap(const media::Rect& a, const media::Rect& b) {
  const int64_t width = std::min(int64_t{a.x} + a.w, int64_t{b.x} + b.w) - std::max(a.x, b.x);
  const int64_t height = std::min(int64_t{a.y} + a.h, int64_t{b.y} + b.h) - std::max(a.y, b.y);
  return std::max<int64_t>(width, 0) * std::max<int64_t>(height, 0);
}

}  // namespace

media::Picture DrawFaces(const media::Nv12Frame& frame,
                            const std::vector<media::Rect>& faces) {
  media::Picture picture = media::Nv12ToPicture(frame);
  std::vector<media::LabelledFace> labelled;
  for (std::size_t slot = 0; slot < faces.size() && slot < kSlots; ++slot) {
    labelled.push_back({faces[slot], "slot " + std::to_string(slot), kFaceColours[slot]});
  }
  const int scale = media::LabelScale(picture.width, picture.height);
  media::DrawLabelledFaces(labelled, scale, {}, &picture);
  return picture;
}

media::Picture Annotate(const media::Nv12Frame& frame, const RequestReport& report,
                           const std::string& caption) {
  media::Picture picture = media::Nv12ToPicture(frame);
  std::vector<std::string> texts = {caption};
  const std::size_t faces = std::min<std::size_t>(report.faces.size(), kSlots);
  for (std::size_t slot = 0; slot < faces; ++slot) texts.push_back(Label(report, slot));
  const int scale =
      ScaleThatFits(texts, media::LabelScale(picture.width, picture.height), picture.width);
  std::vector<media::LabelledFace> labelled;
  for (std::size_t slot = 0; slot < faces; ++slot) {
    labelled.push_back({report.faces[slot], texts[slot + 1], kFaceColours[slot]});
  }
  const media::Rect size = media::LabelBox(0, 0, texts[0], scale);
  const int caption_y = picture.height - size.h;
  media::DrawLabelledFaces(labelled, scale, {{0, caption_y, size.w, size.h}}, &picture);
  media::DrawLabel(0, caption_y, texts[0], kCaptionColour, scale, &picture);
  return picture;
}

RequestReport WithFigures(const RequestReport& frame, const RequestReport& published) {
  RequestReport shown = frame;
  shown.result = {};
  shown.why.fill({Why::kNotAnalysed, Why::kNotAnalysed});
  const std::size_t known = std::min<std::size_t>(published.faces.size(), kSlots);
  for (std::size_t slot = 0; slot < std::min<std::size_t>(frame.faces.size(), kSlots); ++slot) {
    int64_t most = 0;
    for (std::size_t other = 0; other < known; ++other) {
      const int64_t overlap = Overlap(frame.faces[slot], published.faces[other]);
      if (overlap <= most) continue;
      most = overlap;
      shown.why[slot] = published.why[other];
      shown.result.gender[slot] = published.result.gender[other];
      shown.result.age[slot] = published.result.age[other];
      shown.result.score[slot] = published.result.score[other];
      shown.result.prop[slot] = published.result.prop[other];
    }
  }
  return shown;
}

}  // namespace camsim
