// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_NV12_H_
#define ZY_MEDIA_NV12_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/failure.h"
#include "common/geometry.h"
#include "image/zy_image_buffer.h"
#include "media/picture.h"

namespace media {

// A camera frame: `height` luma rows, then HalfUp(height) chroma rows of HalfUp(width) byte pairs
// (U, V), rows `stride` bytes apart. Bytes between a row's end and the next row hold kPaddingByte,
// so that code that reads them by mistake produces conspicuous numbers.
struct Nv12Frame {
  int width = 0;
  int height = 0;
  int stride = 0;
  std::vector<uint8_t> bytes;

  uint8_t* Luma() { return bytes.data(); }
  const uint8_t* Luma() const { return bytes.data(); }
  uint8_t* Chroma() { return bytes.data() + LumaSize(); }
  const uint8_t* Chroma() const { return bytes.data() + LumaSize(); }

  // Sizes of the two planes in bytes, padding included.
  std::size_t LumaSize() const { return PlaneSize(height); }
  std::size_t ChromaSize() const { return PlaneSize(common::HalfUp(height)); }

 private:
  std::size_t PlaneSize(int rows) const {
    return static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows);
  }
};

// Describes the frame's planes as the node describes a camera buffer. They stay the frame's.
inline ZyImageBuffer ImageOf(Nv12Frame& frame) {
  return {kZyFormatYuv420SemiPlanar,
          frame.width,
          frame.height,
          {frame.stride, frame.stride, 0, 0},
          {frame.Luma(), frame.Chroma(), nullptr, nullptr}};
}

inline constexpr uint8_t kPaddingByte = 0xa5;
inline constexpr int kMaxStride = 4 * common::kMaxSide;

// Returns the default row pitch: the next multiple of 64 above the width.
constexpr int DefaultStride(int width) { return (width / 64 + 1) * 64; }

// Fails on an unusable size, and on a stride (bytes; 0 means DefaultStride) below the width rounded
// up to even or above kMaxStride. Any thread, as all functions here.
common::Failure CheckFrameShape(int width, int height, int stride);

// Gives the frame this shape, with every byte kPaddingByte, and reuses its memory if that suffices.
// Fails like CheckFrameShape, and then leaves the frame unchanged.
common::Failure ShapeFrame(int width, int height, int stride, Nv12Frame* frame);

// Copies the part of a frame that a rectangle covers, which lies inside and has an even corner.
// Fails like ShapeFrame.
common::Failure CropFrame(const Nv12Frame& frame, const common::Rect& crop, int stride,
                          Nv12Frame* cropped);

// Returns a digest of the frame's pixels without its padding: 16 hexadecimal digits.
std::string PixelDigest(const Nv12Frame& frame);

// A colour by the BT.601 matrix in limited range (luma 16..235, chroma 16..240).
struct YuvCode {
  uint8_t y;
  uint8_t u;
  uint8_t v;
};
YuvCode CodeOf(Colour colour);

// Converts a picture by the BT.601 matrix to limited range (luma 16..235, chroma 16..240). A chroma
// pair is that of the mean colour of its 2x2 pixels; at an odd edge the last pixels count twice.
// Fails like CheckFrameShape.
common::Failure PictureToNv12(const Picture& picture, int stride, Nv12Frame* frame);

// Converts a frame by the inverse matrix. A pair colours all of its pixels.
Picture Nv12ToPicture(const Nv12Frame& frame);

// The chroma of dense planes: none, a plane of U and one of V, or one of pairs as in NV12.
enum class ChromaLayout { kMono, k420, k422, k444, kPairs };

// The range of samples: luma 16..235 and chroma 16..240, or both 0..255.
enum class ColourRange { kLimited, kFull };

// Returns the bytes of the dense planes of one picture: luma, then chroma, each without gaps.
// Chroma rows and columns are rounded up. The size must be usable.
std::size_t PlanarSize(ChromaLayout layout, int width, int height);

// Converts dense planes of PlanarSize bytes. Samples of limited range are copied, those of full
// range mapped to limited range. Of denser chroma it keeps the mean of each group (the last samples
// of an odd edge count twice), rounded half up. Mono gets the neutral pair (128, 128). Fails like
// CheckFrameShape.
common::Failure PlanarToNv12(const uint8_t* planes, ChromaLayout layout, ColourRange range,
                             int width, int height, int stride, Nv12Frame* frame);

}  // namespace media

#endif  // ZY_MEDIA_NV12_H_
