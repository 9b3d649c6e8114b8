// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_FRAME_SOURCE_H_
#define ZY_MEDIA_FRAME_SOURCE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/failure.h"
#include "common/geometry.h"
#include "media/byte_reader.h"
#include "media/nv12.h"

namespace media {

// Where preview frames come from. All frames of a source have one shape. One thread at a time.
class FrameSource {
 public:
  virtual ~FrameSource() = default;

  // Puts the next frame into `frame`, reusing its memory. When the source has no more, sets
  // `at_end` (false otherwise) and leaves the frame alone. A failure ends the source: what later
  // calls give is of no use.
  virtual common::Failure Next(Nv12Frame* frame, bool* at_end) = 0;

  // Passes over so many frames; at the source's end over those that are left.
  virtual common::Failure Skip(int64_t count);

  // The faces known to be in the latest frame, in its pixels: those of the built-in scene. Other
  // sources know of none.
  virtual std::vector<common::Rect> Faces() const { return {}; }

  // Whether frames come without end, as those of a picture and of the scene do.
  virtual bool IsEndless() const { return false; }

  // Frames a second, as a ratio.
  virtual std::string Rate() const { return "30:1"; }

  // Size of every frame in pixels.
  virtual int Width() const = 0;
  virtual int Height() const = 0;
};

struct FrameSourceOptions {
  // A path; "-" for standard input; empty for the built-in scene.
  std::string input;
  // Size of raw NV12 input, or of the scene, where 0x0 stands for 1280x720. Other inputs carry
  // their size, and a size given for them is a failure.
  int width = 0;
  int height = 0;
  // Row pitch of the frames in bytes; 0 for DefaultStride.
  int stride = 0;
  // Faces in the scene, 1..kMaxSceneFaces.
  int scene_faces = 3;
};

// Opens the source that the options name. A file's format is told by its first bytes: PNG and JPEG
// pictures repeat without end, Y4M gives its frames. With a size given, bytes of no known format
// are dense NV12 frames (DenseNv12Size bytes each). Sizes, strides, headers and pictures are
// checked here, frames of streams as they come; every message begins with the input's name.
common::Failure OpenFrameSource(const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source);

// As above for bytes that are already at hand; `options.input` serves as their name only.
common::Failure OpenFrameSource(std::unique_ptr<ByteReader> reader,
                                const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source);

}  // namespace media

#endif  // ZY_MEDIA_FRAME_SOURCE_H_
