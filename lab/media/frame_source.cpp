// SPDX-License-Identifier: Apache-2.0
#include "media/frame_source.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "common/interrupts.h"
#include "media/picture.h"
#include "media/scene.h"
#include "media/y4m.h"

namespace media {
namespace {

constexpr int kDefaultSceneWidth = 1280;
constexpr int kDefaultSceneHeight = 720;

class StillSource final : public FrameSource {
 public:
  explicit StillSource(Nv12Frame still)
      : FrameSource(still.width, still.height, true), still_(std::move(still)) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    *at_end = false;
    *frame = still_;
    return std::nullopt;
  }
  common::Failure Skip(int64_t) override { return std::nullopt; }

 private:
  Nv12Frame still_;
};

class SceneSource final : public FrameSource {
 public:
  explicit SceneSource(const FrameSourceOptions& options)
      : FrameSource(options.width, options.height, true),
        scene_(options.width, options.height, options.stride, kMaxSceneFaces) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    *at_end = false;
    faces_ = scene_.Draw(index_++, frame);
    return std::nullopt;
  }
  common::Failure Skip(int64_t count) override {
    index_ += count;
    return std::nullopt;
  }
  std::vector<common::Rect> Faces() const override { return faces_; }

 private:
  Scene scene_;
  int64_t index_ = 0;
  std::vector<common::Rect> faces_;
};

// The frames of a Y4M stream, or dense NV12 frames, whose header is made from the options.
class StreamSource final : public FrameSource {
 public:
  StreamSource(std::unique_ptr<ByteReader> reader, const Y4mHeader& header, std::string name,
               int stride)
      : FrameSource(header.width, header.height, false, header.rate),
        reader_(std::move(reader)),
        header_(header),
        name_(std::move(name)),
        stride_(stride) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    uint8_t first = 0;
    *at_end = reader_->Peek(&first, 1) == 0;
    common::Failure failure = *at_end ? reader_->ReadFailure() : ReadFrame();
    if (failure) return common::FailAbout(name_, failure);
    if (*at_end) return std::nullopt;
    return PlanarToNv12(planes_.data(), header_.layout, header_.range, Width(), Height(), stride_,
                        frame);
  }

 private:
  common::Failure ReadFrame() {
    const std::string name = "frame " + std::to_string(index_++);
    common::Failure failure;
    if (header_.layout != ChromaLayout::kPairs) failure = ReadY4mFrameHeader(*reader_, name);
    if (failure) return failure;
    return ReadExactly(*reader_, PlanarSize(header_.layout, Width(), Height()), name, &planes_);
  }

  std::unique_ptr<ByteReader> reader_;
  Y4mHeader header_;
  std::string name_;
  int stride_;
  int64_t index_ = 0;
  std::vector<uint8_t> planes_;
};

std::string NameOf(const FrameSourceOptions& options) {
  return options.input == "-" ? "standard input" : options.input;
}

common::Failure OpenPicture(ByteReader& reader, int stride, std::unique_ptr<FrameSource>* source) {
  Picture picture;
  Nv12Frame still;
  common::Failure failure = ReadPicture(reader, &picture);
  if (!failure) failure = PictureToNv12(picture, stride, &still);
  if (!failure) *source = std::make_unique<StillSource>(std::move(still));
  return failure;
}

common::Failure OpenStream(std::unique_ptr<ByteReader> reader, const Y4mHeader& header,
                           const FrameSourceOptions& options,
                           std::unique_ptr<FrameSource>* source) {
  if (common::Failure failure = CheckFrameShape(header.width, header.height, options.stride)) {
    return failure;
  }
  *source =
      std::make_unique<StreamSource>(std::move(reader), header, NameOf(options), options.stride);
  return std::nullopt;
}

common::Failure OpenByContent(std::unique_ptr<ByteReader> reader, const FrameSourceOptions& options,
                              std::unique_ptr<FrameSource>* source) {
  uint8_t bytes[ByteReader::kMaxPeek];
  const std::size_t size = reader->Peek(bytes, sizeof bytes);
  if (common::Failure failure = reader->ReadFailure()) return failure;
  if (size == 0) return common::Fail("the file is empty");
  const std::string_view begin(reinterpret_cast<const char*>(bytes), size);
  const bool is_picture = DetectPictureFormat(bytes, size) != PictureFormat::kUnknown;
  const bool is_y4m = begin.rfind(kY4mSignature, 0) == 0;
  const bool has_size = options.width != 0 || options.height != 0;
  if ((is_picture || is_y4m) && has_size) {
    return common::FailUsage("carries its own size; a size goes with raw NV12 only");
  }
  if (is_picture) return OpenPicture(*reader, options.stride, source);
  Y4mHeader header;
  header.width = options.width;
  header.height = options.height;
  header.layout = ChromaLayout::kPairs;
  if (is_y4m) {
    if (common::Failure failure = ReadY4mHeader(*reader, &header)) return failure;
  } else if (!has_size) {
    const bool is_mp4 = begin.substr(std::min<std::size_t>(size, 4), 4) == "ftyp";
    return common::Fail(is_mp4 ? "is MP4: ffmpeg -i FILE -f yuv4mpegpipe - | camsim --input -"
                               : "neither PNG, JPEG nor Y4M; raw NV12 needs a size");
  }
  return OpenStream(std::move(reader), header, options, source);
}

common::Failure OpenScene(FrameSourceOptions options, std::unique_ptr<FrameSource>* source) {
  if (options.width == 0 && options.height == 0) {
    options.width = kDefaultSceneWidth;
    options.height = kDefaultSceneHeight;
  }
  common::Failure failure = CheckFrameShape(options.width, options.height, options.stride);
  if (failure) return common::FailAbout("built-in scene", failure);
  if (options.width < kMinSceneSide || options.height < kMinSceneSide) {
    return common::FailUsage("built-in scene: has at least " + std::to_string(kMinSceneSide) +
                             " pixels a side");
  }
  *source = std::make_unique<SceneSource>(options);
  return std::nullopt;
}

}  // namespace

common::Failure FrameSource::Skip(int64_t count) {
  common::Failure failure;
  bool at_end = false;
  for (Nv12Frame passed_over; count > 0 && !at_end && !failure; --count) {
    failure = Next(&passed_over, &at_end);
    if (common::Interrupted()) return common::Fail("interrupted");
  }
  return failure;
}

common::Failure OpenFrameSource(const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source) {
  if (options.input.empty()) return OpenScene(options, source);
  std::unique_ptr<ByteReader> reader;
  common::Failure failure = OpenFile(options.input, &reader);
  if (failure) return common::FailAbout(NameOf(options), failure);
  return OpenFrameSource(std::move(reader), options, source);
}

common::Failure OpenFrameSource(std::unique_ptr<ByteReader> reader,
                                const FrameSourceOptions& options,
                                std::unique_ptr<FrameSource>* source) {
  common::Failure failure = OpenByContent(std::move(reader), options, source);
  if (failure) return common::FailAbout(NameOf(options), failure);
  return std::nullopt;
}

}  // namespace media
