// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_FRAME_SOURCE_H_
#define ZY_MEDIA_FRAME_SOURCE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.h"
#include "common/geometry.h"
#include "media/byte_reader.h"
#include "media/nv12.h"

namespace media {

// A source of preview frames, all of one shape. One thread at a time.
class FrameSource {
 public:
  virtual ~FrameSource() = default;

  // Reads the next frame into `frame`, reusing its memory. At the end it sets `at_end` (false
  // otherwise) and leaves the frame unchanged. A failure ends the source; later calls return
  // nothing useful.
  virtual common::Failure Next(Nv12Frame* frame, bool* at_end) = 0;

  // Skips `count` frames, or the remaining ones if there are fewer. Fails when the program is
  // interrupted.
  virtual common::Failure Skip(int64_t count);

  // Returns the known faces of the latest frame, in its pixels: those of the built-in scene. Other
  // sources return none.
  virtual std::vector<common::Rect> Faces() const { return {}; }

  // Returns whether frames repeat without end, as for a picture and the scene.
  bool IsEndless() const { return is_endless_; }

  // Returns frames per second, as a ratio.
  const std::string& Rate() const { return rate_; }

  // Size of every frame in pixels.
  int Width() const { return width_; }
  int Height() const { return height_; }

 protected:
  FrameSource(int width, int height, bool is_endless, std::string rate = "30:1")
      : width_(width), height_(height), is_endless_(is_endless), rate_(std::move(rate)) {}

 private:
  const int width_, height_;
  const bool is_endless_;
  const std::string rate_;
};

struct FrameSourceOptions {
  // A path; "-" for standard input; empty for the built-in scene.
  std::string input;
  // Size of raw NV12 input, or of the scene, where 0x0 means 1280x720. Other inputs carry their
  // size; giving one for them is a failure.
  int width = 0;
  int height = 0;
  // Row pitch of the frames in bytes; 0 for DefaultStride.
  int stride = 0;
};

// Opens the source that the options name. A file's first bytes give its format: PNG and JPEG
// pictures repeat without end, Y4M gives its frames. With a size given, bytes of no known format
// are NV12 frames without padding. Sizes, strides, headers and pictures are checked here, frames of
// streams as they arrive. Every message begins with the input's name.
common::Failure OpenFrameSource(const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source);

// Does the same for an open reader; `options.input` serves as its name only.
common::Failure OpenFrameSource(std::unique_ptr<ByteReader> reader,
                                const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source);

}  // namespace media

#endif  // ZY_MEDIA_FRAME_SOURCE_H_
