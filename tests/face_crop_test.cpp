// SPDX-License-Identifier: Apache-2.0
#include "analysis/face_crop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "analysis/variants.h"
#include "tests/kernel_testing.h"

namespace {

using testing_support::Bias;
using testing_support::GuardedBytes;

uint8_t Clip(int k) {
  return static_cast<uint8_t>(std::clamp(((k - 16) * 76283 + 32768) >> 16, 0, 255));
}

void ExpectedColour(int y, int u, int v, uint8_t* bgr) {
  bgr[0] = Clip(y + ((113618 * (u - 128) + 32768) >> 16));
  bgr[1] = Clip(y + ((-22014 * (u - 128) + 32768 - 45773 * (v - 128)) >> 16));
  bgr[2] = Clip(y + ((89858 * (v - 128) + 32768) >> 16));
}

struct View {
  int orientation;
  int flip;
};
constexpr View kViews[] = {{270, 0}, {270, 1}, {90, 0},  {90, 1}, {0, 0},  {0, 1},
                           {0, 2},   {180, 0}, {180, 1}, {45, 0}, {45, 1}, {-90, -1}};

bool RowsStay(View view) { return view.orientation == 270 || view.orientation == 90; }

// The source pixel of output pixel (c, r).
std::pair<int, int> SourceOf(View view, int width, int height, int c, int r) {
  switch (view.orientation) {
    case 270:
      return {2 * c, 2 * r};
    case 90:
      return {width - 2 - 2 * c, height - 1 - 2 * r};
    case 0:
      if (view.flip == 1) return {width - 2 - 2 * r, height - 1 - 2 * c};
      return {2 * r, height - 2 - 2 * c};
    default:
      if (view.flip == 1) return {2 * r, 2 * c};
      return {width - 2 - 2 * r, 2 * c};
  }
}

class FaceCrop : public testing::TestWithParam<KernelVariant> {
 protected:
  static void SetUpTestSuite() { VP8YUVInit(); }

  // Frames and images end at unreadable memory and have bytes ahead of them that must not change.
  void CheckSize(int width, int height, Bias bias) {
    const auto pixels = static_cast<std::size_t>((width / 2) * (height / 2));
    GuardedBytes luma(static_cast<std::size_t>(width * height));
    GuardedBytes chroma(static_cast<std::size_t>(width * (height / 2)));
    FillRandom(luma, bias, random_);
    FillRandom(chroma, bias, random_);
    GuardedBytes gray(kAhead + pixels), rgb(kAhead + 3 * pixels);
    std::vector<uint8_t> expected_gray(gray.size()), expected_rgb(rgb.size());
    for (const View view : kViews) {
      const uint8_t fill = fill_ ^= 0xff;
      gray.Fill(fill);
      rgb.Fill(fill);
      std::fill_n(expected_gray.begin(), kAhead, fill);
      std::fill_n(expected_rgb.begin(), kAhead, fill);
      Expect(view, width, height, luma.data(), chroma.data(), &expected_gray[kAhead],
             &expected_rgb[kAhead]);
      android::prepareDataForFaceAnalyseVariant(GetParam(), luma.data(), chroma.data(),
                                                gray.data() + kAhead, rgb.data() + kAhead, width,
                                                height, view.orientation, view.flip);
      ASSERT_TRUE(std::equal(expected_gray.begin(), expected_gray.end(), gray.data()) &&
                  std::equal(expected_rgb.begin(), expected_rgb.end(), rgb.data()))
          << width << "x" << height << " at " << view.orientation << " flip " << view.flip;
    }
  }

  static void Expect(View view, int width, int height, const uint8_t* luma, const uint8_t* chroma,
                     uint8_t* gray, uint8_t* rgb) {
    const int columns = RowsStay(view) ? width / 2 : height / 2;
    const int rows = RowsStay(view) ? height / 2 : width / 2;
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < columns; ++c) {
        const auto [x, y] = SourceOf(view, width, height, c, r);
        const uint8_t* pair =
            chroma + std::min(y / 2, height / 2 - 1) * width + std::min(x, width / 2 * 2 - 2);
        const bool v_first = view.orientation == 0 && view.flip != 1;
        *gray = luma[y * width + x];
        ExpectedColour(*gray, pair[v_first ? 1 : 0], pair[v_first ? 0 : 1], rgb);
        gray += 1;
        rgb += 3;
      }
    }
  }

  static constexpr std::size_t kAhead = 64;
  std::mt19937 random_{1};
  uint8_t fill_ = 0x5a;
};

