// SPDX-License-Identifier: Apache-2.0
#include "media/jpeg_header.h"

#include <algorithm>
#include <cstring>

namespace media {
namespace {

constexpr uint8_t kFill = 0xff;
constexpr uint8_t kApplication1 = 0xe1;
constexpr uint8_t kStartOfScan = 0xda;

bool HasNoBody(uint8_t marker) { return marker == 0x01 || (marker >= 0xd0 && marker <= 0xd7); }

bool IsArithmeticFrame(uint8_t marker) {
  return marker >= 0xc9 && marker <= 0xcf && marker != 0xcc;
}

// The body of an Exif segment: a header, then directories of 12-byte entries, in the byte order of
// its first letter. Offsets count from that letter. Bytes outside read as 0.
class ExifBlock {
 public:
  ExifBlock(const uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  int Orientation() const {
    constexpr uint32_t kOrientationTag = 0x112;
    constexpr std::size_t kEntrySize = 12;
    const std::size_t directory = Word(4);
    const uint32_t entries = Short(directory);
    for (uint32_t i = 0; i < entries; ++i) {
      const std::size_t entry = directory + 2 + i * kEntrySize;
      if (entry + kEntrySize > size_) break;
      if (Short(entry) != kOrientationTag) continue;
      const uint32_t value = Short(entry + 8);
      return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
    }
    return 1;
  }

 private:
  uint32_t Short(std::size_t at) const {
    if (at + 2 > size_) return 0;
    const uint32_t first = bytes_[at], second = bytes_[at + 1];
    return bytes_[0] == 'M' ? first << 8 | second : second << 8 | first;
  }
  uint32_t Word(std::size_t at) const {
    return bytes_[0] == 'M' ? Short(at) << 16 | Short(at + 2) : Short(at + 2) << 16 | Short(at);
  }

  const uint8_t* bytes_;
  std::size_t size_;
};

int OrientationOf(const uint8_t* body, std::size_t size) {
  constexpr uint8_t kExif[] = {'E', 'x', 'i', 'f', 0, 0};
  if (size <= sizeof kExif || std::memcmp(body, kExif, sizeof kExif) != 0) return 1;
  return ExifBlock(body + sizeof kExif, size - sizeof kExif).Orientation();
}

}  // namespace

JpegHeader ReadJpegHeader(const uint8_t* bytes, std::size_t size) {
  JpegHeader header;
  std::size_t at = 2;
  while (at + 4 <= size && bytes[at] == kFill) {
    const uint8_t marker = bytes[at + 1];
    if (marker == kFill || HasNoBody(marker)) {
      at += marker == kFill ? 1 : 2;
      continue;
    }
    if (marker == kStartOfScan) break;
    header.is_arithmetic |= IsArithmeticFrame(marker);
    const std::size_t length = std::size_t{bytes[at + 2]} * 256 + bytes[at + 3];
    if (marker == kApplication1 && length > 2 && header.orientation == 1) {
      header.orientation = OrientationOf(bytes + at + 4, std::min(length - 2, size - at - 4));
    }
    at += 2 + length;
  }
  return header;
}

}  // namespace media
