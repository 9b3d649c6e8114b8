// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_Y4M_H_
#define ZY_MEDIA_Y4M_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/failure.h"
#include "media/byte_reader.h"
#include "media/nv12.h"

namespace media {

inline constexpr char kY4mSignature[] = "YUV4MPEG2";
inline constexpr std::size_t kY4mSignatureSize = sizeof kY4mSignature - 1;

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

// Reads frame `index` (counted from 0, for messages only) into dense planes of PlanarSize bytes.
// Sets `at_end` and reads nothing when the stream ends before the frame; fails on any other end.
common::Failure ReadY4mFrame(ByteReader& reader, const Y4mHeader& header, int64_t index,
                             std::vector<uint8_t>* planes, bool* at_end);

}  // namespace media

#endif  // ZY_MEDIA_Y4M_H_
