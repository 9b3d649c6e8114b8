// SPDX-License-Identifier: Apache-2.0
// The image record that crosses from the camera node to the analysis worker.
#ifndef ZY_IMAGE_ZY_IMAGE_BUFFER_H_
#define ZY_IMAGE_ZY_IMAGE_BUFFER_H_

#include <cstdint>

// A plane of luma bytes (0) and a plane of interleaved two-byte chroma pairs (1), one pair for
// every 2x2 block of luma. The only format there is.
inline constexpr int32_t kZyFormatYuv420SemiPlanar = 1;

// One image, described or owned. The record does not know which: whoever filled it does. All zero
// is the empty record.
struct ZyImageBuffer {
  int32_t format;     // kZyFormatYuv420SemiPlanar
  int32_t width;      // luma pixels
  int32_t height;     // luma rows
  int32_t stride[4];  // bytes from row to row; 2 and 3 are not used
  uint8_t* plane[4];  // first bytes of luma and chroma; 2 and 3 are not used
};
static_assert(sizeof(void*) != 8 || sizeof(ZyImageBuffer) == 64);

// Fills `buffer` with one new block of width * height * 3 / 2 bytes: the luma plane, and behind it
// the chroma plane, both with a pitch of `width` bytes. The pixels are not initialised. The caller
// owns the block and gives it back with ZyFreeBuffer; what the record held before is not freed.
//   Returns 1, or 0: for another format (or a null record) nothing is touched; for a width or
// height below 1, for width * height * 3 beyond 31 bits and when memory is short, plane 0 becomes
// null and the rest stays as it was.
//   Any thread; one record must not be used by two threads at once.
int32_t ZyAllocBuffer(ZyImageBuffer* buffer, int32_t width, int32_t height, int32_t format);

// Frees the block that ZyAllocBuffer put into plane 0 and sets plane 0 to null; all other fields
// keep their values. Does nothing when plane 0 is null, so that calling it twice is harmless.
//   Any thread; one record must not be used by two threads at once.
void ZyFreeBuffer(ZyImageBuffer* buffer);

#endif  // ZY_IMAGE_ZY_IMAGE_BUFFER_H_
