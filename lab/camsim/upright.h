// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_UPRIGHT_H_
#define ZY_CAMSIM_UPRIGHT_H_

#include "camsim/options.h"
#include "common/failure.h"
#include "common/geometry.h"
#include "media/nv12.h"

namespace camsim {

// A photograph is upright; a sensor's picture is not: the node turns it upright by the device's
// orientation, and at 0 and 180 mirrors it as well. These functions do the reverse, so that the
// node's models see the photograph as it is, whatever the orientation. Any thread.

// The frame that a sensor held at `orientation` delivers. Where it has to be turned, it gets rows
// of `stride` bytes as media::ShapeFrame gives them (and fails as that does), and an odd last
// row or column is left out; a picture one pixel wide or high stays as it is.
common::Failure TurnToSensor(const media::Nv12Frame& upright, int orientation, int stride,
                             media::Nv12Frame* sensor);

// The size of that frame, and where a rectangle of an upright picture of that size lies in it. The
// same turn of the frame's size leads a rectangle back.
Size TurnToSensor(Size upright, int orientation);
common::Rect TurnToSensor(const common::Rect& rect, int orientation, Size upright);

}  // namespace camsim

#endif  // ZY_CAMSIM_UPRIGHT_H_
