// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/upright.h"

#include <algorithm>

#include "image/zy_copy_buffer.h"

namespace camsim {
namespace {

// A clockwise turn, after a mirroring from left to right where there is one.
struct Turn {
  bool mirrored;
  int degrees;
};

// As for the node, any other orientation is 180.
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

bool IsTurned(const Turn& turn, int width, int height) {
  return turn.degrees != 0 && width > 1 && height > 1;
}

ZyImageBuffer Describe(pictures::Nv12Frame* frame, int width, int height) {
  ZyImageBuffer image = {};
  image.format = kZyFormatYuv420SemiPlanar;
  image.width = width;
  image.height = height;
  image.stride[0] = image.stride[1] = frame->stride;
  image.plane[0] = frame->Luma();
  image.plane[1] = frame->Chroma();
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

pictures::Failure TurnToSensor(const pictures::Nv12Frame& upright, int orientation, int stride,
                               pictures::Nv12Frame* sensor) {
  const Turn turn = TurnOf(orientation);
  if (!IsTurned(turn, upright.width, upright.height)) {
    *sensor = upright;
    return std::nullopt;
  }
  const int width = upright.width / 2 * 2, height = upright.height / 2 * 2;
  const bool sideways = turn.degrees != 180;
  if (pictures::Failure failure = pictures::ShapeFrame(sideways ? height : width,
                                                       sideways ? width : height, stride, sensor)) {
    return failure;
  }
  pictures::Nv12Frame from = upright;
  if (turn.mirrored) {
    MirrorRows(from.Luma(), height, from.stride, width, 1);
    MirrorRows(from.Chroma(), height / 2, from.stride, width / 2, 2);
  }
  const ZyImageBuffer source = Describe(&from, width, height);
  ZyImageBuffer target = Describe(sensor, sensor->width, sensor->height);
  ZyCopyBuffer(&target, &source, turn.degrees);
  return std::nullopt;
}

pictures::Rect TurnToSensor(const pictures::Rect& rect, int orientation, int width, int height) {
  const Turn turn = TurnOf(orientation);
  if (!IsTurned(turn, width, height)) return rect;
  const int right = width / 2 * 2 - rect.x - rect.w, below = height / 2 * 2 - rect.y - rect.h;
  if (turn.degrees == 180) return {right, below, rect.w, rect.h};
  if (turn.degrees == 90) return {below, right, rect.h, rect.w};
  return {rect.y, rect.x, rect.h, rect.w};
}

}  // namespace camsim
