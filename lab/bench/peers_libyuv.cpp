// SPDX-License-Identifier: Apache-2.0
#include <libyuv.h>

#include <cstddef>

#include "bench/kernel_tasks.h"

namespace bench {
namespace {

// A workspace's memory in libyuv's types.
struct Planes {
  explicit Planes(const Workspace& space)
      : width(space.width),
        height(space.height),
        luma(space.source.data()),
        chroma(luma + space.pixels()),
        to(space.destination.data()),
        to_chroma(to + space.pixels()),
        u(space.scratch.data()),
        v(u + space.pixels() / 4),
        half_luma(v + space.pixels() / 4) {}

  int width, height;
  const uint8_t *luma, *chroma;
  uint8_t *to, *to_chroma;
  uint8_t *u, *v, *half_luma;
};

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

void RotateSplit(const Planes& p, libyuv::RotationMode mode) {
  const int columns = IsTurned(mode) ? p.height : p.width;
  libyuv::NV12ToI420Rotate(p.luma, p.width, p.chroma, p.width, p.to, columns, p.u, columns / 2, p.v,
                           columns / 2, p.width, p.height, mode);
}

// Rotates with split chroma, then merges it: libyuv cannot rotate interleaved chroma.
void Rotate(const Planes& p, libyuv::RotationMode mode) {
  const int columns = IsTurned(mode) ? p.height : p.width;
  const int rows = IsTurned(mode) ? p.width : p.height;
  RotateSplit(p, mode);
  libyuv::MergeUVPlane(p.u, columns / 2, p.v, columns / 2, p.to_chroma, columns, columns / 2,
                       rows / 2);
}

// Rotates by 180 degrees: a mirrored copy of the rows from the last to the first.
void Mirror(const Planes& p) {
  libyuv::MirrorPlane(p.luma, p.width, p.to, p.width, p.width, -p.height);
  libyuv::MirrorUVPlane(p.chroma, p.width, p.to_chroma, p.width, p.width / 2, -p.height / 2);
}

// Makes the crop in separate steps, with libyuv's own sampling and colours. A mirrored picture is
// turned upside down before the rotation, by a negative height.
void Crop(const Planes& p, libyuv::RotationMode mode, bool mirrored) {
  const int width = p.width / 2;
  const int height = p.height / 2;
  const int columns = IsTurned(mode) ? height : width;
  const int rows = IsTurned(mode) ? width : height;
  const int turned_height = mirrored ? -height : height;
  const bool stays = mode == libyuv::kRotate0;
  uint8_t* const gray = p.to;
  uint8_t* const rgb = p.to + static_cast<std::ptrdiff_t>(width) * height;
  libyuv::ScalePlane(p.luma, p.width, p.width, p.height, stays ? gray : p.half_luma, width, width,
                     height, libyuv::kFilterNone);
  if (!stays) libyuv::RotatePlane(p.half_luma, width, gray, columns, width, turned_height, mode);
  libyuv::SplitRotateUV(p.chroma, p.width, p.u, columns, p.v, columns, width, turned_height, mode);
  libyuv::I444ToRGB24(gray, columns, p.u, columns, p.v, columns, rgb, 3 * columns, columns, rows);
}

void Shrink(const Planes& p, int factor) {
  libyuv::ScalePlane(p.luma, p.width, p.width, p.height, p.to, p.width / factor, p.width / factor,
                     p.height / factor, libyuv::kFilterBox);
}

std::vector<Contender> Rotations(const Planes& p, int degrees) {
  const libyuv::RotationMode mode = ModeOf(degrees);
  std::vector<Contender> ways = {{kLibyuv, [p, mode] { Rotate(p, mode); }},
                                 {"libyuv, split chroma", [p, mode] { RotateSplit(p, mode); }}};
  if (degrees == 180) ways.push_back({"libyuv, mirrored copy", [p] { Mirror(p); }});
  return ways;
}

std::vector<Contender> ContendersFor(const Workspace& space, const Task& task) {
  const Planes p(space);
  const int parameter = task.parameter;
  const bool mirrored = task.work == Work::kCropMirrored;
  const auto copy = [&space](const Block& from, const Block& to, int pitch) {
    return [&, pitch] { Copy(from, to, space.width, space.height, pitch); };
  };
  switch (task.work) {
    case Work::kCopy:
      if (parameter != 0) return Rotations(p, parameter);
      return {{kLibyuv, copy(space.source, space.destination, space.width)}};
    case Work::kCopyPadded:
      return {{kLibyuv, copy(space.padded_source, space.padded_destination, space.padded_pitch)}};
    case Work::kShrink:
      return {{kLibyuv, [p, parameter] { Shrink(p, parameter); }}};
    case Work::kCrop:
    case Work::kCropMirrored:
      return {{kLibyuv, [p, mirrored, mode = ModeOf((parameter + (mirrored ? 270 : 90)) % 360)] {
                 Crop(p, mode, mirrored);
               }}};
    default:
      return {};
  }
}

[[maybe_unused]] const bool g_is_added =
    AddPeers({"libyuv " + std::to_string(LIBYUV_VERSION), ContendersFor});

}  // namespace
}  // namespace bench
