// SPDX-License-Identifier: Apache-2.0
#include "image/zy_copy_buffer.h"

#include <array>
#include <cstddef>
#include <cstring>

#include "base/kernel_variant.h"
#include "image/rotate_plane.h"
#include "image/variants.h"

namespace {

using std::ptrdiff_t;

// Maps the source element at (row, column) to a byte of the destination: origin + row * per_row +
// column * per_column.
struct Mapping {
  ptrdiff_t origin;
  ptrdiff_t per_row;
  ptrdiff_t per_column;
};

template <int kElementSize>
Mapping MappingOf(const PlaneCopy& plane, int32_t rotation) {
  const ptrdiff_t pitch = plane.destination_pitch;
  const ptrdiff_t last_row = plane.rows - 1;
  const ptrdiff_t last_column = plane.columns - 1;
  switch (rotation) {
    case 0:
      return {0, pitch, kElementSize};
    case 90:
      return {last_row * kElementSize, -kElementSize, pitch};
    case 180:
      return {last_row * pitch + last_column * kElementSize, -pitch, -kElementSize};
    case 270:
      return {last_column * pitch, kElementSize, -pitch};
    default:
      return {0, pitch, 0};
  }
}

// Copies element by element; correct for every rotation, pitch and overlap.
template <int kElementSize>
void CopyInOrder(const PlaneCopy& plane, const Mapping& mapping) {
  for (ptrdiff_t row = 0; row < plane.rows; ++row) {
    const uint8_t* from = plane.source + row * plane.source_pitch;
    uint8_t* to = plane.destination + (mapping.origin + row * mapping.per_row);
    for (ptrdiff_t column = 0; column < plane.columns; ++column) {
      std::array<uint8_t, kElementSize> element;
      std::memcpy(element.data(), from + column * kElementSize, kElementSize);
      std::memcpy(to + column * mapping.per_column, element.data(), kElementSize);
    }
  }
}

void CopyRows(const PlaneCopy& plane, ptrdiff_t row_bytes) {
  if (plane.source_pitch == row_bytes && plane.destination_pitch == row_bytes) {
    std::memcpy(plane.destination, plane.source, static_cast<std::size_t>(plane.rows * row_bytes));
    return;
  }
  for (ptrdiff_t row = 0; row < plane.rows; ++row) {
    std::memcpy(plane.destination + row * plane.destination_pitch,
                plane.source + row * plane.source_pitch, static_cast<std::size_t>(row_bytes));
  }
}

// Returns whether the vector rows may run: both pitches cover their rows and the planes share no
// bytes, so neither the order of the elements nor writing one twice matters.
template <int kElementSize>
bool IsOrderFree(const PlaneCopy& plane, int32_t rotation) {
  const bool turned = rotation == 90 || rotation == 270;
  const ptrdiff_t source_row = plane.columns * kElementSize;
  const ptrdiff_t destination_row = (turned ? plane.rows : plane.columns) * kElementSize;
  const ptrdiff_t destination_rows = turned ? plane.columns : plane.rows;
  if (plane.source_pitch < source_row || plane.destination_pitch < destination_row) return false;

  const auto source = reinterpret_cast<uintptr_t>(plane.source);
  const auto destination = reinterpret_cast<uintptr_t>(plane.destination);
  const auto source_size =
      static_cast<uintptr_t>((plane.rows - 1) * plane.source_pitch + source_row);
  const auto destination_size =
      static_cast<uintptr_t>((destination_rows - 1) * plane.destination_pitch + destination_row);
  return source + source_size <= destination || destination + destination_size <= source;
}

template <int kElementSize>
void CopyPlane(KernelVariant variant, const PlaneCopy& plane, int32_t rotation) {
  if (IsOrderFree<kElementSize>(plane, rotation)) {
    if (rotation == 0) return CopyRows(plane, plane.columns * kElementSize);
    if (variant == KernelVariant::kVector && RotateInRegisters<kElementSize>(plane, rotation)) {
      return;
    }
  }
  CopyInOrder<kElementSize>(plane, MappingOf<kElementSize>(plane, rotation));
}

PlaneCopy PlaneOf(const ZyImageBuffer& dst, const ZyImageBuffer& src, int index, int32_t columns,
                  int32_t rows) {
  return {src.plane[index], src.stride[index], dst.plane[index], dst.stride[index], columns, rows};
}

bool IsEmpty(const PlaneCopy& plane) { return plane.columns < 1 || plane.rows < 1; }

bool IsUsable(const PlaneCopy& plane) {
  return IsEmpty(plane) || (plane.source != nullptr && plane.destination != nullptr);
}

bool SizesMatch(const ZyImageBuffer& dst, const ZyImageBuffer& src) {
  return (dst.width == src.width && dst.height == src.height) ||
         (dst.width == src.height && dst.height == src.width);
}

}  // namespace

int32_t ZyCopyBufferVariant(KernelVariant variant, ZyImageBuffer* dst, const ZyImageBuffer* src,
                            int32_t rotation) {
  if (dst == nullptr || src == nullptr || rotation % 90 != 0 ||
      src->format != kZyFormatYuv420SemiPlanar || dst->format != kZyFormatYuv420SemiPlanar ||
      !SizesMatch(*dst, *src)) {
    return 0;
  }
  const PlaneCopy luma = PlaneOf(*dst, *src, 0, src->width, src->height);
  const PlaneCopy chroma = PlaneOf(*dst, *src, 1, src->width / 2, src->height / 2);
  if (!IsUsable(luma) || !IsUsable(chroma)) return 0;
  if (!IsEmpty(luma)) CopyPlane<1>(variant, luma, rotation % 360);
  if (!IsEmpty(chroma)) CopyPlane<2>(variant, chroma, rotation % 360);
  return 1;
}

int32_t ZyCopyBuffer(ZyImageBuffer* dst, const ZyImageBuffer* src, int32_t rotation) {
  return ZyCopyBufferVariant(kBestVariant, dst, src, rotation);
}
