// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_IMAGE_OF_H_
#define ZY_MEDIA_IMAGE_OF_H_

#include "image/zy_image_buffer.h"
#include "media/nv12.h"

namespace media {

// Describes the frame's planes as the node describes a camera buffer. They stay the frame's.
inline ZyImageBuffer ImageOf(Nv12Frame& frame) {
  return {kZyFormatYuv420SemiPlanar,
          frame.width,
          frame.height,
          {frame.stride, frame.stride, 0, 0},
          {frame.Luma(), frame.Chroma(), nullptr, nullptr}};
}

}  // namespace media

#endif  // ZY_MEDIA_IMAGE_OF_H_
