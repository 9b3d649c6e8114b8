// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_HEADER_H_
#define ZY_APPS_CAMSIM_HEADER_H_

#include "camsim/options.h"
#include "framework/device.h"
#include "framework/recording.h"

namespace camsim {

// The first line of a run's recording.
framework::Json HeaderOf(const Options& options, Size frame, const framework::Device& device);

// Takes from a recording's header what the command line leaves open: whether frames are turned, the
// input with its size and stride, the negotiated buffer, the node's capabilities. For another input
// only the turning.
void UseHeader(const framework::Json& header, Options* options);

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_HEADER_H_
