// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_HEADER_H_
#define ZY_CAMSIM_HEADER_H_

#include <string>
#include <vector>

#include "camsim/frames.h"
#include "camsim/options.h"
#include "framework/device.h"
#include "record/request_record.h"

namespace camsim {

// Returns the facts about the whole run.
record::RunHeader HeaderOf(const Options& options, const Frames& frames, Size buffer,
                           const framework::Device& device);

// Fills options that the command line leaves open from a recording's header: whether frames are
// turned, the input with its size and stride, the negotiated buffer, the node's capabilities. For
// another input it takes only the turning. The options do not change afterwards.
void UseHeader(const record::RunHeader& header, Options* options);

// Returns a message for each option about the device that overrides, or initialises, the state of a
// script or recording.
std::vector<std::string> NoticesOf(const Options& options);

}  // namespace camsim

#endif  // ZY_CAMSIM_HEADER_H_
