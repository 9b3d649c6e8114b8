// SPDX-License-Identifier: Apache-2.0
#include "media/picture.h"

#include <png.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "common/geometry.h"
#include "media/jpeg_header.h"

namespace media {
namespace {

constexpr std::string_view kPngSignature = "\x89PNG\r\n\x1a\n";
constexpr std::string_view kJpegSignature = "\xff\xd8\xff";

// The largest picture file to read, in bytes.
constexpr std::size_t kMaxPictureFile = std::size_t{1} << 28;

uint32_t BigEndian32(const uint8_t* at) {
  return uint32_t{at[0]} << 24 | uint32_t{at[1]} << 16 | uint32_t{at[2]} << 8 | uint32_t{at[3]};
}

// Returns whether the chunks from the signature to the end chunk are complete. The decoder stops
// after the last row and does not notice a missing rest.
bool HasEveryPngChunk(const uint8_t* bytes, std::size_t size) {
  constexpr std::size_t kChunkFrame = 12;
  std::size_t at = kPngSignature.size();
  while (size - at >= kChunkFrame) {
    const std::size_t body = BigEndian32(bytes + at);
    if (size - at - kChunkFrame < body) return false;
    if (std::memcmp(bytes + at + 4, "IEND", 4) == 0) return true;
    at += kChunkFrame + body;
  }
  return false;
}

// Deflate expands a byte to at most 1032, and a byte holds at most 8 pixels.
constexpr int64_t kPngPixelsPerByte = int64_t{1032} * 8;

// Huffman coding needs at least one bit for each block of 64 pixels.
constexpr int64_t kJpegPixelsPerByte = int64_t{64} * 8;

// Returns whether a file can hold its claimed pixels. This keeps a tiny file from claiming a large
// allocation.
bool CanHoldPixels(std::size_t file_size, int64_t pixels_per_byte, int64_t pixels) {
  return static_cast<int64_t>(file_size) * pixels_per_byte >= pixels;
}

struct PngImage : png_image {
  PngImage() : png_image{} { version = PNG_IMAGE_VERSION; }
  ~PngImage() { png_image_free(this); }
  PngImage(const PngImage&) = delete;
  PngImage& operator=(const PngImage&) = delete;

  common::Failure Failed(const char* doing) const {
    return common::Fail(std::string(doing) + ": " + message);
  }
};

common::Failure DecodePng(const uint8_t* bytes, std::size_t size, Picture* picture) {
  constexpr const char* kDoing = "damaged PNG";
  PngImage image;
  if (png_image_begin_read_from_memory(&image, bytes, size) == 0) return image.Failed(kDoing);
  if (common::Failure failure = common::CheckSize(image.width, image.height)) return failure;
  if (!HasEveryPngChunk(bytes, size) ||
      !CanHoldPixels(size, kPngPixelsPerByte, int64_t{image.width} * int64_t{image.height})) {
    return common::Fail("damaged PNG: the file is cut short");
  }
  image.format = PNG_FORMAT_RGB;
  image.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
  *picture = MakePicture(static_cast<int>(image.width), static_cast<int>(image.height));
  const png_color black = {0, 0, 0};
  if (png_image_finish_read(&image, &black, picture->rgb.data(), 0, nullptr) == 0) {
    return image.Failed(kDoing);
  }
  return std::nullopt;
}

common::Failure DecodeJpeg(const uint8_t* bytes, std::size_t size, Picture* picture) {
  const JpegHeader header = ReadJpegHeader(bytes, size);
  if (header.is_arithmetic) return common::Fail("JPEG with arithmetic coding is not supported");
  const std::unique_ptr<void, int (*)(tjhandle)> decoder(tjInitDecompress(), tjDestroy);
  if (decoder == nullptr) return common::Fail("no JPEG decoder");
  const auto damaged = [&] {
    return common::Fail(std::string("damaged JPEG: ") + tjGetErrorStr2(decoder.get()));
  };
  int width = 0;
  int height = 0;
  int subsampling = 0;
  int colour_space = 0;
  if (tjDecompressHeader3(decoder.get(), bytes, size, &width, &height, &subsampling,
                          &colour_space) != 0) {
    return damaged();
  }
  // The decoder reports 0x0 for a file that ends before its frame header.
  const bool has_size = width != 0 && height != 0;
  common::Failure failure;
  if (has_size) failure = common::CheckSize(width, height);
  if (failure) return failure;
  if (!has_size || !CanHoldPixels(size, kJpegPixelsPerByte, int64_t{width} * height)) {
    return common::Fail("damaged JPEG: the file is cut short");
  }
  if (colour_space == TJCS_CMYK || colour_space == TJCS_YCCK) {
    return common::Fail("JPEG in CMYK, for print, is not supported; it takes one in RGB or gray");
  }
  *picture = MakePicture(width, height);
  if (tjDecompress2(decoder.get(), bytes, size, picture->rgb.data(), width, 0, height, TJPF_RGB,
                    TJFLAG_STOPONWARNING | TJFLAG_LIMITSCANS) != 0) {
    return damaged();
  }
  *picture = TurnUpright(std::move(*picture), header.orientation);
  return std::nullopt;
}

}  // namespace

PictureFormat DetectPictureFormat(const uint8_t* bytes, std::size_t size) {
  const std::string_view begin(reinterpret_cast<const char*>(bytes), size);
  if (begin.rfind(kPngSignature, 0) == 0) return PictureFormat::kPng;
  if (begin.rfind(kJpegSignature, 0) == 0) return PictureFormat::kJpeg;
  return PictureFormat::kUnknown;
}

Picture MakePicture(int width, int height) {
  Picture picture;
  picture.width = width;
  picture.height = height;
  picture.rgb.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3, 0);
  return picture;
}

