// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "image/variants.h"
#include "image/zy_copy_buffer.h"
#include "tests/kernel_oracles.h"
#include "tests/kernel_testing.h"

namespace {

using std::ptrdiff_t;
using testing_support::CopyNaively;
using testing_support::GuardedBytes;

constexpr int32_t kFormat = kZyFormatYuv420SemiPlanar;
constexpr int kRotations[] = {0, 90, 180, 270, 360, 450, -90, -180, -270, -360};

// An image whose planes end with the last byte of their last row, at unreadable memory. Ahead of
// them are some bytes that nobody may write to.
class GuardedImage {
 public:
  GuardedImage(int width, int height, int padding)
      : record_{kFormat, width, height, {width + padding, width / 2 * 2 + padding, 0, 0}, {}},
        luma_(Size(width, height, record_.stride[0])),
        chroma_(Size(width / 2 * 2, height / 2, record_.stride[1])) {
    record_.plane[0] = luma_.data() + kAhead;
    record_.plane[1] = chroma_.data() + kAhead;
  }

  ZyImageBuffer& record() { return record_; }
  GuardedBytes& luma() { return luma_; }
  GuardedBytes& chroma() { return chroma_; }
  void Fill(uint8_t value) {
    luma_.Fill(value);
    chroma_.Fill(value);
  }
  bool operator==(const GuardedImage& other) const {
    return std::memcmp(luma_.data(), other.luma_.data(), luma_.size()) == 0 &&
           std::memcmp(chroma_.data(), other.chroma_.data(), chroma_.size()) == 0;
  }

 private:
  static constexpr std::size_t kAhead = 64;

  static std::size_t Size(int row_bytes, int rows, int stride) {
    if (row_bytes == 0 || rows == 0) return kAhead;
    return kAhead + static_cast<std::size_t>((rows - 1) * stride + row_bytes);
  }

  ZyImageBuffer record_;
  GuardedBytes luma_;
  GuardedBytes chroma_;
};

class CopyBuffer : public testing::TestWithParam<KernelVariant> {
 protected:
  int32_t Copy(ZyImageBuffer& dst, const ZyImageBuffer& src, int32_t rotation) const {
    return ZyCopyBufferVariant(GetParam(), &dst, &src, rotation);
  }

  // Both images are compared to the last byte, so that bytes written in excess show as well.
  void CheckSize(int width, int height) {
    GuardedImage source(width, height, (width + height) % 3 * 5);
    FillRandom(source.luma(), testing_support::Bias::kUniform, random_);
    FillRandom(source.chroma(), testing_support::Bias::kUniform, random_);
    for (const int rotation : kRotations) {
      const bool turned = rotation % 180 != 0 && rotation > 0;
      const int padding = (width + height / 2 + rotation / 90 + 4) % 3 * 7;
      GuardedImage actual(turned ? height : width, turned ? width : height, padding);
      GuardedImage expected(turned ? height : width, turned ? width : height, padding);
      for (const uint8_t fill : {uint8_t{0x5a}, uint8_t{0xa5}}) {
        actual.Fill(fill);
        expected.Fill(fill);
        CopyNaively(expected.record(), source.record(), rotation);
        ASSERT_EQ(Copy(actual.record(), source.record(), rotation), 1);
        ASSERT_TRUE(actual == expected) << width << "x" << height << " by " << rotation;
      }
    }
  }

