// SPDX-License-Identifier: Apache-2.0
#include "media/y4m_writer.h"

#include <cerrno>
#include <cstring>
#include <vector>

namespace media {
namespace {

common::Failure Check(std::FILE* to) {
  if (std::ferror(to) == 0) return std::nullopt;
  return errno != 0 ? common::SystemFailure("cannot write") : common::Fail("cannot write");
}

}  // namespace

common::Failure WriteY4mHeader(int width, int height, const std::string& rate, std::FILE* to) {
  std::fprintf(to, "YUV4MPEG2 W%d H%d F%s Ip A1:1 C420jpeg XCOLORRANGE=LIMITED\n", width, height,
               rate.c_str());
  return Check(to);
}

common::Failure WriteY4mFrame(const Nv12Frame& frame, std::FILE* to) {
  std::fputs("FRAME\n", to);
  for (int y = 0; y < frame.height; ++y) {
    std::fwrite(frame.Luma() + std::ptrdiff_t{y} * frame.stride, 1,
                static_cast<std::size_t>(frame.width), to);
  }
  std::vector<uint8_t> row(static_cast<std::size_t>(common::HalfUp(frame.width)));
  for (int member = 0; member < 2; ++member) {
    for (int y = 0; y < common::HalfUp(frame.height); ++y) {
      const uint8_t* const pairs = frame.Chroma() + std::ptrdiff_t{y} * frame.stride + member;
      for (std::size_t x = 0; x < row.size(); ++x) row[x] = pairs[2 * x];
      std::fwrite(row.data(), 1, row.size(), to);
    }
  }
  return Check(to);
}

}  // namespace media
