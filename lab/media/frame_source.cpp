// SPDX-License-Identifier: Apache-2.0
#include "media/frame_source.h"

#include <cstddef>
#include <cstring>
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
  explicit StillSource(Nv12Frame still) : still_(std::move(still)) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    *at_end = false;
    *frame = still_;
    return std::nullopt;
  }
  common::Failure Skip(int64_t) override { return std::nullopt; }
  bool IsEndless() const override { return true; }
  int Width() const override { return still_.width; }
  int Height() const override { return still_.height; }

 private:
  Nv12Frame still_;
};

class SceneSource final : public FrameSource {
 public:
  explicit SceneSource(const FrameSourceOptions& options)
      : options_(options),
        scene_(options.width, options.height, options.stride, options.scene_faces) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    *at_end = false;
    faces_ = SceneFaces(options_.width, options_.height, options_.scene_faces, index_);
    scene_.Draw(index_++, frame);
    return std::nullopt;
  }
  common::Failure Skip(int64_t count) override {
    index_ += count;
    return std::nullopt;
  }
  std::vector<common::Rect> Faces() const override { return faces_; }
  bool IsEndless() const override { return true; }
  int Width() const override { return options_.width; }
  int Height() const override { return options_.height; }

 private:
  FrameSourceOptions options_;
  Scene scene_;
  int64_t index_ = 0;
  std::vector<common::Rect> faces_;
};

class Y4mSource final : public FrameSource {
 public:
  Y4mSource(std::unique_ptr<ByteReader> reader, const Y4mHeader& header, std::string name,
            int stride)
      : reader_(std::move(reader)), header_(header), name_(std::move(name)), stride_(stride) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    common::Failure failure = ReadY4mFrame(*reader_, header_, index_++, &planes_, at_end);
    if (failure) return common::FailAbout(name_, failure);
    if (*at_end) return std::nullopt;
    return PlanarToNv12(planes_.data(), header_.layout, header_.range, header_.width,
                        header_.height, stride_, frame);
  }
  std::string Rate() const override { return header_.rate; }
  int Width() const override { return header_.width; }
  int Height() const override { return header_.height; }

 private:
  std::unique_ptr<ByteReader> reader_;
  Y4mHeader header_;
  std::string name_;
  int stride_;
  int64_t index_ = 0;
  std::vector<uint8_t> planes_;
};

class RawSource final : public FrameSource {
 public:
  RawSource(std::unique_ptr<ByteReader> reader, const FrameSourceOptions& options, std::string name)
      : reader_(std::move(reader)), options_(options), name_(std::move(name)) {}
  common::Failure Next(Nv12Frame* frame, bool* at_end) override {
    uint8_t first = 0;
    *at_end = reader_->Peek(&first, 1) == 0;
    common::Failure failure = *at_end ? reader_->ReadFailure() : ReadFrame();
    if (failure) return common::FailAbout(name_, failure);
    if (*at_end) return std::nullopt;
    return DenseToNv12(dense_.data(), Width(), Height(), options_.stride, frame);
  }
  int Width() const override { return options_.width; }
  int Height() const override { return options_.height; }

 private:
  common::Failure ReadFrame() {
    return ReadExactly(*reader_, DenseNv12Size(Width(), Height()),
                       "frame " + std::to_string(index_++), &dense_);
  }

  std::unique_ptr<ByteReader> reader_;
  FrameSourceOptions options_;
  std::string name_;
  int64_t index_ = 0;
  std::vector<uint8_t> dense_;
};

std::string NameOf(const FrameSourceOptions& options) {
  return options.input == "-" ? "standard input" : options.input;
}

enum class Format { kUnknown, kPicture, kY4m, kEmpty };

Format DetectFormat(ByteReader& reader) {
  uint8_t begin[ByteReader::kMaxPeek];
  const std::size_t size = reader.Peek(begin, sizeof begin);
  if (size == 0) return Format::kEmpty;
  if (DetectPictureFormat(begin, size) != PictureFormat::kUnknown) return Format::kPicture;
  const bool is_y4m =
      size >= kY4mSignatureSize && std::memcmp(begin, kY4mSignature, kY4mSignatureSize) == 0;
  return is_y4m ? Format::kY4m : Format::kUnknown;
}

common::Failure OpenPicture(ByteReader& reader, int stride, std::unique_ptr<FrameSource>* source) {
  std::vector<uint8_t> bytes;
  Picture picture;
  Nv12Frame still;
  common::Failure failure = ReadToEnd(reader, kMaxPictureFile, &bytes);
  if (!failure) failure = DecodePicture(bytes.data(), bytes.size(), &picture);
  if (!failure) failure = PictureToNv12(picture, stride, &still);
  if (!failure) *source = std::make_unique<StillSource>(std::move(still));
  return failure;
}

common::Failure OpenY4m(std::unique_ptr<ByteReader> reader, const FrameSourceOptions& options,
                        std::unique_ptr<FrameSource>* source) {
  Y4mHeader header;
  common::Failure failure = ReadY4mHeader(*reader, &header);
  if (!failure) failure = CheckFrameShape(header.width, header.height, options.stride);
  if (failure) return failure;
  *source = std::make_unique<Y4mSource>(std::move(reader), header, NameOf(options), options.stride);
  return std::nullopt;
}

common::Failure OpenRaw(std::unique_ptr<ByteReader> reader, const FrameSourceOptions& options,
                        std::unique_ptr<FrameSource>* source) {
  common::Failure failure = CheckFrameShape(options.width, options.height, options.stride);
  if (failure) return failure;
  *source = std::make_unique<RawSource>(std::move(reader), options, NameOf(options));
  return std::nullopt;
}

common::Failure OpenByContent(std::unique_ptr<ByteReader> reader, const FrameSourceOptions& options,
                              std::unique_ptr<FrameSource>* source) {
  const bool has_size = options.width != 0 || options.height != 0;
  const Format format = DetectFormat(*reader);
  if (common::Failure failure = reader->ReadFailure()) return failure;
  if (format == Format::kEmpty) return common::Fail("the file is empty");
  if (format == Format::kUnknown) {
    if (has_size) return OpenRaw(std::move(reader), options, source);
    uint8_t begin[8] = {};
    const bool is_mp4 = reader->Peek(begin, 8) == 8 && std::memcmp(begin + 4, "ftyp", 4) == 0;
    return common::Fail(is_mp4 ? "is MP4: ffmpeg -i FILE -f yuv4mpegpipe - | camsim --input -"
                               : "neither PNG, JPEG nor Y4M; raw NV12 needs a size");
  }
  if (has_size) return common::FailUsage("carries its own size; a size goes with raw NV12 only");
  if (format == Format::kY4m) return OpenY4m(std::move(reader), options, source);
  return OpenPicture(*reader, options.stride, source);
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
  if (options.scene_faces < 1 || options.scene_faces > kMaxSceneFaces) {
    return common::Fail("built-in scene: has 1 to 3 faces");
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
