// SPDX-License-Identifier: Apache-2.0
#include "image/zy_image_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

// A record with something in every field, to see which ones change.
ZyImageBuffer StaleRecord() {
  static uint8_t elsewhere[4];
  return {
      7, 11, 13, {21, 22, 23, 24}, {&elsewhere[0], &elsewhere[1], &elsewhere[2], &elsewhere[3]}};
}

bool Same(const ZyImageBuffer& a, const ZyImageBuffer& b) {
  return a.format == b.format && a.width == b.width && a.height == b.height &&
         std::equal(a.stride, a.stride + 4, b.stride) && std::equal(a.plane, a.plane + 4, b.plane);
}

TEST(ZyImageBuffer, HoldsBothPlanesInOneBlock) {
  const int32_t sizes[][3] = {{640, 480, 460800}, {5, 3, 22}, {1, 1, 1}, {2, 1, 3}};
  for (const auto& [width, height, block_size] : sizes) {
    ZyImageBuffer expected = StaleRecord();
    ZyImageBuffer buffer = expected;
    ASSERT_EQ(ZyAllocBuffer(&buffer, width, height, kZyFormatYuv420SemiPlanar), 1);
    std::memset(buffer.plane[0], 1, static_cast<std::size_t>(block_size));

    expected.format = 1;
    expected.width = expected.stride[0] = expected.stride[1] = width;
    expected.height = height;
    expected.plane[0] = buffer.plane[0];
    expected.plane[1] = buffer.plane[0] + width * height;
    EXPECT_TRUE(Same(buffer, expected)) << width << "x" << height;

    ZyFreeBuffer(&buffer);
    expected.plane[0] = nullptr;
    EXPECT_TRUE(Same(buffer, expected));
    ZyFreeBuffer(&buffer);
    EXPECT_TRUE(Same(buffer, expected));
  }
  ZyFreeBuffer(nullptr);
}

TEST(ZyImageBuffer, TheLargestSizeIsAllocated) {
  ZyImageBuffer buffer = {};
  EXPECT_EQ(ZyAllocBuffer(&buffer, 715827882, 1, kZyFormatYuv420SemiPlanar), 1);
  ZyFreeBuffer(&buffer);
}

TEST(ZyImageBuffer, OtherFormatsLeaveTheRecordAlone) {
  for (const int32_t format : {0, 2, -1, 17}) {
    ZyImageBuffer buffer = StaleRecord();
    EXPECT_EQ(ZyAllocBuffer(&buffer, 4, 4, format), 0);
    EXPECT_TRUE(Same(buffer, StaleRecord())) << format;
  }
  EXPECT_EQ(ZyAllocBuffer(nullptr, 4, 4, kZyFormatYuv420SemiPlanar), 0);
}

TEST(ZyImageBuffer, ImpossibleSizesEmptyTheRecord) {
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  // 37838 * 37838 * 3 wraps to a small positive number in 32 bits.
  const int32_t sizes[][2] = {{0, 4},         {4, 0},         {-4, 4},      {4, -4},
                              {-4, -4},       {kMax, kMax},   {kMin, kMin}, {kMax, 1},
                              {715827883, 1}, {37838, 37838}, {1, kMax},    {65536, 65536}};
  for (const auto& [width, height] : sizes) {
    ZyImageBuffer expected = StaleRecord();
    ZyImageBuffer buffer = expected;
    EXPECT_EQ(ZyAllocBuffer(&buffer, width, height, kZyFormatYuv420SemiPlanar), 0);
    expected.plane[0] = nullptr;
    EXPECT_TRUE(Same(buffer, expected)) << width << "x" << height;
    std::free(buffer.plane[0]);
  }
}

}  // namespace
