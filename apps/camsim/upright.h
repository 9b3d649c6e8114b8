// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_UPRIGHT_H_
#define ZY_APPS_CAMSIM_UPRIGHT_H_

#include "pictures/error.h"
#include "pictures/geometry.h"
#include "pictures/nv12.h"

namespace camsim {

// A photograph is upright; a sensor's picture is not: the node turns it upright by the device's
// orientation, and at 0 and 180 mirrors it as well. These functions do the reverse, so that the
// node's models see the photograph as it is, whatever the orientation. Any thread.

// The frame that a sensor held at `orientation` delivers. Where it has to be turned, it gets rows
// of `stride` bytes as pictures::ShapeFrame gives them (and fails as that does), and an odd last
// row or column is left out; a picture one pixel wide or high stays as it is.
pictures::Failure TurnToSensor(const pictures::Nv12Frame& upright, int orientation, int stride,
                               pictures::Nv12Frame* sensor);

// Where a rectangle of an upright picture of `width` x `height` pixels lies in that frame.
pictures::Rect TurnToSensor(const pictures::Rect& rect, int orientation, int width, int height);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_UPRIGHT_H_
