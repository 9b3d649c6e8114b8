// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_Y4M_WRITER_H_
#define ZY_MEDIA_Y4M_WRITER_H_

#include <cstdio>
#include <string>

#include "common/failure.h"
#include "media/nv12.h"

namespace media {

// Writes the header of a Y4M stream of frames of this size. `rate` is frames per second as a ratio,
// "30:1". Fails when the stream accepts no more, like WriteY4mFrame.
common::Failure WriteY4mHeader(int width, int height, const std::string& rate, std::FILE* to);

// Writes a frame of the header's size.
common::Failure WriteY4mFrame(const Nv12Frame& frame, std::FILE* to);

}  // namespace media

#endif  // ZY_MEDIA_Y4M_WRITER_H_
