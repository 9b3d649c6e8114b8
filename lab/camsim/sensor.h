// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_SENSOR_H_
#define ZY_APPS_CAMSIM_SENSOR_H_

#include <cstdint>
#include <vector>

#include "camsim/options.h"
#include "camsim/why.h"
#include "framework/framework.h"
#include "framework/recording.h"
#include "media/geometry.h"

namespace camsim {

// The sensor size that the options name, or one that holds the frame.
Size SensorSize(const Options& options, Size frame);

// The faces as the platform's statistics give them: int32 xmin, ymin, xmax, ymax in sensor pixels,
// at twice the sensor's size unless the quad sensor is on. The node turns them back into the same
// picture pixels when the sensor is at least as large as the frame.
std::vector<int32_t> SensorRects(const Options& options, Size frame,
                                 const std::vector<media::Rect>& faces);

// The same device state in the words of why.h.
RequestState StateOf(const Options& options, Size frame, const std::vector<media::Rect>& faces,
                     bool follows_a_pass);

// The faces of raw rectangles in picture pixels, as the node finds them.
std::vector<media::Rect> FacesOf(const Options& options, Size frame,
                                    const framework::Json& rects);

// Takes over the device state that a script's tags tell; of an absent one the old state holds.
void TakeTags(const framework::Json& tags, Options* options);

// Fills the input metadata of one request.
void SetRequestMetadata(const Options& options, Size frame,
                        const std::vector<media::Rect>& faces, framework::Metadata* metadata);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_SENSOR_H_
