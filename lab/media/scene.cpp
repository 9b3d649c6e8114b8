// SPDX-License-Identifier: Apache-2.0
#include "media/scene.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "media/picture.h"

namespace media {
namespace {

constexpr int kOne = 1024;

struct Person {
  int size_percent;
  int speed;
  int phase;
  Colour skin;
  Colour skin_edge;
  Colour hair;
  Colour lips;
  Colour shirt;
};

constexpr Person kPeople[kMaxSceneFaces] = {
    {100, 3, 0, {242, 204, 178}, {205, 155, 125}, {96, 62, 34}, {196, 92, 92}, {52, 88, 140}},
    {78, 4, 400, {134, 92, 68}, {92, 60, 44}, {24, 20, 20}, {138, 62, 62}, {176, 66, 54}},
    {64, 5, 750, {214, 164, 124}, {174, 122, 88}, {152, 150, 148}, {176, 84, 84}, {70, 120, 84}},
};

// In the order of PaintOf.
enum class Paint { kSkin, kHair, kLips, kShirt, kEyeWhite, kIris, kPupil, kShade };
constexpr std::size_t kPaints = static_cast<std::size_t>(Paint::kShade) + 1;

struct Feature {
  int centre_x, centre_y, width, height;  // in hundredths of the face's width and height
  Paint paint;
};

// From back to front. Each is drawn for all people before the next, so that nobody's hair or shirt
// covers a neighbour's face.
constexpr Feature kFeatures[] = {
    {50, 168, 230, 120, Paint::kShirt}, {50, 108, 44, 50, Paint::kShade},
    {50, 42, 122, 108, Paint::kHair},   {0, 52, 16, 22, Paint::kShade},
    {100, 52, 16, 22, Paint::kShade},   {50, 50, 100, 100, Paint::kSkin},
    {29, 34, 25, 5, Paint::kHair},      {71, 34, 25, 5, Paint::kHair},
    {30, 44, 22, 10, Paint::kEyeWhite}, {70, 44, 22, 10, Paint::kEyeWhite},
    {30, 44, 11, 9, Paint::kIris},      {70, 44, 11, 9, Paint::kIris},
    {30, 44, 5, 4, Paint::kPupil},      {70, 44, 5, 4, Paint::kPupil},
    {50, 58, 11, 18, Paint::kShade},    {50, 56, 7, 20, Paint::kSkin},
    {50, 77, 38, 10, Paint::kLips},     {50, 76, 30, 3, Paint::kEyeWhite},
};

int Mix(int from, int to, int weight) { return from + (to - from) * weight / kOne; }

Colour Mix(Colour from, Colour to, int weight) {
  return {static_cast<uint8_t>(Mix(from.r, to.r, weight)),
          static_cast<uint8_t>(Mix(from.g, to.g, weight)),
          static_cast<uint8_t>(Mix(from.b, to.b, weight))};
}

// Returns a smooth swing between -kOne and kOne in steps of 1/1024 of a period. Two parabolas
// replace a sine, whose value may differ between machines.
int Swing(int64_t phase) {
  const int p = static_cast<int>(phase & 1023);
  const int half = p & 511;
  const int arc = half * (512 - half) / 64;
  return p < 512 ? arc : -arc;
}

common::Rect FaceOf(const Person& person, int column_x, int column_width, int height,
                    int64_t index) {
  const int reach = std::min(height * 55 / 100, column_width * 92 / 100);
  // At least 2 and 1: the narrowest column is 5 pixels wide.
  const int h = reach * person.size_percent / 100;
  const int w = h * 76 / 100;
  const int free_x = column_width - w;
  const int free_y = height - h;
  const int64_t phase = (index & 0xffffffff) * person.speed + person.phase;
  return {column_x + free_x / 2 + free_x * 3 / 8 * Swing(phase) / kOne,
          free_y / 2 + free_y / 5 * Swing(phase * 2 + 256) / kOne, w, h};
}

Nv12Frame DrawBackground(int width, int height, int stride) {
  constexpr Colour kUpperLeft = {176, 196, 214};
  constexpr Colour kUpperRight = {214, 208, 196};
  constexpr Colour kLowerLeft = {92, 108, 128};
  constexpr Colour kLowerRight = {132, 122, 112};
  Picture picture = MakePicture(width, height);
  for (int y = 0; y < height; ++y) {
    const int down = y * kOne / height;
    const Colour left = Mix(kUpperLeft, kLowerLeft, down);
    const Colour right = Mix(kUpperRight, kLowerRight, down);
    for (int x = 0; x < width; ++x) {
      const Colour colour = Mix(left, right, x * kOne / width);
      std::copy_n(&colour.r, 3, picture.Pixel(x, y));
    }
  }
  Nv12Frame frame;
  PictureToNv12(picture, stride, &frame);
  return frame;
}

// The codes of an ellipse's colours by distance from its centre, 0 to kOne.
struct Codes {
  std::array<uint8_t, kOne + 1> luma;
  std::array<std::array<uint8_t, 2>, kOne + 1> chroma;
};

// Returns the squared distance of a pixel from a box's middle: 0 there, kOne * kOne at its sides.
int SquaredPlace(int position, int begin, int length) {
  const int place = (2 * (position - begin) + 1 - length) * kOne / length;
  return place * place;
}

// Fills an ellipse that touches the box's sides in one plane, whose samples represent every
// `step`-th pixel of every `step`-th row. The box may lie outside the frame.
template <typename Sample, std::size_t kBytes = sizeof(Sample)>
void FillEllipse(common::Rect box, const std::array<Sample, kOne + 1>& codes, int step,
                 const Nv12Frame& frame, uint8_t* plane) {
  const auto first = [step](int pixel) { return (std::max(pixel, 0) + step - 1) / step; };
  const int left = first(box.x), right = first(std::min(box.x + box.w, frame.width));
  const int bottom = first(std::min(box.y + box.h, frame.height));
  std::vector<int> across;
  for (int x = left; x < right; ++x) across.push_back(SquaredPlace(x * step, box.x, box.w));
  for (int y = first(box.y); y < bottom; ++y) {
    const int down = SquaredPlace(y * step, box.y, box.h);
    uint8_t* row = plane + std::ptrdiff_t{y} * frame.stride;
    for (int x = left; x < right; ++x) {
      const int distance = (across[static_cast<std::size_t>(x - left)] + down) / kOne;
      if (distance > kOne) continue;
      std::memcpy(row + std::size_t{kBytes} * static_cast<std::size_t>(x),
                  &codes[static_cast<std::size_t>(distance)], kBytes);
    }
  }
}

common::Rect BoxOf(const Feature& feature, common::Rect face) {
  const int w = std::max(1, face.w * feature.width / 100);
  const int h = std::max(1, face.h * feature.height / 100);
  return {face.x + (face.w * feature.centre_x / 50 - w) / 2,
          face.y + (face.h * feature.centre_y / 50 - h) / 2, w, h};
}

struct Gradient {
  Colour centre;
  Colour border;
};

Gradient PaintOf(const Person& person, Paint paint) {
  constexpr Colour kBlack = {12, 12, 14};
  const Gradient gradients[] = {
      {person.skin, person.skin_edge},
      {person.hair, Mix(person.hair, kBlack, kOne / 3)},
      {person.lips, Mix(person.lips, kBlack, kOne / 4)},
      {person.shirt, Mix(person.shirt, kBlack, kOne / 2)},
      {{246, 246, 244}, {218, 214, 210}},                            // the white of an eye
      {{92, 70, 48}, {52, 38, 28}},                                  // an iris
      {kBlack, kBlack},                                              // a pupil
      {person.skin_edge, Mix(person.skin_edge, kBlack, kOne / 8)}};  // shade
  return gradients[static_cast<int>(paint)];
}

Codes CodesOf(const Gradient& gradient) {
  Codes codes;
  for (std::size_t i = 0; i < codes.luma.size(); ++i) {
    const YuvCode code = CodeOf(Mix(gradient.centre, gradient.border, static_cast<int>(i)));
    codes.luma[i] = code.y;
    codes.chroma[i] = {code.u, code.v};
  }
  return codes;
}

using Palette = std::array<Codes, kPaints>;

// Returns the codes of each person's paints. Computing them for each ellipse would take longer than
// filling a small one.
const std::array<Palette, kMaxSceneFaces>& Palettes() {
  static const auto kPalettes = [] {
    std::array<Palette, kMaxSceneFaces> palettes;
    for (std::size_t i = 0; i < palettes.size(); ++i) {
      for (std::size_t paint = 0; paint < kPaints; ++paint) {
        palettes[i][paint] = CodesOf(PaintOf(kPeople[i], static_cast<Paint>(paint)));
      }
    }
    return palettes;
  }();
  return kPalettes;
}

}  // namespace

std::vector<common::Rect> SceneFaces(int width, int height, int faces, int64_t index) {
  std::vector<common::Rect> rects;
  for (int i = 0; i < faces; ++i) {
    const int column_x = i * width / faces;
    const int column_end = (i + 1) * width / faces;
    rects.push_back(FaceOf(kPeople[i], column_x, column_end - column_x, height, index));
  }
  return rects;
}

Scene::Scene(int width, int height, int stride, int faces)
    : background_(DrawBackground(width, height, stride)), faces_(faces) {}

std::vector<common::Rect> Scene::Draw(int64_t index, Nv12Frame* frame) const {
  *frame = background_;
  std::vector<common::Rect> rects = SceneFaces(frame->width, frame->height, faces_, index);
  for (const Feature& feature : kFeatures) {
    for (std::size_t i = 0; i < rects.size(); ++i) {
      const Codes& codes = Palettes()[i][static_cast<std::size_t>(feature.paint)];
      const common::Rect box = BoxOf(feature, rects[i]);
      FillEllipse(box, codes.luma, 1, *frame, frame->Luma());
      FillEllipse(box, codes.chroma, 2, *frame, frame->Chroma());
    }
  }
  return rects;
}

}  // namespace media
