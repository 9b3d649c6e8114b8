// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_Y4M_H_
#define ZY_MEDIA_Y4M_H_

#include <cstddef>
#include <cstdio>
#include <string>

#include "common/failure.h"
#include "media/byte_reader.h"
#include "media/nv12.h"

namespace media {

inline constexpr char kY4mSignature[] = "YUV4MPEG2";

// Limit of a stream or frame header line, in bytes without the line break.
inline constexpr std::size_t kMaxY4mLine = 1024;

struct Y4mHeader {
  int width = 0;
  int height = 0;
  ChromaLayout layout = ChromaLayout::k420;
  ColourRange range = ColourRange::kLimited;
  std::string rate = "30:1";  // frames per second, as a ratio
};

// Reads the stream header line. W and H are required and must give a usable size. C, if present, is
// one of 420, 420jpeg, 420mpeg2, 420paldv, 422, 444 and mono; F and A are ratios. XCOLORRANGE=FULL
// selects full range; I and every other X are ignored. Fails on other tags, and on a second W, H or
// C.
common::Failure ReadY4mHeader(ByteReader& reader, Y4mHeader* header);

// Reads the header line of a frame; `frame` begins the failure's message: "frame 3".
common::Failure ReadY4mFrameHeader(ByteReader& reader, const std::string& frame);

// Writes the header of a stream of frames of this size. `rate` is frames per second as a ratio,
// "30:1". The stream keeps its errors for its owner, here and in WriteY4mFrame.
void WriteY4mHeader(int width, int height, const std::string& rate, std::FILE* to);

// Writes a frame of the header's size.
void WriteY4mFrame(const Nv12Frame& frame, std::FILE* to);

}  // namespace media

#endif  // ZY_MEDIA_Y4M_H_
