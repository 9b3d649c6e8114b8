// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_JPEG_HEADER_H_
#define ZY_MEDIA_JPEG_HEADER_H_

#include <cstddef>
#include <cstdint>

namespace media {

// Facts from a JPEG's header that its decoder does not report.
struct JpegHeader {
  // Arithmetic coding, whose decoder fills missing parts without a warning.
  bool is_arithmetic = false;
  // The Exif orientation, 1 (upright) to 8; 1 without valid Exif data.
  int orientation = 1;
};

// Reads the segments of a JPEG file up to its pixels, within bounds for any input. Any thread.
JpegHeader ReadJpegHeader(const uint8_t* bytes, std::size_t size);

}  // namespace media

#endif  // ZY_MEDIA_JPEG_HEADER_H_
