// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_JPEG_HEADER_H_
#define ZY_MEDIA_JPEG_HEADER_H_

#include <cstddef>
#include <cstdint>

#include "media/picture.h"

namespace media {

// What stands before a JPEG's pixels and the decoder does not tell.
struct JpegHeader {
  // Arithmetic coding, whose decoder fills in what is missing without a warning.
  bool is_arithmetic = false;
  // How the camera was held, by the Exif tag of that name: 1 (upright) to 8. 1 also stands for no
  // Exif data and for damaged ones.
  int orientation = 1;
};

// Reads the segments of a JPEG file up to its pixels, in bounds whatever they claim. Any thread.
JpegHeader ReadJpegHeader(const uint8_t* bytes, std::size_t size);

// The picture as it is to be looked at, of one stored with an Exif orientation of 1 to 8. Any
// thread.
Picture TurnUpright(Picture stored, int orientation);

}  // namespace media

#endif  // ZY_MEDIA_JPEG_HEADER_H_
