// SPDX-License-Identifier: Apache-2.0
// camkit: runs the image and sharpening kits on a picture. It exists to show the kits, so it alone
// in this folder includes them; the simulator proper knows the node by its entry only.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "apps/camkit/options.h"
#include "apps/exit_code.h"
#include "image/resize.h"
#include "image/zy_copy_buffer.h"
#include "image/zy_image_buffer.h"
#include "pictures/annotate.h"
#include "pictures/error.h"
#include "pictures/geometry.h"
#include "pictures/nv12.h"
#include "pictures/picture.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"

namespace camkit {
namespace {

// Luma rows without gaps.
struct Plane {
  Plane(int plane_width, int plane_height)
      : width(plane_width),
        height(plane_height),
        bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

  int width;
  int height;
  std::vector<uint8_t> bytes;
};

std::string SizeText(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

Plane LumaOf(const pictures::Nv12Frame& frame) {
  Plane luma(frame.width, frame.height);
  for (int y = 0; y < frame.height; ++y) {
    std::copy_n(frame.Luma() + std::ptrdiff_t{y} * frame.stride, frame.width,
                luma.bytes.begin() + std::ptrdiff_t{y} * frame.width);
  }
  return luma;
}

pictures::Failure ToGray(const Plane& luma, pictures::Picture* picture) {
  pictures::Nv12Frame frame;
  if (pictures::Failure failure = pictures::PlanarToNv12(
          luma.bytes.data(), pictures::ChromaLayout::kMono, pictures::ColourRange::kLimited,
          luma.width, luma.height, 0, &frame)) {
    return failure;
  }
  *picture = pictures::Nv12ToPicture(frame);
  return std::nullopt;
}

// Copies a part of a picture into another one, its upper left corner to (x, y). Both hold it.
void Paste(const pictures::Picture& from, pictures::Rect part, int x, int y,
           pictures::Picture* to) {
  for (int row = 0; row < part.h; ++row) {
    std::copy_n(from.Pixel(part.x, part.y + row), std::ptrdiff_t{part.w} * 3,
                to->Pixel(x, y + row));
  }
}

// Hands over whole blocks only: at other widths the block downscaler's picture would drift.
Plane Shrink(const pictures::Nv12Frame& frame, int factor, decltype(resize_half)* shrink) {
  Plane small(frame.width / factor, frame.height / factor);
  shrink(frame.Luma(), small.bytes.data(), small.width * factor, small.height * factor,
         frame.stride);
  return small;
}

// The map of 2x2 blocks that a mask picture marks: 0 where it is black.
pictures::Failure ReadMask(const pictures::Picture& mask, int width, int height, Plane* map) {
  pictures::Nv12Frame frame;
  if (pictures::Failure failure = pictures::PictureToNv12(mask, 0, &frame)) return failure;
  if (mask.width == width && mask.height == height) {
    *map = Shrink(frame, 2, resize_half);
  } else if (mask.width == width / 2 && mask.height == height / 2) {
    *map = LumaOf(frame);
  } else {
    return pictures::Fail("the mask is " + SizeText(mask.width, mask.height) + ", a picture of " +
                          SizeText(width, height) + " takes that size or " +
                          SizeText(width / 2, height / 2));
  }
  constexpr uint8_t kBlack = 16;
  for (uint8_t& byte : map->bytes) byte = byte > kBlack ? byte : 0;
  return std::nullopt;
}

pictures::Failure SharpenSkin(const pictures::Nv12Frame& frame, const pictures::Picture* mask,
                              Plane* luma) {
  Plane map(frame.width / 2, frame.height / 2);
  std::fill(map.bytes.begin(), map.bytes.end(), uint8_t{255});
  if (mask != nullptr) {
    if (pictures::Failure failure = ReadMask(*mask, frame.width, frame.height, &map))
      return failure;
  }
  sharpenYWithSkinMap(frame.Luma(), luma->bytes.data(), map.bytes.data(), frame.width, frame.height,
                      frame.stride);
  return std::nullopt;
}

int MinimumSide(Operation operation) {
  switch (operation) {
    case Operation::kSharpen:
      return 3;
    case Operation::kSharpenSkin:
      return 6;
    case Operation::kSmooth:
      return 5;
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

// `luma` holds the frame's luma: what the kit does not write stays as it was.
pictures::Failure ChangeLuma(Operation operation, const pictures::Nv12Frame& frame,
                             const pictures::Picture* mask, Plane* luma) {
  switch (operation) {
    case Operation::kSharpen:
      sharpenY(frame.Luma(), luma->bytes.data(), frame.width, frame.height, frame.stride);
      break;
    case Operation::kSharpenSkin:
      return SharpenSkin(frame, mask, luma);
    case Operation::kSmooth:
      smoothSkinMapGaussian(luma->bytes.data(), static_cast<unsigned>(frame.width),
                            static_cast<unsigned>(frame.height));
      break;
    case Operation::kHalf:
      *luma = Shrink(frame, 2, resize_half);
      break;
    case Operation::kQuarter:
      *luma = Shrink(frame, 4, resize_quarter);
      break;
    case Operation::kEighth:
      *luma = Shrink(frame, 8, resize_eighthUseNeon);
      break;
    case Operation::kRotate:
      return pictures::Fail("rotate is no luma operation");
  }
  return std::nullopt;
}

// An even size, with the last row and column repeated: the kit drops an odd one's last chroma.
pictures::Picture PadToEven(const pictures::Picture& picture) {
  const int w = picture.width, h = picture.height;
  pictures::Picture even = pictures::MakePicture(2 * pictures::HalfUp(w), 2 * pictures::HalfUp(h));
  Paste(picture, {0, 0, w, h}, 0, 0, &even);
  Paste(even, {w - 1, 0, 1, h}, even.width - 1, 0, &even);
  Paste(even, {0, h - 1, even.width, 1}, 0, even.height - 1, &even);
  return even;
}

ZyImageBuffer Describe(pictures::Nv12Frame* frame) {
  ZyImageBuffer buffer = {};
  buffer.format = kZyFormatYuv420SemiPlanar;
  buffer.width = frame->width;
  buffer.height = frame->height;
  buffer.stride[0] = buffer.stride[1] = frame->stride;
  buffer.plane[0] = frame->Luma();
  buffer.plane[1] = frame->Chroma();
  return buffer;
}

pictures::Failure RotateFrame(pictures::Nv12Frame* frame, int degrees,
                              pictures::Nv12Frame* turned) {
  const bool upright = degrees == 180;
  if (pictures::Failure failure =
          pictures::ShapeFrame(upright ? frame->width : frame->height,
                               upright ? frame->height : frame->width, 0, turned)) {
    return failure;
  }
  const ZyImageBuffer from = Describe(frame);
  ZyImageBuffer to = Describe(turned);
  if (ZyCopyBuffer(&to, &from, degrees) == 0) return pictures::Fail("the kit rejects the rotation");
  return std::nullopt;
}

// Where a picture without its padding lies after it was turned with the padding.
pictures::Rect TurnedPart(const pictures::Picture& picture, int degrees) {
  const int pad_x = picture.width % 2, pad_y = picture.height % 2;
  if (degrees == 180) return {pad_x, pad_y, picture.width, picture.height};
  if (degrees == 90) return {pad_y, 0, picture.height, picture.width};
  return {0, pad_x, picture.height, picture.width};
}

struct BeforeAndAfter {
  pictures::Picture before;
  pictures::Picture after;
};

pictures::Failure Rotate(const Options& options, const pictures::Picture& input,
                         BeforeAndAfter* result) {
  pictures::Nv12Frame frame, turned;
  if (pictures::Failure failure = pictures::PictureToNv12(PadToEven(input), 0, &frame))
    return failure;
  if (pictures::Failure failure = RotateFrame(&frame, options.degrees, &turned)) return failure;
  const pictures::Rect part = TurnedPart(input, options.degrees);
  result->after = pictures::MakePicture(part.w, part.h);
  Paste(pictures::Nv12ToPicture(turned), part, 0, 0, &result->after);
  result->before = pictures::MakePicture(input.width, input.height);
  Paste(pictures::Nv12ToPicture(frame), {0, 0, input.width, input.height}, 0, 0, &result->before);
  return std::nullopt;
}

pictures::Failure Apply(const Options& options, const pictures::Picture& input,
                        const pictures::Picture* mask, BeforeAndAfter* result) {
  const int side = MinimumSide(options.operation);
  if (input.width < side || input.height < side) {
    return pictures::Fail(SizeText(input.width, input.height) + " is too small: " + options.name +
                          " takes pictures from " + SizeText(side, side) + " on");
  }
  if (options.operation == Operation::kRotate) return Rotate(options, input, result);
  pictures::Nv12Frame frame;
  if (pictures::Failure failure = pictures::PictureToNv12(input, 0, &frame)) return failure;
  Plane luma = LumaOf(frame);
  if (pictures::Failure failure = ToGray(luma, &result->before)) return failure;
  if (pictures::Failure failure = ChangeLuma(options.operation, frame, mask, &luma)) return failure;
  return ToGray(luma, &result->after);
}

// Two panels, each a label with a picture below it.
pictures::Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name,
                             pictures::Picture* both) {
  const pictures::Picture &before = pictures.before, &after = pictures.after;
  const int scale = std::max(1, before.width / 640);
  const int gap = 8 * scale;
  const std::string left = "before " + SizeText(before.width, before.height);
  const std::string right = "after " + name + " " + SizeText(after.width, after.height);
  const pictures::Rect left_box = pictures::LabelBox(0, 0, left, scale);
  const int right_x = std::max(before.width, left_box.w) + gap;
  const pictures::Rect right_box = pictures::LabelBox(right_x, 0, right, scale);
  const int width = right_x + std::max(after.width, right_box.w);
  const int height = left_box.h + std::max(before.height, after.height);
  if (!pictures::IsUsableSize(width, height))
    return pictures::FailAbout("--compare", pictures::UnusableSize(width, height));
  *both = pictures::MakePicture(width, height);
  constexpr pictures::Colour kText = {230, 230, 230};
  pictures::DrawLabel(0, 0, left, kText, scale, both);
  pictures::DrawLabel(right_x, 0, right, kText, scale, both);
  Paste(before, {0, 0, before.width, before.height}, 0, left_box.h, both);
  Paste(after, {0, 0, after.width, after.height}, right_x, left_box.h, both);
  return std::nullopt;
}

int Say(const pictures::Failure& failure, int exit_code) {
  std::fprintf(stderr, "camkit: %s\n", failure->message.c_str());
  return exit_code;
}

int Run(const Options& options) {
  const bool masked = !options.mask.empty();
  pictures::Picture input, mask;
  if (pictures::Failure failure = pictures::ReadPicture(options.input, &input)) {
    return Say(failure, apps::kExitUnreadableInput);
  }
  if (masked) {
    if (pictures::Failure failure = pictures::ReadPicture(options.mask, &mask)) {
      return Say(failure, apps::kExitUnreadableInput);
    }
  }
  BeforeAndAfter result;
  if (pictures::Failure failure = Apply(options, input, masked ? &mask : nullptr, &result)) {
    return Say(failure, apps::kExitFailure);
  }
  if (options.compare) {
    pictures::Picture both;
    if (pictures::Failure failure = SideBySide(result, options.name, &both)) {
      return Say(failure, apps::kExitFailure);
    }
    result.after = std::move(both);
  }
  if (pictures::Failure failure = pictures::WritePng(options.output, result.after))
    return Say(failure, apps::kExitFailure);
  return apps::kExitOk;
}

}  // namespace
}  // namespace camkit

int main(int argc, char** argv) {
  camkit::Options options;
  int exit_code = apps::kExitOk;
  if (!camkit::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return apps::RunWithinMemory("camkit", [&] { return camkit::Run(options); });
}
