// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMKIT_PLANES_H_
#define ZY_CAMKIT_PLANES_H_

#include <array>
#include <cstdint>
#include <vector>

#include "common/failure.h"
#include "media/nv12.h"
#include "media/picture.h"

namespace camkit {

// Rows without gaps.
struct Plane {
  Plane(int plane_width, int plane_height)
      : width(plane_width),
        height(plane_height),
        bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

  int width;
  int height;
  std::vector<uint8_t> bytes;
};

// A picture as luma, U and V of one size, so that a function for planes serves each.
using Planes = std::array<Plane, 3>;

Plane LumaOf(const media::Nv12Frame& frame);
Planes PlanesOf(const media::Nv12Frame& frame);
common::Failure PictureOf(const Planes& planes, media::Picture* picture);
// Converts a plane of brightness, 0 to 255, to a gray picture.
media::Picture GrayPicture(const Plane& plane);

}  // namespace camkit

#endif  // ZY_CAMKIT_PLANES_H_
