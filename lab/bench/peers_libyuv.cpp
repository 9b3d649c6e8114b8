// SPDX-License-Identifier: Apache-2.0
#include <libyuv.h>

#include <cstddef>

#include "bench/kernel_tasks.h"

namespace bench {
namespace {

// The library numbers its rotations by their degrees.
libyuv::RotationMode ModeOf(int degrees) { return static_cast<libyuv::RotationMode>(degrees); }

bool IsTurned(libyuv::RotationMode mode) {
  return mode == libyuv::kRotate90 || mode == libyuv::kRotate270;
}

void Copy(const Block& source, const Block& destination, int width, int height, int pitch) {
  const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(pitch) * height;
  const uint8_t* const from = source.data();
  uint8_t* const to = destination.data();
  libyuv::NV12Copy(from, pitch, from + luma, pitch, to, pitch, to + luma, pitch, width, height);
}

void RotateSplit(const Workspace& s, libyuv::RotationMode mode) {
  uint8_t* const u = s.scratch.data();
  uint8_t* const v = u + s.pixels() / 4;
  const int columns = IsTurned(mode) ? s.height : s.width;
  libyuv::NV12ToI420Rotate(s.luma(), s.width, s.chroma(), s.width, s.to(), columns, u, columns / 2,
                           v, columns / 2, s.width, s.height, mode);
}

// Rotates with split chroma, then merges it: libyuv cannot rotate interleaved chroma.
void Rotate(const Workspace& s, libyuv::RotationMode mode) {
  const int columns = IsTurned(mode) ? s.height : s.width;
  const int rows = IsTurned(mode) ? s.width : s.height;
  const uint8_t* const u = s.scratch.data();
  RotateSplit(s, mode);
  libyuv::MergeUVPlane(u, columns / 2, u + s.pixels() / 4, columns / 2, s.to_chroma(), columns,
                       columns / 2, rows / 2);
}

// Rotates by 180 degrees: a mirrored copy of the rows from the last to the first.
void Mirror(const Workspace& s) {
  libyuv::MirrorPlane(s.luma(), s.width, s.to(), s.width, s.width, -s.height);
  libyuv::MirrorUVPlane(s.chroma(), s.width, s.to_chroma(), s.width, s.width / 2, -s.height / 2);
}

// Makes the crop in separate steps, with libyuv's own sampling and colours. A mirrored picture is
// turned upside down before the rotation, by a negative height.
void Crop(const Workspace& s, libyuv::RotationMode mode, bool mirrored) {
  const int width = s.width / 2;
  const int height = s.height / 2;
  const int columns = IsTurned(mode) ? height : width;
  const int rows = IsTurned(mode) ? width : height;
  const int turned_height = mirrored ? -height : height;
  const bool stays = mode == libyuv::kRotate0;
  uint8_t* const u = s.scratch.data();
  uint8_t* const v = u + s.pixels() / 4;
  uint8_t* const half_luma = v + s.pixels() / 4;
  uint8_t* const gray = s.to();
  uint8_t* const rgb = s.to() + static_cast<std::ptrdiff_t>(width) * height;
  libyuv::ScalePlane(s.luma(), s.width, s.width, s.height, stays ? gray : half_luma, width, width,
                     height, libyuv::kFilterNone);
  if (!stays) libyuv::RotatePlane(half_luma, width, gray, columns, width, turned_height, mode);
  libyuv::SplitRotateUV(s.chroma(), s.width, u, columns, v, columns, width, turned_height, mode);
  libyuv::I444ToRGB24(gray, columns, u, columns, v, columns, rgb, 3 * columns, columns, rows);
}

void Shrink(const Workspace& s, int factor) {
  libyuv::ScalePlane(s.luma(), s.width, s.width, s.height, s.to(), s.width / factor,
                     s.width / factor, s.height / factor, libyuv::kFilterBox);
}

std::vector<Contender> Rotations(const Workspace& s, int degrees) {
  const libyuv::RotationMode mode = ModeOf(degrees);
  std::vector<Contender> ways = {{kLibyuv, [&s, mode] { Rotate(s, mode); }},
                                 {"libyuv, split chroma", [&s, mode] { RotateSplit(s, mode); }}};
  if (degrees == 180) ways.push_back({"libyuv, mirrored copy", [&s] { Mirror(s); }});
  return ways;
}

std::vector<Contender> ContendersFor(const Workspace& space, const Task& task) {
  const int parameter = task.parameter;
  const bool mirrored = task.work == Work::kCropMirrored;
  const auto copy = [&space](const Block& from, const Block& to, int pitch) {
    return [&, pitch] { Copy(from, to, space.width, space.height, pitch); };
  };
  switch (task.work) {
    case Work::kCopy:
      if (parameter != 0) return Rotations(space, parameter);
      return {{kLibyuv, copy(space.source, space.destination, space.width)}};
    case Work::kCopyPadded:
      return {{kLibyuv, copy(space.padded_source, space.padded_destination, space.padded_pitch)}};
    case Work::kShrink:
      return {{kLibyuv, [&space, parameter] { Shrink(space, parameter); }}};
    case Work::kCrop:
    case Work::kCropMirrored:
      return {
          {kLibyuv, [&space, mirrored, mode = ModeOf((parameter + (mirrored ? 270 : 90)) % 360)] {
             Crop(space, mode, mirrored);
           }}};
    default:
      return {};
  }
}

[[maybe_unused]] const bool g_is_added =
    AddPeers({"libyuv " + std::to_string(LIBYUV_VERSION), ContendersFor});

}  // namespace
}  // namespace bench
