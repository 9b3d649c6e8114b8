// SPDX-License-Identifier: Apache-2.0
// camkit: runs the image and sharpening kits on a picture. It exists to show the kits, so it alone
// in this folder includes them; the simulator proper knows the node by its entry only.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "image/resize.h"
#include "image/zy_copy_buffer.h"
#include "image/zy_image_buffer.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"
#include "sim/annotate.h"
#include "sim/camkit_options.h"
#include "sim/error.h"
#include "sim/exit_code.h"
#include "sim/geometry.h"
#include "sim/nv12.h"
#include "sim/picture.h"

namespace sim {
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

Plane LumaOf(const Nv12Frame& frame) {
  Plane luma(frame.width, frame.height);
  for (int y = 0; y < frame.height; ++y) {
    std::copy_n(frame.Luma() + std::ptrdiff_t{y} * frame.stride, frame.width,
                luma.bytes.begin() + std::ptrdiff_t{y} * frame.width);
  }
  return luma;
}

Failure ToGray(const Plane& luma, Picture* picture) {
  Nv12Frame frame;
  if (Failure failure = PlanarToNv12(luma.bytes.data(), ChromaLayout::kMono, luma.width,
                                     luma.height, 0, &frame)) {
    return failure;
  }
  *picture = Nv12ToPicture(frame);
  return std::nullopt;
}

// Copies a part of a picture into another one, its upper left corner to (x, y). Both hold it.
void Paste(const Picture& from, Rect part, int x, int y, Picture* to) {
  for (int row = 0; row < part.h; ++row) {
    std::copy_n(from.Pixel(part.x, part.y + row), std::ptrdiff_t{part.w} * 3,
                to->Pixel(x, y + row));
  }
}

// Hands over whole blocks only: at other widths the block downscaler's picture would drift.
Plane Shrink(const Nv12Frame& frame, int factor, decltype(resize_half)* shrink) {
  Plane small(frame.width / factor, frame.height / factor);
  shrink(frame.Luma(), small.bytes.data(), small.width * factor, small.height * factor,
         frame.stride);
  return small;
}

// The map of 2x2 blocks that a mask picture marks: 0 where it is black.
Failure ReadMask(const Picture& mask, int width, int height, Plane* map) {
  Nv12Frame frame;
  if (Failure failure = PictureToNv12(mask, 0, &frame)) return failure;
  if (mask.width == width && mask.height == height) {
    *map = Shrink(frame, 2, resize_half);
  } else if (mask.width == width / 2 && mask.height == height / 2) {
    *map = LumaOf(frame);
  } else {
    return Fail("the mask is " + SizeText(mask.width, mask.height) + ", a picture of " +
                SizeText(width, height) + " takes that size or " + SizeText(width / 2, height / 2));
  }
  constexpr uint8_t kBlack = 16;
  for (uint8_t& byte : map->bytes) byte = byte > kBlack ? byte : 0;
  return std::nullopt;
}

Failure SharpenSkin(const Nv12Frame& frame, const Picture* mask, Plane* luma) {
  Plane map(frame.width / 2, frame.height / 2);
  std::fill(map.bytes.begin(), map.bytes.end(), uint8_t{255});
  if (mask != nullptr) {
    if (Failure failure = ReadMask(*mask, frame.width, frame.height, &map)) return failure;
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
Failure ChangeLuma(Operation operation, const Nv12Frame& frame, const Picture* mask, Plane* luma) {
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
      return Fail("rotate is no luma operation");
  }
  return std::nullopt;
}

// An even size, with the last row and column repeated: the kit drops an odd one's last chroma.
Picture PadToEven(const Picture& picture) {
  const int w = picture.width, h = picture.height;
  Picture even = MakePicture(2 * HalfUp(w), 2 * HalfUp(h));
  Paste(picture, {0, 0, w, h}, 0, 0, &even);
  Paste(even, {w - 1, 0, 1, h}, even.width - 1, 0, &even);
  Paste(even, {0, h - 1, even.width, 1}, 0, even.height - 1, &even);
  return even;
}

ZyImageBuffer Describe(Nv12Frame* frame) {
  ZyImageBuffer buffer = {};
  buffer.format = kZyFormatYuv420SemiPlanar;
  buffer.width = frame->width;
  buffer.height = frame->height;
  buffer.stride[0] = buffer.stride[1] = frame->stride;
  buffer.plane[0] = frame->Luma();
  buffer.plane[1] = frame->Chroma();
  return buffer;
}

Failure RotateFrame(Nv12Frame* frame, int degrees, Nv12Frame* turned) {
  const bool upright = degrees == 180;
  if (Failure failure = ShapeFrame(upright ? frame->width : frame->height,
                                   upright ? frame->height : frame->width, 0, turned)) {
    return failure;
  }
  const ZyImageBuffer from = Describe(frame);
  ZyImageBuffer to = Describe(turned);
  if (ZyCopyBuffer(&to, &from, degrees) == 0) return Fail("the kit rejects the rotation");
  return std::nullopt;
}

// Where a picture without its padding lies after it was turned with the padding.
Rect TurnedPart(const Picture& picture, int degrees) {
  const int pad_x = picture.width % 2, pad_y = picture.height % 2;
  if (degrees == 180) return {pad_x, pad_y, picture.width, picture.height};
  if (degrees == 90) return {pad_y, 0, picture.height, picture.width};
  return {0, pad_x, picture.height, picture.width};
}

struct BeforeAndAfter {
  Picture before;
  Picture after;
};

Failure Rotate(const CamkitOptions& options, const Picture& input, BeforeAndAfter* result) {
  Nv12Frame frame, turned;
  if (Failure failure = PictureToNv12(PadToEven(input), 0, &frame)) return failure;
  if (Failure failure = RotateFrame(&frame, options.degrees, &turned)) return failure;
  const Rect part = TurnedPart(input, options.degrees);
  result->after = MakePicture(part.w, part.h);
  Paste(Nv12ToPicture(turned), part, 0, 0, &result->after);
  result->before = MakePicture(input.width, input.height);
  Paste(Nv12ToPicture(frame), {0, 0, input.width, input.height}, 0, 0, &result->before);
  return std::nullopt;
}

Failure Apply(const CamkitOptions& options, const Picture& input, const Picture* mask,
              BeforeAndAfter* result) {
  const int side = MinimumSide(options.operation);
  if (input.width < side || input.height < side) {
    return Fail(SizeText(input.width, input.height) + " is too small: " + options.name +
                " takes pictures from " + SizeText(side, side) + " on");
  }
  if (options.operation == Operation::kRotate) return Rotate(options, input, result);
  Nv12Frame frame;
  if (Failure failure = PictureToNv12(input, 0, &frame)) return failure;
  Plane luma = LumaOf(frame);
  if (Failure failure = ToGray(luma, &result->before)) return failure;
  if (Failure failure = ChangeLuma(options.operation, frame, mask, &luma)) return failure;
  return ToGray(luma, &result->after);
}

// Two panels, each a label with a picture below it.
Failure SideBySide(const BeforeAndAfter& pictures, const std::string& name, Picture* both) {
  const Picture &before = pictures.before, &after = pictures.after;
  const int scale = std::max(1, before.width / 640);
  const int gap = 8 * scale;
  const std::string left = "before " + SizeText(before.width, before.height);
  const std::string right = "after " + name + " " + SizeText(after.width, after.height);
  const Rect left_box = LabelBox(0, 0, left, scale);
  const int right_x = std::max(before.width, left_box.w) + gap;
  const Rect right_box = LabelBox(right_x, 0, right, scale);
  const int width = right_x + std::max(after.width, right_box.w);
  const int height = left_box.h + std::max(before.height, after.height);
  if (!IsUsableSize(width, height)) return FailAbout("--compare", UnusableSize(width, height));
  *both = MakePicture(width, height);
  constexpr Colour kText = {230, 230, 230};
  DrawLabel(0, 0, left, kText, scale, both);
  DrawLabel(right_x, 0, right, kText, scale, both);
  Paste(before, {0, 0, before.width, before.height}, 0, left_box.h, both);
  Paste(after, {0, 0, after.width, after.height}, right_x, left_box.h, both);
  return std::nullopt;
}

int Say(const Failure& failure, int exit_code) {
  std::fprintf(stderr, "camkit: %s\n", failure->message.c_str());
  return exit_code;
}

int Run(const CamkitOptions& options) {
  const bool masked = !options.mask.empty();
  Picture input, mask;
  if (Failure failure = ReadPicture(options.input, &input)) {
    return Say(failure, kExitUnreadableInput);
  }
  if (masked) {
    if (Failure failure = ReadPicture(options.mask, &mask)) {
      return Say(failure, kExitUnreadableInput);
    }
  }
  BeforeAndAfter result;
  if (Failure failure = Apply(options, input, masked ? &mask : nullptr, &result)) {
    return Say(failure, kExitFailure);
  }
  if (options.compare) {
    Picture both;
    if (Failure failure = SideBySide(result, options.name, &both)) {
      return Say(failure, kExitFailure);
    }
    result.after = std::move(both);
  }
  if (Failure failure = WritePng(options.output, result.after)) return Say(failure, kExitFailure);
  return kExitOk;
}

}  // namespace
}  // namespace sim

int main(int argc, char** argv) {
  sim::CamkitOptions options;
  int exit_code = sim::kExitOk;
  if (!sim::ParseCamkitOptions(argc, argv, &options, &exit_code)) return exit_code;
  return sim::RunWithinMemory("camkit", [&] { return sim::Run(options); });
}
