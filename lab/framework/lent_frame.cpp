// SPDX-License-Identifier: Apache-2.0
#include "framework/lent_frame.h"

#include <iterator>

#include "common/geometry.h"

namespace framework {
namespace {

std::vector<uint8_t> Noise(std::size_t size) {
  std::vector<uint8_t> noise(size);
  for (std::size_t i = 0; i < size; ++i) noise[i] = static_cast<uint8_t>(i * 37 % 251);
  return noise;
}

}  // namespace

LentFrame::LentFrame(uint32_t width, uint32_t height, uint32_t pitch, Margin margin) {
  for (const std::size_t i : {0U, 1U}) {
    const std::string name = i == 0 ? "the input's plane " : "the output's plane ";
    const std::size_t size = std::size_t{pitch} * height;
    uint8_t* const luma = planes_.emplace_back(name + "0", Noise(size), margin).data();
    const std::size_t half = std::size_t{pitch} * ((height + 1) / 2);
    uint8_t* const chroma = planes_.emplace_back(name + "1", Noise(half), margin).data();
    records_.images[i] = {sizeof(ChiImage), 0, {luma, chroma}};
    records_.buffers[i] = {sizeof(ChiNodeBuffer), 1, {width, height, 0, 0}, 2, pitch,
                           &records_.images[i]};
  }
}

std::string LentFrame::Shape() const {
  const ChiNodeBuffer& buffer = records_.buffers[0];
  return common::SizeText(buffer.format.width, buffer.format.height) + ", pitch " +
         std::to_string(buffer.planeStride);
}

std::string LentFrame::ChangedInput() {
  const int64_t pitch = records_.buffers[0].planeStride;
  for (auto plane = planes_.begin(); plane != std::next(planes_.begin(), 2); ++plane) {
    const auto change = plane->FirstChange();
    if (!change) continue;
    const bool is_padding = *change < 0 || *change % pitch >= records_.buffers[0].format.width;
    return (is_padding ? "the padding of " : "") + plane->name() + " at row " +
           std::to_string(*change / pitch) + ", byte " + std::to_string(*change % pitch);
  }
  return "";
}

void LentFrame::Close() {
  for (LentBytes& plane : planes_) plane.Close();
}

}  // namespace framework