// Applies 2 (mirrored left to right), 3 (rotated by 180 degrees), 4 (mirrored top to bottom), or 5
// to 8 (the same after columns and rows are exchanged).
Picture TurnUpright(Picture stored, int orientation) {
  if (orientation <= 1 || orientation > 8) return stored;
  const bool swaps = orientation >= 5;
  const bool from_right = orientation == 2 || orientation == 3 || orientation >= 7;
  const bool from_below =
      orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
  Picture upright =
      swaps ? MakePicture(stored.height, stored.width) : MakePicture(stored.width, stored.height);
  for (int y = 0; y < upright.height; ++y) {
    for (int x = 0; x < upright.width; ++x) {
      const int column = swaps ? y : x, row = swaps ? x : y;
      const uint8_t* from = stored.Pixel(from_right ? stored.width - 1 - column : column,
                                         from_below ? stored.height - 1 - row : row);
      std::copy_n(from, 3, upright.Pixel(x, y));
    }
  }
  return upright;
}

common::Failure DecodePicture(const uint8_t* bytes, std::size_t size, Picture* picture) {
  if (size == 0) return common::Fail("the file is empty");
  const PictureFormat format = DetectPictureFormat(bytes, size);
  if (format == PictureFormat::kPng) return DecodePng(bytes, size, picture);
  if (format == PictureFormat::kJpeg) return DecodeJpeg(bytes, size, picture);
  return common::Fail("neither PNG nor JPEG");
}

common::Failure ReadPicture(ByteReader& reader, Picture* picture) {
  std::vector<uint8_t> bytes;
  common::Failure failure = ReadToEnd(reader, kMaxPictureFile, &bytes);
  return failure ? failure : DecodePicture(bytes.data(), bytes.size(), picture);
}

common::Failure ReadPicture(const std::string& path, Picture* picture) {
  std::unique_ptr<ByteReader> reader;
  common::Failure failure = OpenFile(path, &reader);
  if (!failure) failure = ReadPicture(*reader, picture);
  if (failure) return common::FailAbout(path, failure);
  return std::nullopt;
}

common::Failure WritePng(const Picture& picture, common::ReplacedFile* file) {
  PngImage image;
  image.width = static_cast<png_uint_32>(picture.width);
  image.height = static_cast<png_uint_32>(picture.height);
  image.format = PNG_FORMAT_RGB;
  image.flags = PNG_IMAGE_FLAG_FAST;
  const bool written =
      png_image_write_to_stdio(&image, file->File(), 0, picture.rgb.data(), 0, nullptr) != 0;
  if (common::Failure failure = file->Flush()) return failure;
  return written ? std::nullopt : image.Failed("cannot write");
}

Picture Shrink(const Picture& picture, int side) {
  const int n = std::max(1, (std::max(picture.width, picture.height) + side - 1) / side);
  if (n == 1) return picture;
  Picture small = MakePicture(picture.width / n, picture.height / n);
  for (int y = 0; y < small.height; ++y) {
    for (int x = 0; x < 3 * small.width; ++x) {
      int sum = 0;
      for (int i = 0; i < n * n; ++i) sum += picture.Pixel(x / 3 * n + i % n, y * n + i / n)[x % 3];
      small.Pixel(0, y)[x] = static_cast<uint8_t>(sum / (n * n));
    }
  }
  return small;
}

common::Failure EncodeJpeg(const Picture& picture, std::vector<uint8_t>* bytes) {
  const std::unique_ptr<void, int (*)(tjhandle)> encoder(tjInitCompress(), tjDestroy);
  unsigned char* data = nullptr;
  unsigned long size = 0;
  const bool done = encoder != nullptr &&
                    tjCompress2(encoder.get(), picture.rgb.data(), picture.width, 0, picture.height,
                                TJPF_RGB, &data, &size, TJSAMP_420, 85, 0) == 0;
  if (done) bytes->assign(data, data + size);
  tjFree(data);
  return done ? std::nullopt : common::Fail("cannot be encoded as JPEG");
}

}  // namespace media
