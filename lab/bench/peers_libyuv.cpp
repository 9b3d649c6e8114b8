// SPDX-License-Identifier: Apache-2.0
#include <libyuv.h>

#include <cstddef>

#include "bench/peers.h"

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

  int width;
  int height;
  const uint8_t* luma;
  const uint8_t* chroma;
  uint8_t* to;
  uint8_t* to_chroma;
  uint8_t* u;
  uint8_t* v;
  uint8_t* half_luma;
};

libyuv::RotationMode ModeOf(int rotation) {
  switch (rotation) {
    case 90:
      return libyuv::kRotate90;
    case 180:
      return libyuv::kRotate180;
    case 270:
      return libyuv::kRotate270;
    default:
      return libyuv::kRotate0;
  }
}

bool IsTurned(libyuv::RotationMode mode) {
  return mode == libyuv::kRotate90 || mode == libyuv::kRotate270;
}

void Copy(const uint8_t* from, uint8_t* to, int width, int height, int pitch) {
  const std::ptrdiff_t luma = static_cast<std::ptrdiff_t>(pitch) * height;
  libyuv::NV12Copy(from, pitch, from + luma, pitch, to, pitch, to + luma, pitch, width, height);
}

// Rotates with split chroma, then merges it: libyuv cannot rotate interleaved chroma.
void Rotate(const Planes& p, libyuv::RotationMode mode) {
  const int columns = IsTurned(mode) ? p.height : p.width;
  const int rows = IsTurned(mode) ? p.width : p.height;
  libyuv::NV12ToI420Rotate(p.luma, p.width, p.chroma, p.width, p.to, columns, p.u, columns / 2, p.v,
                           columns / 2, p.width, p.height, mode);
  libyuv::MergeUVPlane(p.u, columns / 2, p.v, columns / 2, p.to_chroma, columns, columns / 2,
                       rows / 2);
}

void RotateSplit(const Planes& p, libyuv::RotationMode mode) {
  const int columns = IsTurned(mode) ? p.height : p.width;
  libyuv::NV12ToI420Rotate(p.luma, p.width, p.chroma, p.width, p.to, columns, p.u, columns / 2, p.v,
                           columns / 2, p.width, p.height, mode);
}

// Rotates by 180 degrees: a mirrored copy of the rows from the last to the first.
void Mirror(const Planes& p) {
  libyuv::MirrorPlane(p.luma, p.width, p.to, p.width, p.width, -p.height);
  libyuv::MirrorUVPlane(p.chroma, p.width, p.to_chroma, p.width, p.width / 2, -p.height / 2);
}

void AddRotations(const Planes& p, Task* task) {
  const libyuv::RotationMode mode = ModeOf(task->parameter);
  task->peers.push_back({kLibyuv, [p, mode] { Rotate(p, mode); }});
  task->peers.push_back({"libyuv, split chroma", [p, mode] { RotateSplit(p, mode); }});
  if (task->parameter == 180) {
    task->peers.push_back({"libyuv, mirrored copy", [p] { Mirror(p); }});
  }
}

// Orientation of a crop's half-size picture: upside down first, if `flip`, then clockwise.
struct Turn {
  bool flip;
  libyuv::RotationMode mode;
};

Turn TurnOf(int orientation, bool mirrored) {
  switch (orientation) {
    case 270:
      return {false, libyuv::kRotate0};
    case 90:
      return {false, libyuv::kRotate180};
    case 0:
      return mirrored ? Turn{true, libyuv::kRotate270} : Turn{false, libyuv::kRotate90};
    default:
      return mirrored ? Turn{true, libyuv::kRotate90} : Turn{false, libyuv::kRotate270};
  }
}

// Makes the crop in separate steps, with libyuv's own sampling and colours.
void Crop(const Planes& p, const Turn& turn) {
  const int width = p.width / 2;
  const int height = p.height / 2;
  const int columns = IsTurned(turn.mode) ? height : width;
  const int rows = IsTurned(turn.mode) ? width : height;
  const int turned_height = turn.flip ? -height : height;
  const bool stays = turn.mode == libyuv::kRotate0;
  uint8_t* const gray = p.to;
  uint8_t* const rgb = p.to + static_cast<std::ptrdiff_t>(width) * height;
  libyuv::ScalePlane(p.luma, p.width, p.width, p.height, stays ? gray : p.half_luma, width, width,
                     height, libyuv::kFilterNone);
  if (!stays) {
    libyuv::RotatePlane(p.half_luma, width, gray, columns, width, turned_height, turn.mode);
  }
  libyuv::SplitRotateUV(p.chroma, p.width, p.u, columns, p.v, columns, width, turned_height,
                        turn.mode);
  libyuv::I444ToRGB24(gray, columns, p.u, columns, p.v, columns, rgb, 3 * columns, columns, rows);
}

void Shrink(const Planes& p, int factor) {
  libyuv::ScalePlane(p.luma, p.width, p.width, p.height, p.to, p.width / factor, p.width / factor,
                     p.height / factor, libyuv::kFilterBox);
}

}  // namespace

void AddLibyuvPeers(const Workspace& space, Task* task) {
  const Planes p(space);
  switch (task->work) {
    case Work::kCopy:
      if (task->parameter != 0) return AddRotations(p, task);
      task->peers.push_back({kLibyuv, [p] { Copy(p.luma, p.to, p.width, p.height, p.width); }});
      break;
    case Work::kCopyPadded:
      task->peers.push_back({kLibyuv, [&space] {
                               Copy(space.padded_source.data(), space.padded_destination.data(),
                                    space.width, space.height, space.padded_pitch);
                             }});
      break;
    case Work::kShrink:
      task->peers.push_back({kLibyuv, [p, factor = task->parameter] { Shrink(p, factor); }});
      break;
    case Work::kCrop:
      task->peers.push_back(
          {kLibyuv, [p, turn = TurnOf(task->parameter, task->mirrored)] { Crop(p, turn); }});
      break;
    default:
      break;
  }
}

std::string LibyuvVersion() { return "libyuv " + std::to_string(LIBYUV_VERSION); }

}  // namespace bench
