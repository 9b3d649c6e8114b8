// SPDX-License-Identifier: Apache-2.0
#include "camkit/operations.h"

#include <algorithm>
#include <string>
#include <utility>

#include "camkit/marks.h"
#include "camkit/planes.h"
#include "common/geometry.h"
#include "image/resize.h"
#include "image/zy_copy_buffer.h"
#include "media/annotate.h"
#include "media/image_of.h"
#include "media/nv12.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"

namespace camkit {
namespace {

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

int MinimumSide(Operation operation, bool has_map) {
  switch (operation) {
    case Operation::kSharpen:
      return 3;
    case Operation::kSharpenSkin:
      return 6;
    case Operation::kFilter:
      return has_map ? 6 : 3;
    case Operation::kSmooth:
      return has_map ? 10 : 5;
    case Operation::kHalf:
      return 2;
    case Operation::kQuarter:
      return 4;
    case Operation::kEighth:
      return 8;
    case Operation::kRotate:
      break;
  }
  return 1;
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
  if (mask != nullptr) {
    if (common::Failure failure = MarkByMask(*mask, options.threshold, frame, &map)) {
      return failure;
    }
  }
  const bool has_map =
      options.operation == Operation::kSharpenSkin || options.skin || mask != nullptr;
  Planes planes = PlanesOf(frame);
  result->before = media::Nv12ToPicture(frame);
  result->milliseconds =
      TimeOf([&] { ChangeLuma(options, frame, has_map ? &map : nullptr, &planes[0]); });
  return PictureOf(planes, &result->after);
}

void SmoothMap(const media::Nv12Frame& frame, BeforeAndAfter* result) {
  Plane map = MarkSkin(frame);
  result->before = GrayPicture(map);
  result->milliseconds = TimeOf([&] {
    smoothSkinMapGaussian(map.bytes.data(), static_cast<unsigned>(map.width),
                          static_cast<unsigned>(map.height));
  });
  result->after = GrayPicture(map);
}

// ---- Size ---------------------------------------------------------------------------------------

// Passes whole blocks only: at other widths the block downscaler's picture would drift.
Plane Shrink(const Plane& plane, int factor, decltype(resize_half)* shrink) {
  Plane small(plane.width / factor, plane.height / factor);
  shrink(plane.bytes.data(), small.bytes.data(), small.width * factor, small.height * factor,
         plane.width);
  return small;
}

common::Failure ApplyShrink(Operation operation, const media::Nv12Frame& frame,
                            BeforeAndAfter* result) {
  const int factor = operation == Operation::kHalf ? 2 : operation == Operation::kQuarter ? 4 : 8;
  decltype(resize_half)* const shrink = operation == Operation::kHalf      ? resize_half
                                        : operation == Operation::kQuarter ? resize_quarter
                                                                           : resize_eighthUseNeon;
  Planes planes = PlanesOf(frame);
  result->before = media::Nv12ToPicture(frame);
  result->milliseconds = TimeOf([&] { planes[0] = Shrink(planes[0], factor, shrink); });
  for (const std::size_t chroma : {std::size_t{1}, std::size_t{2}})
    planes[chroma] = Shrink(planes[chroma], factor, shrink);
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

common::Failure RotateFrame(media::Nv12Frame* frame, int degrees, double* milliseconds,
                            media::Nv12Frame* turned) {
  const bool upright = degrees == 180;
  if (common::Failure failure =
          media::ShapeFrame(upright ? frame->width : frame->height,
                            upright ? frame->height : frame->width, 0, turned)) {
    return failure;
  }
  const ZyImageBuffer from = media::ImageOf(*frame);
  ZyImageBuffer to = media::ImageOf(*turned);
  bool is_done = false;
  *milliseconds = TimeOf([&] { is_done = ZyCopyBuffer(&to, &from, degrees) != 0; });
  return is_done ? std::nullopt : common::Fail("the kit rejects the rotation");
}

// Returns the rectangle of the unpadded picture after a rotation with padding.
common::Rect TurnedPart(const media::Picture& picture, int degrees) {
  const int pad_x = picture.width % 2, pad_y = picture.height % 2;
  if (degrees == 180) return {pad_x, pad_y, picture.width, picture.height};
  if (degrees == 90) return {pad_y, 0, picture.height, picture.width};
  return {0, pad_x, picture.height, picture.width};
}

common::Failure Rotate(int degrees, const media::Picture& input, BeforeAndAfter* result) {
  media::Nv12Frame frame, turned;
  common::Failure failure = media::PictureToNv12(PadToEven(input), 0, &frame);
  if (!failure) failure = RotateFrame(&frame, degrees, &result->milliseconds, &turned);
  if (failure) return failure;
  const common::Rect part = TurnedPart(input, degrees);
  result->after = media::MakePicture(part.w, part.h);
  Paste(media::Nv12ToPicture(turned), part, 0, 0, &result->after);
  result->before = media::MakePicture(input.width, input.height);
  Paste(media::Nv12ToPicture(frame), {0, 0, input.width, input.height}, 0, 0, &result->before);
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
  const int side = MinimumSide(options.operation, options.skin || mask != nullptr);
  if (input.width < side || input.height < side) {
    return common::Fail(SizeText(input.width, input.height) + " is too small: " + options.name +
                        " needs at least " + SizeText(side, side));
  }
  if (options.operation == Operation::kRotate) return Rotate(options.degrees, input, result);
  media::Nv12Frame frame;
  if (common::Failure failure = media::PictureToNv12(input, 0, &frame)) return failure;
  switch (options.operation) {
    case Operation::kHalf:
    case Operation::kQuarter:
    case Operation::kEighth:
      return ApplyShrink(options.operation, frame, result);
    case Operation::kSmooth:
      if (options.skin) {
        SmoothMap(frame, result);
        return std::nullopt;
      }
      break;
    default:
      break;
  }
  return ApplyToLuma(options, frame, mask, result);
}

common::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                           media::Picture* both) {
  const media::Picture& before = pictures.before;
  const media::Picture after = Enlarge(pictures.after, before.width, before.height);
  const int scale = media::LabelScale(before.width, before.height);
  const int gap = 8 * scale;
  const std::string left = "before " + SizeText(before.width, before.height);
  const std::string right =
      "after " + name + " " + SizeText(pictures.after.width, pictures.after.height);
  const common::Rect left_box = media::LabelBox(0, 0, left, scale);
  const int right_x = std::max(before.width, left_box.w) + gap;
  const common::Rect right_box = media::LabelBox(right_x, 0, right, scale);
  const int width = right_x + std::max(after.width, right_box.w);
  const int height = left_box.h + std::max(before.height, after.height);
  if (!common::IsUsableSize(width, height)) {
    return common::FailAbout("--compare", common::UnusableSize(width, height));
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
