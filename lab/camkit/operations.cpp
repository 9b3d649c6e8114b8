// SPDX-License-Identifier: Apache-2.0
#include "camkit/operations.h"

#include <algorithm>
#include <string>

#include "camkit/planes.h"
#include "common/geometry.h"
#include "image/resize.h"
#include "image/zy_copy_buffer.h"
#include "media/annotate.h"
#include "media/nv12.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"

namespace camkit {
namespace {

struct Downscaler {
  Operation operation;
  int factor;
  decltype(resize_half)* shrink;
};

constexpr Downscaler kDownscalers[] = {{Operation::kHalf, 2, resize_half},
                                       {Operation::kQuarter, 4, resize_quarter},
                                       {Operation::kEighth, 8, resize_eighthUseNeon}};

// Copies a part of a picture into another one, its upper left corner to (x, y). Both must contain
// it.
void Paste(const media::Picture& from, common::Rect part, int x, int y, media::Picture* to) {
  for (int row = 0; row < part.h; ++row) {
    std::copy_n(from.Pixel(part.x, part.y + row), std::ptrdiff_t{part.w} * 3,
                to->Pixel(x, y + row));
  }
}

template <typename Call>
double TimeOf(Call call) {
  const double start = now_ms();
  call();
  return now_ms() - start;
}

// Returns whether only marked blocks change, or the map itself.
bool HasMap(const Options& options, const media::Picture* mask) {
  return options.operation == Operation::kSharpenSkin || options.skin || mask != nullptr;
}

// Returns the shortest side that the kit accepts. A map has half the picture's size.
int MinimumSide(Operation operation, bool has_map) {
  for (const Downscaler& downscaler : kDownscalers) {
    if (downscaler.operation == operation) return downscaler.factor;
  }
  if (operation == Operation::kRotate) return 1;
  return (operation == Operation::kSmooth ? 5 : 3) * (has_map ? 2 : 1);
}

// ---- Luma ---------------------------------------------------------------------------------------

// Runs a luma operation. Pixels that the kit does not write keep their luma. `map` may be null.
void ChangeLuma(const Options& options, const media::Nv12Frame& frame, const Plane* map,
                Plane* luma) {
  const int w = frame.width, h = frame.height;
  const auto width = static_cast<unsigned>(w), height = static_cast<unsigned>(h);
  uint8_t* const to = luma->bytes.data();
  if (options.operation == Operation::kSharpen) {
    sharpenY(frame.Luma(), to, w, h, frame.stride);
  } else if (options.operation == Operation::kSharpenSkin) {
    sharpenYWithSkinMap(frame.Luma(), to, map->bytes.data(), w, h, frame.stride);
  } else if (options.operation == Operation::kSmooth) {
    smoothSkinMapGaussian(to, width, height);
  } else if (map != nullptr) {
    filterCorr3x3s8_v2WithskinMap(frame.Luma(), map->bytes.data(), to, width, height,
                                  options.corner, options.centre, options.edge, frame.stride);
  } else {
    filterCorr3x3s8_v2(frame.Luma(), to, width, height, options.corner, options.centre,
                       options.edge, frame.stride);
  }
}

common::Failure ApplyToLuma(const Options& options, const media::Nv12Frame& frame,
                            const media::Picture* mask, BeforeAndAfter* result) {
  Plane map = options.skin ? MarkSkin(frame) : MarkAll(frame);
  common::Failure failure;
  if (mask != nullptr) failure = MarkByMask(*mask, options.threshold, frame, &map);
  if (failure) return failure;
  Planes planes = PlanesOf(frame);
  result->before = media::Nv12ToPicture(frame);
  const Plane* const used = HasMap(options, mask) ? &map : nullptr;
  result->milliseconds = TimeOf([&] { ChangeLuma(options, frame, used, &planes[0]); });
  return PictureOf(planes, &result->after);
}

common::Failure SmoothMap(const media::Nv12Frame& frame, BeforeAndAfter* result) {
  Plane map = MarkSkin(frame);
  result->before = GrayPicture(map);
  result->milliseconds = TimeOf([&] {
    smoothSkinMapGaussian(map.bytes.data(), static_cast<unsigned>(map.width),
                          static_cast<unsigned>(map.height));
  });
  result->after = GrayPicture(map);
  return std::nullopt;
}

// ---- Size ---------------------------------------------------------------------------------------

// Passes whole blocks only: at other widths the block downscaler's picture would drift.
Plane Shrink(const Plane& plane, const Downscaler& by) {
  Plane small(plane.width / by.factor, plane.height / by.factor);
  by.shrink(plane.bytes.data(), small.bytes.data(), small.width * by.factor,
            small.height * by.factor, plane.width);
  return small;
}

common::Failure ApplyShrink(const Downscaler& by, const media::Nv12Frame& frame,
                            BeforeAndAfter* result) {
  Planes planes = PlanesOf(frame);
  result->before = media::Nv12ToPicture(frame);
  result->milliseconds = TimeOf([&] { planes[0] = Shrink(planes[0], by); });
  for (std::size_t chroma = 1; chroma < planes.size(); ++chroma) {
    planes[chroma] = Shrink(planes[chroma], by);
  }
  return PictureOf(planes, &result->after);
}

// ---- Rotation -----------------------------------------------------------------------------------

// Repeats the last row and column of an odd size: the kit drops the last chroma of an odd size.
media::Picture PadToEven(const media::Picture& picture) {
  const int w = picture.width, h = picture.height;
  media::Picture even = media::MakePicture(2 * common::HalfUp(w), 2 * common::HalfUp(h));
  Paste(picture, {0, 0, w, h}, 0, 0, &even);
  Paste(even, {w - 1, 0, 1, h}, even.width - 1, 0, &even);
  Paste(even, {0, h - 1, even.width, 1}, 0, even.height - 1, &even);
  return even;
}

// Returns the rectangle of the unpadded picture after a rotation with padding.
common::Rect TurnedPart(const media::Picture& picture, int degrees) {
  const int pad_x = picture.width % 2, pad_y = picture.height % 2;
  if (degrees == 180) return {pad_x, pad_y, picture.width, picture.height};
  if (degrees == 90) return {pad_y, 0, picture.height, picture.width};
  return {0, pad_x, picture.height, picture.width};
}

media::Picture Cut(const media::Picture& picture, common::Rect part) {
  media::Picture cut = media::MakePicture(part.w, part.h);
  Paste(picture, part, 0, 0, &cut);
  return cut;
}

common::Failure Rotate(int degrees, const media::Picture& input, BeforeAndAfter* result) {
  media::Nv12Frame frame, turned;
  common::Failure failure = media::PictureToNv12(PadToEven(input), 0, &frame);
  const bool upright = degrees == 180;
  if (!failure) {
    failure = media::ShapeFrame(upright ? frame.width : frame.height,
                                upright ? frame.height : frame.width, 0, &turned);
  }
  if (failure) return failure;
  const ZyImageBuffer from = media::ImageOf(frame);
  ZyImageBuffer to = media::ImageOf(turned);
  bool is_done = false;
  result->milliseconds = TimeOf([&] { is_done = ZyCopyBuffer(&to, &from, degrees) != 0; });
  if (!is_done) return common::Fail("the kit rejects the rotation");
  result->before = Cut(media::Nv12ToPicture(frame), {0, 0, input.width, input.height});
  result->after = Cut(media::Nv12ToPicture(turned), TurnedPart(input, degrees));
  return std::nullopt;
}

// Repeats every pixel up to the given size; leaves pictures of other shapes unchanged.
media::Picture Enlarge(const media::Picture& picture, int width, int height) {
  const int factor = std::min(width / picture.width, height / picture.height);
  if (factor < 2) return picture;
  media::Picture large = media::MakePicture(picture.width * factor, picture.height * factor);
  for (int y = 0; y < large.height; ++y) {
    for (int x = 0; x < large.width; ++x) {
      std::copy_n(picture.Pixel(x / factor, y / factor), 3, large.Pixel(x, y));
    }
  }
  return large;
}

}  // namespace

common::Failure Apply(const Options& options, const media::Picture& input,
                      const media::Picture* mask, BeforeAndAfter* result) {
  const int side = MinimumSide(options.operation, HasMap(options, mask));
  if (input.width < side || input.height < side) {
    return common::Fail(common::SizeText(input.width, input.height) + " is too small: " +
                        options.name + " needs at least " + common::SizeText(side, side));
  }
  if (options.operation == Operation::kRotate) return Rotate(options.degrees, input, result);
  media::Nv12Frame frame;
  if (common::Failure failure = media::PictureToNv12(input, 0, &frame)) return failure;
  for (const Downscaler& downscaler : kDownscalers) {
    if (downscaler.operation == options.operation) return ApplyShrink(downscaler, frame, result);
  }
  if (options.operation == Operation::kSmooth && options.skin) return SmoothMap(frame, result);
  return ApplyToLuma(options, frame, mask, result);
}

common::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                           media::Picture* both) {
  const media::Picture& before = pictures.before;
  const media::Picture after = Enlarge(pictures.after, before.width, before.height);
  const int scale = media::LabelScale(before.width, before.height);
  const int gap = 8 * scale;
  const std::string left = "before " + common::SizeText(before.width, before.height);
  const std::string right =
      "after " + name + " " + common::SizeText(pictures.after.width, pictures.after.height);
  const common::Rect left_box = media::LabelBox(0, 0, left, scale);
  const int right_x = std::max(before.width, left_box.w) + gap;
  const common::Rect right_box = media::LabelBox(right_x, 0, right, scale);
  const int width = right_x + std::max(after.width, right_box.w);
  const int height = left_box.h + std::max(before.height, after.height);
  if (common::Failure failure = common::CheckSize(width, height)) {
    return common::FailAbout("--compare", failure);
  }
  *both = media::MakePicture(width, height);
  constexpr media::Colour kText = {230, 230, 230};
  media::DrawLabel(0, 0, left, kText, scale, both);
  media::DrawLabel(right_x, 0, right, kText, scale, both);
  Paste(before, {0, 0, before.width, before.height}, 0, left_box.h, both);
  Paste(after, {0, 0, after.width, after.height}, right_x, left_box.h, both);
  return std::nullopt;
}

}  // namespace camkit
