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

// Maps of a picture's 2x2 blocks, half its size rounded down: 255 for a marked block, else 0.

Plane MarkAll(const media::Nv12Frame& frame);

// Marks the blocks whose colour is in the range of most skin tones: Cb from 77 to 127 and Cr from
// 133 to 173. Wood and sand match too; this is a demonstration.
Plane MarkSkin(const media::Nv12Frame& frame);

// Marks blocks where a mask, a picture of the frame's size or half of it, is at least as bright as
// `threshold` of 255. Fails on other sizes.
common::Failure MarkByMask(const media::Picture& mask, int threshold, const media::Nv12Frame& frame,
                           Plane* map);

}  // namespace camkit

#endif  // ZY_CAMKIT_PLANES_H_
