// SPDX-License-Identifier: Apache-2.0
#include "camkit/planes.h"

#include <algorithm>

namespace camkit {

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

}  // namespace camkit
