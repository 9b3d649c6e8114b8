// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_IMAGE_ZY_COPY_BUFFER_H_
#define ZY_IMAGE_ZY_COPY_BUFFER_H_

#include <cstdint>

#include "image/zy_image_buffer.h"

// Copies the pixels of `src` into the planes of `dst`, rotated clockwise by `rotation` degrees, a
// multiple of 90. It writes only pixels, no field of `dst`, and neither reads nor writes the bytes
// between the rows. Of an odd size, it copies height / 2 chroma rows of width / 2 pairs
// (truncated); a pair keeps its byte order.
//   `dst` has the size of `src` or the transposed one. Whether that suits the rotation is not
//   checked: the rotation and the pitches of `dst` alone decide where pixels go, so its planes must
//   be large enough.
//   Rotations of 360 and beyond are reduced. Negative ones are not: unless they are whole turns,
//   each row goes, element after element, to the first byte (chroma: pair) of the same row of
//   `dst`, which ends up with the row's last element.
//   Overlapping planes are copied as if element by element, source rows from top to bottom and
//   columns from left to right.
//   Returns 1, or 0 with nothing written: a rotation that is no multiple of 90, a format other than
//   kZyFormatYuv420SemiPlanar, sizes that do not match, a null record, or a null plane that would
//   be used.
//   Any thread; the planes stay the caller's and must stay valid for the call.
int32_t ZyCopyBuffer(ZyImageBuffer* dst, const ZyImageBuffer* src, int32_t rotation);

#endif  // ZY_IMAGE_ZY_COPY_BUFFER_H_
