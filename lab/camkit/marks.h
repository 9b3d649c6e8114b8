// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMKIT_MARKS_H_
#define ZY_CAMKIT_MARKS_H_

#include "camkit/planes.h"
#include "common/failure.h"
#include "media/nv12.h"
#include "media/picture.h"

namespace camkit {

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

#endif  // ZY_CAMKIT_MARKS_H_
