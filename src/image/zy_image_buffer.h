// SPDX-License-Identifier: Apache-2.0
// The image record that the camera node hands to the analysis worker.
#ifndef ZY_IMAGE_ZY_IMAGE_BUFFER_H_
#define ZY_IMAGE_ZY_IMAGE_BUFFER_H_

#include <cstdint>

// A plane of luma bytes (0) and a plane of interleaved two-byte chroma pairs (1), one pair for
// every 2x2 block of luma. The only format.
inline constexpr int32_t kZyFormatYuv420SemiPlanar = 1;

// One image, owned or borrowed; its creator knows which. All zero is the empty record.
struct ZyImageBuffer {
  int32_t format;     // kZyFormatYuv420SemiPlanar
  int32_t width;      // luma pixels
  int32_t height;     // luma rows
  int32_t stride[4];  // bytes from row to row; 2 and 3 are not used
  uint8_t* plane[4];  // first bytes of luma and chroma; 2 and 3 are not used
};
static_assert(sizeof(void*) != 8 || sizeof(ZyImageBuffer) == 64);

// Allocates one block of width * height * 3 / 2 bytes: the luma plane, then the chroma plane, both
// with a pitch of `width` bytes. The pixels are not initialised. The caller owns the block and
// returns it with ZyFreeBuffer; an earlier block of the record is not freed.
//   Returns 1, or 0 on failure. Another format or a null record: nothing changes. A width or height
//   below 1, width * height * 3 beyond 31 bits, or too little memory: plane 0 becomes null and the
//   rest stays unchanged.
//   Any thread; one record must not be used by two threads at once.
int32_t ZyAllocBuffer(ZyImageBuffer* buffer, int32_t width, int32_t height, int32_t format);

// Frees the block that ZyAllocBuffer put into plane 0 and sets plane 0 to null; all other fields
// keep their values. Does nothing when plane 0 is null, so a second call is harmless.
//   Any thread; one record must not be used by two threads at once.
void ZyFreeBuffer(ZyImageBuffer* buffer);

#endif  // ZY_IMAGE_ZY_IMAGE_BUFFER_H_
