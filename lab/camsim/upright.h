// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_UPRIGHT_H_
#define ZY_CAMSIM_UPRIGHT_H_

#include "camsim/options.h"
#include "common/failure.h"
#include "common/geometry.h"
#include "media/nv12.h"

namespace camsim {

// Turns an upright photograph into a sensor's frame. The node turns frames upright by the device's
// orientation, and mirrors them at 0 and 180. These functions do the reverse, so that the node's
// models always get the unchanged photograph. Any thread.

// Makes the frame of a sensor held at `orientation`. A turned frame gets rows of `stride` bytes and
// may fail like media::ShapeFrame, and loses an odd last row or column. A picture one pixel wide or
// high stays unchanged.
common::Failure TurnToSensor(const media::Nv12Frame& upright, int orientation, int stride,
                             media::Nv12Frame* sensor);

// Returns the size of that frame, and maps a rectangle of an upright picture of that size into it.
// Mapping with the frame's size leads a rectangle back.
Size TurnToSensor(Size upright, int orientation);
common::Rect TurnToSensor(const common::Rect& rect, int orientation, Size upright);

}  // namespace camsim

#endif  // ZY_CAMSIM_UPRIGHT_H_
