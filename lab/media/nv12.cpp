// SPDX-License-Identifier: Apache-2.0
#include "media/nv12.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "common/digest.h"

namespace media {
namespace {

std::size_t ToSize(int length) { return static_cast<std::size_t>(length); }

int ToByteRange(int value) { return std::clamp(value, 0, 255); }

// Applies the BT.601 matrix scaled to 219 luma and 224 chroma steps, in 1/65536.
uint8_t LumaOf(const uint8_t* rgb) {
  constexpr int kOffset = (16 << 16) + (1 << 15);
  return static_cast<uint8_t>((16829 * rgb[0] + 33039 * rgb[1] + 6416 * rgb[2] + kOffset) >> 16);
}

// Computes chroma from colour sums over four pixels. Each sum is at most 1020, so the products stay
// below 2^25 and the offset keeps the total positive.
void ChromaOf(const int sum[3], uint8_t pair[2]) {
  constexpr int kOffset = (128 << 18) + (1 << 17);
  const int u = -9714 * sum[0] - 19070 * sum[1] + 28784 * sum[2] + kOffset;
  const int v = 28784 * sum[0] - 24103 * sum[1] - 4681 * sum[2] + kOffset;
  pair[0] = static_cast<uint8_t>(u >> 18);
  pair[1] = static_cast<uint8_t>(v >> 18);
}

void ChromaRow(const uint8_t* upper, const uint8_t* lower, int width, uint8_t* pairs) {
  for (int x = 0; x < width; x += 2) {
    const std::size_t left = ToSize(x) * 3;
    const std::size_t right = ToSize(std::min(x + 1, width - 1)) * 3;
    int sum[3];
    for (std::size_t c = 0; c < 3; ++c) {
      sum[c] = upper[left + c] + upper[right + c] + lower[left + c] + lower[right + c];
    }
    ChromaOf(sum, pairs + x);
  }
}

void ColourOf(int luma, int u, int v, uint8_t rgb[3]) {
  constexpr int kHalf = 1 << 15;
  const int y = 76309 * (luma - 16) + kHalf;
  // Divided, not shifted: the sums may be negative, and those end at 0 in any case.
  rgb[0] = static_cast<uint8_t>(ToByteRange((y + 104597 * (v - 128)) / 65536));
  rgb[1] = static_cast<uint8_t>(ToByteRange((y - 25675 * (u - 128) - 53279 * (v - 128)) / 65536));
  rgb[2] = static_cast<uint8_t>(ToByteRange((y + 132201 * (u - 128)) / 65536));
}

// Returns the size of a plane of U or V, or of pairs.
common::Size ChromaSize(ChromaLayout layout, int width, int height) {
  if (layout == ChromaLayout::kMono) return {};
  const bool has_all_columns = layout == ChromaLayout::k444;
  const bool has_all_rows = has_all_columns || layout == ChromaLayout::k422;
  return {has_all_columns ? width : common::HalfUp(width),
          has_all_rows ? height : common::HalfUp(height)};
}

void CopyRows(const uint8_t* from, int from_stride, int row_bytes, int rows, uint8_t* to,
              int to_stride) {
  for (int y = 0; y < rows; ++y) {
    std::copy_n(from + ToSize(y) * ToSize(from_stride), row_bytes,
                to + ToSize(y) * ToSize(to_stride));
  }
}

// Fills one member of every pair of the frame from a dense plane with one or two samples per pair
// in each direction.
void ReducePlane(const uint8_t* plane, common::Size size, Nv12Frame* frame, uint8_t* first) {
  const int step_x = size.width == common::HalfUp(frame->width) ? 1 : 2;
  const int step_y = size.height == common::HalfUp(frame->height) ? 1 : 2;
  for (int y = 0; y < common::HalfUp(frame->height); ++y) {
    const int lower_row = std::min(y * step_y + step_y - 1, size.height - 1);
    const uint8_t* upper = plane + ToSize(y * step_y) * ToSize(size.width);
    const uint8_t* lower = plane + ToSize(lower_row) * ToSize(size.width);
    uint8_t* to = first + ToSize(y) * ToSize(frame->stride);
    for (int x = 0; x < common::HalfUp(frame->width); ++x) {
      const int left = x * step_x;
      const int right = std::min(left + step_x - 1, size.width - 1);
      to[ToSize(x) * 2] =
          static_cast<uint8_t>((upper[left] + upper[right] + lower[left] + lower[right] + 2) / 4);
    }
  }
}

// Maps rows of full range to 16 and the given number of steps above it.
void LimitRows(uint8_t* rows, int stride, int row_bytes, int count, int steps) {
  for (int y = 0; y < count; ++y) {
    uint8_t* row = rows + ToSize(y) * ToSize(stride);
    std::transform(row, row + row_bytes, row, [steps](uint8_t full) {
      return static_cast<uint8_t>(16 + (full * steps + 127) / 255);
    });
  }
}

void LimitRange(Nv12Frame* frame) {
  LimitRows(frame->Luma(), frame->stride, frame->width, frame->height, 219);
  LimitRows(frame->Chroma(), frame->stride, 2 * common::HalfUp(frame->width),
            common::HalfUp(frame->height), 224);
}

}  // namespace

common::Failure CheckFrameShape(int width, int height, int stride) {
  if (common::Failure failure = common::CheckSize(width, height)) return failure;
  if (stride != 0 && (stride < 2 * common::HalfUp(width) || stride > kMaxStride)) {
    return common::FailUsage("stride " + std::to_string(stride) + " does not suit width " +
                             std::to_string(width));
  }
  return std::nullopt;
}

common::Failure ShapeFrame(int width, int height, int stride, Nv12Frame* frame) {
  common::Failure failure = CheckFrameShape(width, height, stride);
  if (failure) return failure;
  frame->width = width;
  frame->height = height;
  frame->stride = stride == 0 ? DefaultStride(width) : stride;
  frame->bytes.assign(frame->LumaSize() + frame->ChromaSize(), kPaddingByte);
  return std::nullopt;
}

common::Failure CropFrame(const Nv12Frame& frame, const common::Rect& crop, int stride,
                          Nv12Frame* cropped) {
  if (common::Failure failure = ShapeFrame(crop.w, crop.h, stride, cropped)) return failure;
  const std::size_t stride_size = ToSize(frame.stride), left = ToSize(crop.x);
  CopyRows(frame.Luma() + ToSize(crop.y) * stride_size + left, frame.stride, crop.w, crop.h,
           cropped->Luma(), cropped->stride);
  CopyRows(frame.Chroma() + ToSize(crop.y / 2) * stride_size + left, frame.stride,
           2 * common::HalfUp(crop.w), common::HalfUp(crop.h), cropped->Chroma(), cropped->stride);
  return std::nullopt;
}

std::string PixelDigest(const Nv12Frame& frame) {
  uint64_t digest = common::kEmptyDigest;
  const auto add = [&digest](uint64_t word) {
    digest = common::Extend(digest, word);
    digest ^= digest >> 32;
  };
  const auto add_rows = [&](const uint8_t* row, int rows, int width) {
    for (; rows > 0; --rows, row += frame.stride) {
      int x = 0;
      for (uint64_t word = 0; x + 8 <= width; x += 8) {
        std::memcpy(&word, row + x, sizeof(word));
        add(word);
      }
      for (; x < width; ++x) add(row[x]);
    }
  };
  add_rows(frame.Luma(), frame.height, frame.width);
  add_rows(frame.Chroma(), common::HalfUp(frame.height), 2 * common::HalfUp(frame.width));
  char text[17];
  std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(digest));
  return text;
}

