// SPDX-License-Identifier: Apache-2.0
#include "camkit/marks.h"

#include <algorithm>

#include "common/geometry.h"
#include "image/resize.h"

namespace camkit {
namespace {

constexpr uint8_t kMarked = 255;

// Luma of black and of white in a frame.
constexpr int kBlack = 16;
constexpr int kWhite = 235;

bool IsSkin(const uint8_t* pair) {
  return pair[0] >= 77 && pair[0] <= 127 && pair[1] >= 133 && pair[1] <= 173;
}

}  // namespace

Plane MarkAll(const media::Nv12Frame& frame) {
  Plane map(frame.width / 2, frame.height / 2);
  std::fill(map.bytes.begin(), map.bytes.end(), kMarked);
  return map;
}

Plane MarkSkin(const media::Nv12Frame& frame) {
  Plane map(frame.width / 2, frame.height / 2);
  auto mark = map.bytes.begin();
  for (int y = 0; y < map.height; ++y) {
    const uint8_t* row = frame.Chroma() + std::ptrdiff_t{y} * frame.stride;
    for (int x = 0; x < map.width; ++x) *mark++ = IsSkin(row + 2 * std::ptrdiff_t{x}) ? kMarked : 0;
  }
  return map;
}

common::Failure MarkByMask(const media::Picture& mask, int threshold, const media::Nv12Frame& frame,
                           Plane* map) {
  media::Nv12Frame marks;
  if (common::Failure failure = media::PictureToNv12(mask, 0, &marks)) return failure;
  if (mask.width == frame.width && mask.height == frame.height) {
    resize_half(marks.Luma(), map->bytes.data(), map->width * 2, map->height * 2, marks.stride);
  } else if (mask.width == map->width && mask.height == map->height) {
    *map = LumaOf(marks);
  } else {
    return common::Fail("the mask is " + common::SizeText(mask.width, mask.height) +
                        "; a picture of " + common::SizeText(frame.width, frame.height) +
                        " needs that size or " + common::SizeText(map->width, map->height));
  }
  for (uint8_t& luma : map->bytes) {
    luma = (luma - kBlack) * 255 >= threshold * (kWhite - kBlack) ? kMarked : 0;
  }
  return std::nullopt;
}

}  // namespace camkit
