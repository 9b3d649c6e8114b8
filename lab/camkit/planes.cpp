// SPDX-License-Identifier: Apache-2.0
#include "camkit/planes.h"

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

Plane LumaOf(const media::Nv12Frame& frame) {
  Plane luma(frame.width, frame.height);
  for (int y = 0; y < frame.height; ++y) {
    std::copy_n(frame.Luma() + std::ptrdiff_t{y} * frame.stride, frame.width,
                luma.bytes.begin() + std::ptrdiff_t{y} * frame.width);
  }
  return luma;
}

Planes PlanesOf(const media::Nv12Frame& frame) {
  Plane u(frame.width, frame.height), v = u;
  std::size_t at = 0;
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* row = frame.Chroma() + std::ptrdiff_t{y / 2} * frame.stride;
    for (int x = 0; x < frame.width; ++x, ++at) {
      const uint8_t* pair = row + std::ptrdiff_t{x / 2} * 2;
      u.bytes[at] = pair[0];
      v.bytes[at] = pair[1];
    }
  }
  return {LumaOf(frame), std::move(u), std::move(v)};
}

common::Failure PictureOf(const Planes& planes, media::Picture* picture) {
  std::vector<uint8_t> all;
  for (const Plane& plane : planes) {
    all.insert(all.end(), plane.bytes.begin(), plane.bytes.end());
  }
  media::Nv12Frame frame;
  if (common::Failure failure =
          media::PlanarToNv12(all.data(), media::ChromaLayout::k444, media::ColourRange::kLimited,
                              planes[0].width, planes[0].height, 0, &frame)) {
    return failure;
  }
  *picture = media::Nv12ToPicture(frame);
  return std::nullopt;
}

media::Picture GrayPicture(const Plane& plane) {
  media::Picture picture = media::MakePicture(plane.width, plane.height);
  for (std::size_t i = 0; i < plane.bytes.size(); ++i) {
    std::fill_n(picture.rgb.begin() + static_cast<std::ptrdiff_t>(3 * i), 3, plane.bytes[i]);
  }
  return picture;
}

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