  std::mt19937 random_{1};
};

TEST_P(CopyBuffer, PutsEveryElementInItsPlace) {
  for (int height = 1; height <= 20; ++height) {
    for (int width = 1; width <= 70; ++width) CheckSize(width, height);
  }
  const int larger[][2] = {{130, 67}, {64, 64}, {128, 48}, {33, 65}, {19, 130}, {257, 34}};
  for (const auto& [width, height] : larger) CheckSize(width, height);
}

// Two images somewhere in one piece of memory: overlapping planes, any pitches, any shapes.
struct Placement {
  int32_t source_width, source_height;
  bool transposed;
  int32_t source_pitch, destination_pitch;
  ptrdiff_t distance;  // from a source plane to the destination's
};

TEST_P(CopyBuffer, KeepsTheOrderWhereItMatters) {
  constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
  constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
  // In place, and shifted so that elements are overwritten before they are read; planes that just
  // overlap and that just do not; rows that overlap each other, or run from bottom to top, or are
  // one; shapes that do not suit all rotations.
  const Placement placements[] = {{48, 40, false, 48, 48, 0},      {48, 40, false, 48, 48, 1},
                                  {48, 40, false, 48, 48, -1},     {48, 40, true, 64, 48, 96},
                                  {48, 40, true, 64, 48, 2543},    {48, 40, false, 48, 48, -1911},
                                  {40, 40, false, 40, 40, 1599},   {40, 40, false, 40, 40, -1599},
                                  {40, 40, false, 40, 40, 1600},   {40, 40, false, 40, 40, -1600},
                                  {40, 48, false, 40, 48, -2280},  {48, 40, true, 48, 48, -1920},
                                  {48, 40, false, 48, 48, 950},    {48, 40, false, 48, 30, 20000},
                                  {48, 40, true, 48, 30, 20000},   {40, 48, true, 40, 44, 20000},
                                  {48, 40, false, 20, 64, 20000},  {48, 40, false, -50, 48, 20000},
                                  {48, 40, false, 48, -52, 20000}, {48, 40, false, 0, 0, 20000},
                                  {1, 1, false, kMin, kMax, 9},    {48, 40, false, 64, 64, 20000},
                                  {48, 40, true, 64, 64, 20000}};
  constexpr ptrdiff_t kLuma = 30000, kChroma = 80000;
  std::vector<uint8_t> fresh(120000);
  for (uint8_t& byte : fresh) byte = static_cast<uint8_t>(random_());
  for (const Placement& at : placements) {
    for (const int rotation : kRotations) {
      const auto source = [&](std::vector<uint8_t>& memory) {
        const int32_t pitch = at.source_pitch;
        return ZyImageBuffer{kFormat,
                             at.source_width,
                             at.source_height,
                             {pitch, pitch},
                             {memory.data() + kLuma, memory.data() + kChroma}};
      };
      const auto destination = [&](std::vector<uint8_t>& memory) {
        ZyImageBuffer record = source(memory);
        if (at.transposed) std::swap(record.width, record.height);
        record.stride[0] = record.stride[1] = at.destination_pitch;
        for (int p = 0; p < 2; ++p) record.plane[p] += at.distance;
        return record;
      };
      std::vector<uint8_t> expected = fresh;
      std::vector<uint8_t> actual = fresh;
      CopyNaively(destination(expected), source(expected), rotation);
      ZyImageBuffer dst = destination(actual);
      ASSERT_EQ(Copy(dst, source(actual), rotation), 1);
      ASSERT_TRUE(actual == expected) << "placement " << &at - placements << " by " << rotation;
    }
  }
}

TEST_P(CopyBuffer, RefusesWithoutWriting) {
  GuardedImage source(6, 4, 0), destination(6, 4, 0), untouched(6, 4, 0);
  source.Fill(1);
  destination.Fill(2);
  untouched.Fill(2);
  const auto refuses = [&](auto change, int32_t rotation = 0) {
    ZyImageBuffer dst = destination.record();
    ZyImageBuffer src = source.record();
    change(dst, src);
    return Copy(dst, src, rotation) == 0 && destination == untouched;
  };
  for (const int32_t rotation : {1, 45, -45, 89, 359, std::numeric_limits<int32_t>::min()}) {
    EXPECT_TRUE(refuses([](auto&, auto&) {}, rotation)) << rotation;
  }
  EXPECT_TRUE(refuses([](auto& dst, auto&) { dst.format = 2; }));
  EXPECT_TRUE(refuses([](auto&, auto& src) { src.format = 0; }));
  EXPECT_TRUE(refuses([](auto& dst, auto&) { dst.width = 4; }));
  EXPECT_TRUE(refuses([](auto& dst, auto&) { dst.height = 6; }));
  for (int p = 0; p < 2; ++p) {
    EXPECT_TRUE(refuses([p](auto& dst, auto&) { dst.plane[p] = nullptr; })) << p;
    EXPECT_TRUE(refuses([p](auto&, auto& src) { src.plane[p] = nullptr; })) << p;
  }
  EXPECT_EQ(ZyCopyBuffer(nullptr, &source.record(), 0), 0);
  EXPECT_EQ(ZyCopyBuffer(&destination.record(), nullptr, 0), 0);
}

TEST_P(CopyBuffer, DoesNotLookAtPlanesItHasNoUseFor) {
  for (const int rotation : kRotations) {
    for (const auto& [width, height] : {std::pair(4, 1), {1, 4}, {0, 4}, {4, 0}, {-4, -4}}) {
      const bool empty = width < 1 || height < 1;
      uint8_t from[4] = {1, 2, 3, 4}, to[16] = {};
      const ZyImageBuffer src = {kFormat, width, height, {1}, {empty ? nullptr : from}};
      ZyImageBuffer dst = {kFormat, width, height, {4}, {empty ? nullptr : to}};
      EXPECT_EQ(Copy(dst, src, rotation), 1) << width << "x" << height << " by " << rotation;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, CopyBuffer,
                         testing::Values(KernelVariant::kScalar, KernelVariant::kVector),
                         [](const auto& variant) {
                           return variant.param == KernelVariant::kScalar ? "Scalar" : "Vector";
                         });

}  // namespace
