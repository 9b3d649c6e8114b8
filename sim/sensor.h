// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_SIM_SENSOR_H_
#define ZY_SIM_SENSOR_H_

#include <cstdint>
#include <vector>

#include "sim/framework.h"
#include "sim/geometry.h"
#include "sim/options.h"

namespace sim {

// The sensor size that the options name, or one that holds the frame.
Size SensorSize(const Options& options, Size frame);

// The faces as the platform's statistics give them: int32 xmin, ymin, xmax, ymax in sensor pixels,
// at twice the sensor's size unless the quad sensor is on. The node turns them back into the same
// picture pixels when the sensor is at least as large as the frame.
std::vector<int32_t> SensorRects(const Options& options, Size frame,
                                 const std::vector<Rect>& faces);

// Fills the input metadata of one request.
void SetRequestMetadata(const Options& options, Size frame, const std::vector<Rect>& faces,
                        Metadata* metadata);

}  // namespace sim

#endif  // ZY_SIM_SENSOR_H_
