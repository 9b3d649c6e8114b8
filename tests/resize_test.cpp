// SPDX-License-Identifier: Apache-2.0
#include "image/resize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "tests/kernel_oracles.h"
#include "tests/kernel_testing.h"

namespace {

using testing_support::Bias;
using testing_support::Downscaler;
using testing_support::FillRandom;
using testing_support::GuardedBytes;
using testing_support::kDownscalers;

class Downscalers : public testing::TestWithParam<Downscaler> {};

// The source and destination end at the last byte that the walk touches, and at a guard page.
void CompareWithMeans(const Downscaler& d, int width, int height, int stride, Bias bias,
                      std::mt19937& random) {
  constexpr int kMargin = 16;
  const testing_support::ResizeWalk walk = WalkOf(d, width, height, stride);
  GuardedBytes source(walk.Source().Bytes());
  FillRandom(source, bias, random);
  const uint8_t* src = source.data() - walk.Source().lowest;
  GuardedBytes destination(kMargin + walk.OutputBytes());
  for (const uint8_t before : {uint8_t{0}, uint8_t{255}}) {
    std::vector<uint8_t> expected(destination.size(), before);
    ShrinkNaively(walk, src, expected.data() + kMargin);
    destination.Fill(before);
    d.run(src, destination.data() + kMargin, width, height, stride);
    ASSERT_TRUE(std::equal(expected.begin(), expected.end(), destination.data()))
        << width << "x" << height << ", stride " << stride;
  }
}

TEST_P(Downscalers, EveryOutputIsTheMeanOfItsBlock) {
  std::mt19937 random(3);
  int turn = 0;
  for (int width = 1; width <= 70; ++width) {
    for (int height = 1; height <= 20; ++height) {
      for (const int stride : {width, width + 5, 96, -width - 1}) {
        const auto bias = static_cast<Bias>(turn++ % 3);
        CompareWithMeans(GetParam(), width, height, stride, bias, random);
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST_P(Downscalers, WideRowsMatchToo) {
  std::mt19937 random(4);
  for (const int width : {128, 136, 250, 256, 328, 1080}) {
    CompareWithMeans(GetParam(), width, 17, width + 3, Bias::kUniform, random);
  }
}

TEST_P(Downscalers, NoSizeAndNoNullPlaneTouchesMemory) {
  GuardedBytes nothing(0);
  uint8_t* const guard = nothing.data();
  for (const int bad : {INT_MIN, -8, 0}) {
    GetParam().run(guard, guard, bad, 64, 64);
    GetParam().run(guard, guard, 64, bad, 64);
  }
  GetParam().run(nullptr, guard, 64, 64, 64);
  GetParam().run(guard, nullptr, 64, 64, 64);
}

TEST_P(Downscalers, RowsMayLieGigabytesApart) {
  constexpr std::size_t kStride = std::size_t{1} << 30;
  constexpr int kWidth = 16;
  const auto rows = static_cast<std::size_t>(GetParam().factor);
  void* const memory = mmap(nullptr, rows * kStride, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) GTEST_SKIP() << "no address space for it";
  auto* const src = static_cast<uint8_t*>(memory);
  for (std::size_t r = 0; r < rows; ++r) std::memset(src + r * kStride, 200, kWidth);
  uint8_t dst[kWidth / 2] = {};
  GetParam().run(src, dst, kWidth, GetParam().factor, 1 << 30);
  EXPECT_EQ(dst[0], 200);
  munmap(memory, rows * kStride);
}

INSTANTIATE_TEST_SUITE_P(All, Downscalers, testing::ValuesIn(kDownscalers), [](const auto& run) {
  std::string name = run.param.name;
  name.erase(std::remove_if(name.begin(), name.end(), [](char c) { return c == ' ' || c == ','; }),
             name.end());
  return name;
});

// Byte values are column numbers, so that an output tells where its block began.
TEST(BlockDownscalers, DriftWhenTheWidthIsNoMultipleOfEight) {
  uint8_t src[16 * 32];
  for (int i = 0; i < 16 * 32; ++i) src[i] = static_cast<uint8_t>(8 * (i % 32));
  uint8_t half[24];
  resize_halfUseNeon(src, half, 20, 4, 32);
  EXPECT_EQ(half[0], 4);            // columns 0 and 1
  EXPECT_EQ(half[11], 8 * 22 + 4);  // twelve outputs from a row of 20
  EXPECT_EQ(half[12], 8 * 4 + 4);   // the second row begins at column 4
  uint8_t eighth[2];
  resize_eighthUseNeon(src + 4, eighth, 12, 16, 32);
  EXPECT_EQ(eighth[0], 8 * 4 + 28);  // columns 4 to 11
  EXPECT_EQ(eighth[1], 28);          // 4 columns further left
}

}  // namespace
