// SPDX-License-Identifier: Apache-2.0
#include "camsim/upright.h"

#include <algorithm>

#include "image/zy_copy_buffer.h"
#include "media/nv12.h"

namespace camsim {
namespace {

// A clockwise rotation after an optional mirroring from left to right.
struct Turn {
  bool mirrored;
  int degrees;
};

// Treats any other orientation as 180, like the node.
Turn TurnOf(int orientation) {
  switch (orientation) {
    case 270:
      return {false, 0};
    case 90:
      return {false, 180};
    case 0:
      return {true, 90};
    default:
      return {true, 270};
  }
}

bool IsTurned(const Turn& turn, Size size) {
  return turn.degrees != 0 && size.width > 1 && size.height > 1;
}

Size Even(Size size) { return {size.width / 2 * 2, size.height / 2 * 2}; }

ZyImageBuffer Describe(media::Nv12Frame* frame, Size size) {
  ZyImageBuffer image = media::ImageOf(*frame);
  image.width = size.width;
  image.height = size.height;
  return image;
}

// Reverses the elements of `size` bytes in each row.
void MirrorRows(uint8_t* plane, int rows, int stride, int elements, std::ptrdiff_t size) {
  for (int y = 0; y < rows; ++y, plane += stride) {
    uint8_t* left = plane;
    for (uint8_t* right = plane + (elements - 1) * size; left < right;
         left += size, right -= size) {
      std::swap_ranges(left, left + size, right);
    }
  }
}

}  // namespace

common::Failure TurnToSensor(const media::Nv12Frame& upright, int orientation, int stride,
                             media::Nv12Frame* sensor) {
  const Turn turn = TurnOf(orientation);
  const Size whole = {upright.width, upright.height}, size = Even(whole);
  if (!IsTurned(turn, whole)) {
    *sensor = upright;
    return std::nullopt;
  }
  const Size turned = TurnToSensor(whole, orientation);
  if (common::Failure failure = media::ShapeFrame(turned.width, turned.height, stride, sensor)) {
    return failure;
  }
  media::Nv12Frame from = upright;
  if (turn.mirrored) {
    MirrorRows(from.Luma(), size.height, from.stride, size.width, 1);
    MirrorRows(from.Chroma(), size.height / 2, from.stride, size.width / 2, 2);
  }
  const ZyImageBuffer source = Describe(&from, size);
  ZyImageBuffer target = Describe(sensor, turned);
  ZyCopyBuffer(&target, &source, turn.degrees);
  return std::nullopt;
}

Size TurnToSensor(Size upright, int orientation) {
  const Turn turn = TurnOf(orientation);
  if (!IsTurned(turn, upright)) return upright;
  const Size size = Even(upright);
  return turn.degrees == 180 ? size : Size{size.height, size.width};
}

common::Rect TurnToSensor(const common::Rect& rect, int orientation, Size upright) {
  const Turn turn = TurnOf(orientation);
  if (!IsTurned(turn, upright)) return rect;
  const Size size = Even(upright);
  const int right = size.width - rect.x - rect.w, below = size.height - rect.y - rect.h;
  if (turn.degrees == 180) return {right, below, rect.w, rect.h};
  if (turn.degrees == 90) return {below, right, rect.h, rect.w};
  return {rect.y, rect.x, rect.h, rect.w};
}

}  // namespace camsim