YuvCode CodeOf(Colour colour) {
  const uint8_t rgb[3] = {colour.r, colour.g, colour.b};
  const int sum[3] = {4 * colour.r, 4 * colour.g, 4 * colour.b};
  uint8_t pair[2];
  ChromaOf(sum, pair);
  return {LumaOf(rgb), pair[0], pair[1]};
}

common::Failure PictureToNv12(const Picture& picture, int stride, Nv12Frame* frame) {
  common::Failure failure = ShapeFrame(picture.width, picture.height, stride, frame);
  if (failure) return failure;
  for (int y = 0; y < picture.height; ++y) {
    uint8_t* const luma = frame->Luma() + ToSize(y) * ToSize(frame->stride);
    for (int x = 0; x < picture.width; ++x) luma[x] = LumaOf(picture.Pixel(x, y));
  }
  for (int y = 0; y < picture.height; y += 2) {
    const uint8_t* lower = picture.Pixel(0, std::min(y + 1, picture.height - 1));
    ChromaRow(picture.Pixel(0, y), lower, picture.width,
              frame->Chroma() + ToSize(y / 2) * ToSize(frame->stride));
  }
  return std::nullopt;
}

Picture Nv12ToPicture(const Nv12Frame& frame) {
  Picture picture = MakePicture(frame.width, frame.height);
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* luma = frame.Luma() + ToSize(y) * ToSize(frame.stride);
    const uint8_t* chroma = frame.Chroma() + ToSize(y / 2) * ToSize(frame.stride);
    for (int x = 0; x < frame.width; ++x) {
      const uint8_t* pair = chroma + ToSize(x / 2) * 2;
      ColourOf(luma[x], pair[0], pair[1], picture.Pixel(x, y));
    }
  }
  return picture;
}

std::size_t PlanarSize(ChromaLayout layout, int width, int height) {
  const common::Size chroma = ChromaSize(layout, width, height);
  return ToSize(width) * ToSize(height) + 2 * ToSize(chroma.width) * ToSize(chroma.height);
}

common::Failure PlanarToNv12(const uint8_t* planes, ChromaLayout layout, ColourRange range,
                             int width, int height, int stride, Nv12Frame* frame) {
  common::Failure failure = ShapeFrame(width, height, stride, frame);
  if (failure) return failure;
  const int pair_bytes = 2 * common::HalfUp(width), pair_rows = common::HalfUp(height);
  const uint8_t* const chroma = planes + ToSize(width) * ToSize(height);
  CopyRows(planes, width, width, height, frame->Luma(), frame->stride);
  if (layout == ChromaLayout::kMono) {
    const std::vector<uint8_t> neutral(ToSize(pair_bytes), 128);
    CopyRows(neutral.data(), 0, pair_bytes, pair_rows, frame->Chroma(), frame->stride);
  } else if (layout == ChromaLayout::kPairs) {
    CopyRows(chroma, pair_bytes, pair_bytes, pair_rows, frame->Chroma(), frame->stride);
  } else {
    const common::Size size = ChromaSize(layout, width, height);
    ReducePlane(chroma, size, frame, frame->Chroma());
    ReducePlane(chroma + ToSize(size.width) * ToSize(size.height), size, frame,
                frame->Chroma() + 1);
  }
  if (range == ColourRange::kFull) LimitRange(frame);
  return std::nullopt;
}

}  // namespace media
