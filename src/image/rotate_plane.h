// SPDX-License-Identifier: Apache-2.0
// Rotations in vector registers.
#ifndef ZY_IMAGE_ROTATE_PLANE_H_
#define ZY_IMAGE_ROTATE_PLANE_H_

#include <cstddef>
#include <cstdint>

// One plane to copy, of elements of one byte (luma) or two (chroma pairs). Pitches are in bytes;
// columns (in elements) and rows are those of the source.
struct PlaneCopy {
  const uint8_t* source;
  std::ptrdiff_t source_pitch;
  uint8_t* destination;
  std::ptrdiff_t destination_pitch;
  std::ptrdiff_t columns;
  std::ptrdiff_t rows;
};

// Rotates a plane of elements of kElementSize bytes (1 or 2) by 90, 180 or 270 degrees clockwise.
// Both pitches must cover their rows and the planes must not overlap, because some elements are
// written twice.
//   Returns false, with nothing written, for other rotations, for a plane too small to fill a
//   register, and without vector registers.
//   Any thread.
template <int kElementSize>
bool RotateInRegisters(const PlaneCopy& plane, int32_t rotation);

extern template bool RotateInRegisters<1>(const PlaneCopy& plane, int32_t rotation);
extern template bool RotateInRegisters<2>(const PlaneCopy& plane, int32_t rotation);

#endif  // ZY_IMAGE_ROTATE_PLANE_H_
