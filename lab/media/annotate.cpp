// SPDX-License-Identifier: Apache-2.0
#include "media/annotate.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace media {
namespace {

constexpr int kGlyphWidth = 5;
constexpr int kGlyphHeight = 7;
constexpr int kCellWidth = kGlyphWidth + 1;
constexpr int kCellHeight = kGlyphHeight + 1;
constexpr int kMaxScale = 64;
constexpr std::size_t kMaxText = 256;
constexpr Colour kLabelGround = {16, 18, 22};

// The dots of each character from the upper left to the lower right, five per row, in bits 34..0.
constexpr uint64_t kNoGlyph = 0x7e318c63f;
// clang-format off
constexpr uint64_t kGlyphs[] = {
    0x000000000, kNoGlyph, kNoGlyph, 0x295f57d4a, kNoGlyph, 0x672222273,  // space ! " # $ %
    kNoGlyph, kNoGlyph, 0x088842082, 0x208210888, kNoGlyph, 0x0084f9080,  // & ' ( ) * +
    0x000003088, 0x0000f8000, 0x00000018c, 0x042222210, 0x3a33ae62e, 0x11942109f,  // , - . / 0 1
    0x3a213221f, 0x78217043e, 0x4a52f8842, 0x7e1e0862e, 0x3a10f462e, 0x7c2221108,  // 2 3 4 5 6 7
    0x3a317462e, 0x3a317842e, 0x018c03180, kNoGlyph, kNoGlyph, 0x001f07c00,  // 8 9 : ; < =
    kNoGlyph, kNoGlyph, kNoGlyph, 0x11518fe31, 0x7a31f463e, 0x3e108420f,  // > ? @ A B C
    0x7a318c63e, 0x7e10f421f, 0x7e10f4210, 0x3e10bc62f, 0x4631fc631, 0x38842108e,  // D E F G H I
    0x1c4210a4c, 0x4654c5251, 0x42108421f, 0x4775ac631, 0x4739ace71, 0x3a318c62e,  // J K L M N O
    0x7a31f4210, 0x3a318d64d, 0x7a31f5251, 0x3e107043e, 0x7c8421084, 0x46318c62e,  // P Q R S T U
    0x463152944, 0x4631ad771, 0x462a22a31, 0x462a21084, 0x7c222221f, 0x1c8421087,  // V W X Y Z [
    kNoGlyph, 0x70842109c, kNoGlyph, kNoGlyph, kNoGlyph, 0x000e0be2f,  // \ ] ^ _ ` a
    0x421e8c63e, 0x000f8420f, 0x042f8c62f, 0x000e8fe0f, 0x191e42108, 0x000f8bc2e,  // b c d e f g
    0x421e8c631, 0x100c2108e, 0x080610a4c, 0x4212a6292, 0x30842108e, 0x001ead6b5,  // h i j k l m
    0x001e8c631, 0x000e8c62e, 0x001e8fa10, 0x000f8bc21, 0x0016c4210, 0x000f8383e,  // n o p q r s
    0x211e42106, 0x00118c62f, 0x00118a944, 0x0011ad6aa, 0x001151151, 0x00118bc2e,  // t u v w x y
    0x001f1111f,  // z
};
// clang-format on

uint64_t GlyphOf(char c) {
  constexpr std::size_t kCount = sizeof kGlyphs / sizeof kGlyphs[0];
  const auto index = static_cast<std::size_t>(static_cast<unsigned char>(c)) - ' ';
  return index < kCount ? kGlyphs[index] : kNoGlyph;
}

int Clamp(int64_t value, int64_t low, int64_t high) {
  return static_cast<int>(std::clamp(value, low, high));
}

// Takes corners in 64 bits, because sums of two ints may not fit an int.
void FillSpan(int64_t left, int64_t top, int64_t right, int64_t bottom, Colour colour,
              Picture* picture) {
  const int x_begin = Clamp(left, 0, picture->width);
  const int x_end = Clamp(right, 0, picture->width);
  const int y_end = Clamp(bottom, 0, picture->height);
  for (int y = Clamp(top, 0, picture->height); y < y_end; ++y) {
    for (int x = x_begin; x < x_end; ++x) {
      std::copy_n(&colour.r, 3, picture->Pixel(x, y));
    }
  }
}

void DrawGlyph(uint64_t glyph, int64_t x, int64_t y, Colour colour, int scale, Picture* picture) {
  for (int dot = 0; dot < kGlyphWidth * kGlyphHeight; ++dot) {
    if ((glyph >> (kGlyphWidth * kGlyphHeight - 1 - dot) & 1) == 0) continue;
    const int64_t left = x + int64_t{dot % kGlyphWidth} * scale;
    const int64_t top = y + int64_t{dot / kGlyphWidth} * scale;
    FillSpan(left, top, left + scale, top + scale, colour, picture);
  }
}

std::vector<std::string_view> LinesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  text = text.substr(0, kMaxText);
  for (std::size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  lines.push_back(text);
  return lines;
}

common::Rect VisiblePart(common::Rect rect, const Picture& picture) {
  const int left = Clamp(rect.x, 0, picture.width), top = Clamp(rect.y, 0, picture.height);
  return {left, top, Clamp(int64_t{rect.x} + rect.w, left, picture.width) - left,
          Clamp(int64_t{rect.y} + rect.h, top, picture.height) - top};
}

// Returns the place of a label. All rectangles lie in the picture, so no sum overflows.
common::Rect PlaceLabel(common::Rect face, common::Rect label,
                        const std::vector<common::Rect>& taken, const Picture& picture) {
  const int right = face.x + face.w, bottom = face.y + face.h;
  const common::Rect places[] = {{face.x, face.y - label.h, 0, 0},
                                 {face.x, bottom, 0, 0},
                                 {right - label.w, face.y - label.h, 0, 0},
                                 {right - label.w, bottom, 0, 0},
                                 {right, face.y, 0, 0},
                                 {face.x - label.w, face.y, 0, 0},
                                 {face.x, face.y, 0, 0},
                                 {face.x, bottom - label.h, 0, 0}};
  common::Rect best = {};
  int64_t least = std::numeric_limits<int64_t>::max();
  for (common::Rect place : places) {
    place = {std::max(0, std::min(place.x, picture.width - label.w)),
             std::max(0, std::min(place.y, picture.height - label.h)), label.w, label.h};
    int64_t covered = 0;
    for (const common::Rect& other : taken) covered += Overlap(place, other);
    if (covered >= least) continue;
    least = covered;
    best = place;
  }
  return best;
}

}  // namespace

