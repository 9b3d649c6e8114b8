// SPDX-License-Identifier: Apache-2.0
#include "image/zy_image_buffer.h"

#include <cstddef>
#include <cstdlib>
#include <limits>

namespace {

// Returns the bytes of a block for both planes, 0 if the size is below 1 or beyond 31 bits.
std::size_t BlockSize(int32_t width, int32_t height) {
  if (width < 1 || height < 1) return 0;
  const int64_t pixels = int64_t{width} * height;
  if (pixels > std::numeric_limits<int32_t>::max() / 3) return 0;
  return static_cast<std::size_t>(pixels * 3 / 2);
}

}  // namespace

int32_t ZyAllocBuffer(ZyImageBuffer* buffer, int32_t width, int32_t height, int32_t format) {
  if (buffer == nullptr || format != kZyFormatYuv420SemiPlanar) return 0;
  const std::size_t size = BlockSize(width, height);
  buffer->plane[0] = size == 0 ? nullptr : static_cast<uint8_t*>(std::malloc(size));
  if (buffer->plane[0] == nullptr) return 0;
  buffer->stride[0] = width;
  buffer->stride[1] = width;
  buffer->width = width;
  buffer->height = height;
  buffer->plane[1] = buffer->plane[0] + static_cast<std::ptrdiff_t>(width) * height;
  buffer->format = format;
  return 1;
}

void ZyFreeBuffer(ZyImageBuffer* buffer) {
  if (buffer == nullptr) return;
  std::free(buffer->plane[0]);
  buffer->plane[0] = nullptr;
}
