// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_PICTURE_H_
#define ZY_MEDIA_PICTURE_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/failure.h"
#include "common/replaced_file.h"
#include "media/byte_reader.h"

namespace media {

// An RGB picture: rows from the top without gaps, three bytes R, G, B per pixel.
struct Picture {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;

  uint8_t* Pixel(int x, int y) { return rgb.data() + Offset(x, y); }
  const uint8_t* Pixel(int x, int y) const { return rgb.data() + Offset(x, y); }

 private:
  std::size_t Offset(int x, int y) const {
    return (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
            static_cast<std::size_t>(x)) *
           3;
  }
};

struct Colour {
  uint8_t r;
  uint8_t g;
  uint8_t b;
};

enum class PictureFormat { kUnknown, kPng, kJpeg };

// Returns the format by a file's first bytes; 8 are enough.
PictureFormat DetectPictureFormat(const uint8_t* bytes, std::size_t size);

// Returns a black picture of a usable size (common/geometry.h).
Picture MakePicture(int width, int height);

// Returns a picture with Exif orientation 1 to 8 turned upright. Any thread.
Picture TurnUpright(Picture stored, int orientation);

// Decodes a whole PNG or JPEG file held in memory. PNGs of every kind become 8-bit sRGB, with
// transparent parts over black; JPEGs are turned upright by their Exif orientation. Fails on cut or
// damaged data, even where a decoder would fill in the rest, and on JPEGs with arithmetic coding or
// in CMYK. Any thread.
common::Failure DecodePicture(const uint8_t* bytes, std::size_t size, Picture* picture);

// Reads a PNG or JPEG file of at most 256 MiB; the message begins with the path. Any thread.
common::Failure ReadPicture(const std::string& path, Picture* picture);
// Does the same for an open reader, whose messages name no path.
common::Failure ReadPicture(ByteReader& reader, Picture* picture);

// Writes a picture of usable size as an 8-bit RGB PNG, optimised for speed rather than size. The
// caller completes the file. Any thread.
common::Failure WritePng(const Picture& picture, common::ReplacedFile* file);

// Replaces every block of n x n pixels by its mean, for the smallest n that makes neither side
// longer than `side`. Cuts off the rest of a block at the right and lower edge. Any thread.
Picture Shrink(const Picture& picture, int side);

// Encodes a picture as a JPEG file in memory. Any thread.
common::Failure EncodeJpeg(const Picture& picture, std::vector<uint8_t>* bytes);

}  // namespace media

#endif  // ZY_MEDIA_PICTURE_H_