void FillRectangle(common::Rect rect, Colour colour, Picture* picture) {
  FillSpan(rect.x, rect.y, int64_t{rect.x} + rect.w, int64_t{rect.y} + rect.h, colour, picture);
}

void DrawRectangle(common::Rect rect, Colour colour, int thickness, Picture* picture) {
  const int64_t left = rect.x;
  const int64_t top = rect.y;
  const int64_t right = left + rect.w;
  const int64_t bottom = top + rect.h;
  const int64_t across = std::min(thickness, rect.w);
  const int64_t down = std::min(thickness, rect.h);
  FillSpan(left, top, right, top + down, colour, picture);
  FillSpan(left, bottom - down, right, bottom, colour, picture);
  FillSpan(left, top, left + across, bottom, colour, picture);
  FillSpan(right - across, top, right, bottom, colour, picture);
}

int LabelScale(int width, int height) { return (std::max(width, height) + 840) / 560; }

common::Rect LabelBox(int x, int y, std::string_view text, int scale) {
  scale = std::clamp(scale, 1, kMaxScale);
  const std::vector<std::string_view> lines = LinesOf(text);
  std::size_t longest = 0;
  for (const std::string_view line : lines) longest = std::max(longest, line.size());
  return {x, y, (static_cast<int>(longest) * kCellWidth + 1) * scale,
          (static_cast<int>(lines.size()) * kCellHeight + 1) * scale};
}

void DrawLabel(int x, int y, std::string_view text, Colour colour, int scale, Picture* picture) {
  scale = std::clamp(scale, 1, kMaxScale);
  FillRectangle(LabelBox(x, y, text, scale), kLabelGround, picture);
  int64_t top = int64_t{y} + scale;
  for (const std::string_view line : LinesOf(text)) {
    int64_t left = int64_t{x} + scale;
    for (const char c : line) {
      DrawGlyph(GlyphOf(c), left, top, colour, scale, picture);
      left += int64_t{kCellWidth} * scale;
    }
    top += int64_t{kCellHeight} * scale;
  }
}

void DrawLabelledFaces(const std::vector<LabelledFace>& faces, int scale,
                       std::vector<common::Rect> taken, Picture* picture) {
  scale = std::clamp(scale, 1, kMaxScale);
  for (const LabelledFace& labelled : faces) {
    DrawRectangle(labelled.face, labelled.colour, scale, picture);
    taken.push_back(VisiblePart(labelled.face, *picture));
  }
  for (const LabelledFace& labelled : faces) {
    const common::Rect size = LabelBox(0, 0, labelled.text, scale);
    const common::Rect box =
        PlaceLabel(VisiblePart(labelled.face, *picture), size, taken, *picture);
    DrawLabel(box.x, box.y, labelled.text, labelled.colour, scale, picture);
    taken.push_back(box);
  }
}

}  // namespace media