TEST_P(FaceCrop, TakesEveryPixelFromItsPlace) {
  for (int height = 2; height <= 40; ++height) {
    for (int width = 2; width <= 40; ++width) CheckSize(width, height, Bias::kUniform);
  }
  // The frame of 128x64 begins at unreadable memory, too.
  const int larger[][2] = {{64, 32},   {64, 33},  {64, 34},  {64, 35},  {65, 32},
                           {66, 35},   {128, 64}, {129, 67}, {126, 70}, {192, 97},
                           {200, 130}, {67, 31},  {62, 40},  {63, 41}};
  for (const auto& [width, height] : larger) {
    for (const Bias bias : {Bias::kUniform, Bias::kDark, Bias::kBright}) {
      CheckSize(width, height, bias);
    }
  }
}

// A frame for each V; in it, luma grows along the rows and U down the columns.
TEST_P(FaceCrop, ConvertsEveryColour) {
  constexpr int kSide = 512;
  constexpr std::size_t kPixels = 256 * 256;
  std::vector<uint8_t> luma(kSide * kSide), chroma(kSide * kSide / 2);
  std::vector<uint8_t> gray(kPixels), rgb(3 * kPixels), expected(3 * kPixels);
  for (std::size_t i = 0; i < luma.size(); ++i) luma[i] = static_cast<uint8_t>(i % kSide / 2);
  for (int v = 0; v < 256; ++v) {
    for (std::size_t i = 0; i < chroma.size(); ++i) {
      chroma[i] = static_cast<uint8_t>(i % 2 == 0 ? i / kSide : static_cast<std::size_t>(v));
    }
    for (int i = 0; i < 256 * 256; ++i) {
      ExpectedColour(i & 255, i >> 8, v, expected.data() + 3 * i);
    }
    android::prepareDataForFaceAnalyseVariant(GetParam(), luma.data(), chroma.data(), gray.data(),
                                              rgb.data(), kSide, kSide, 270, 0);
    ASSERT_TRUE(rgb == expected) << v;
  }
}

TEST(FaceCropColour, HasItsKnownValues) {
  const uint8_t colours[][6] = {{128, 128, 128, 130, 130, 130}, {255, 128, 128, 255, 255, 255},
                                {0, 128, 128, 0, 0, 0},         {81, 90, 240, 0, 0, 255},
                                {145, 54, 34, 1, 255, 0},       {41, 240, 110, 255, 0, 0}};
  for (const auto& [y, u, v, blue, green, red] : colours) {
    const uint8_t luma[4] = {y, y, y, y}, chroma[2] = {u, v};
    uint8_t gray = 0, rgb[3] = {};
    android::prepareDataForFaceAnalyse(luma, chroma, &gray, rgb, 2, 2, 180, 0);
    EXPECT_EQ(gray, y);
    EXPECT_TRUE(rgb[0] == blue && rgb[1] == green && rgb[2] == red)
        << +y << ": " << +rgb[0] << " " << +rgb[1] << " " << +rgb[2];
  }
}

TEST_P(FaceCrop, WritesNothingWithoutAFrame) {
  const uint8_t luma[16] = {}, chroma[8] = {};
  uint8_t gray[4] = {7, 7, 7, 7}, rgb[12] = {7, 7, 7};
  for (const View view : kViews) {
    const auto crop = [&](auto y, auto uv, auto to_gray, auto to_rgb, int width, int height) {
      android::prepareDataForFaceAnalyseVariant(GetParam(), y, uv, to_gray, to_rgb, width, height,
                                                view.orientation, view.flip);
    };
    for (const auto& [width, height] : {std::pair(1, 4), {4, 1}, {0, 0}, {-4, 4}, {-4, -4}}) {
      crop(luma, chroma, gray, rgb, width, height);
    }
    crop(nullptr, chroma, gray, rgb, 4, 4);
    crop(luma, nullptr, gray, rgb, 4, 4);
    crop(luma, chroma, nullptr, rgb, 4, 4);
    crop(luma, chroma, gray, nullptr, 4, 4);
    EXPECT_TRUE(gray[0] == 7 && gray[3] == 7 && rgb[0] == 7 && rgb[2] == 7);
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, FaceCrop,
                         testing::Values(KernelVariant::kScalar, KernelVariant::kVector),
                         [](const auto& variant) {
                           return variant.param == KernelVariant::kScalar ? "Scalar" : "Vector";
                         });

}  // namespace
