// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_PICTURES_Y4M_WRITER_H_
#define ZY_PICTURES_Y4M_WRITER_H_

#include <cstdio>
#include <string>

#include "media/error.h"
#include "media/nv12.h"

namespace media {

// Begins a Y4M stream of frames of this size. `rate` is frames a second as a ratio, "30:1". Fails
// when the stream takes no more, as WriteY4mFrame does.
Failure WriteY4mHeader(int width, int height, const std::string& rate, std::FILE* to);

// Adds a frame, which has the size that the header says.
Failure WriteY4mFrame(const Nv12Frame& frame, std::FILE* to);

}  // namespace media

#endif  // ZY_PICTURES_Y4M_WRITER_H_
