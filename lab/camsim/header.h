// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_HEADER_H_
#define ZY_CAMSIM_HEADER_H_

#include <string>
#include <vector>

#include "camsim/options.h"
#include "framework/device.h"
#include "record/request_record.h"

namespace camsim {

// What holds for the whole run; `frame` is the size of a picture.
record::RunHeader HeaderOf(const Options& options, Size frame, Size buffer,
                           const framework::Device& device);

// Takes from a recording's header what the command line leaves open: whether frames are turned, the
// input with its size and stride, the negotiated buffer, the node's capabilities. For another input
// only the turning. From here on the options stay as they are.
void UseHeader(const record::RunHeader& header, Options* options);

// Says of each option about the device that a script or recording must give way to it, or begins
// with it.
std::vector<std::string> NoticesOf(const Options& options);

}  // namespace camsim

#endif  // ZY_CAMSIM_HEADER_H_
