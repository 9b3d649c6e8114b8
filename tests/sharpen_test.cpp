// SPDX-License-Identifier: Apache-2.0
// Linked with -Wl,--wrap=gettimeofday: the wrapper below sets the wall clock.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>
#include <utility>
#include <vector>

#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"
#include "sharpen/variants.h"
#include "tests/kernel_testing.h"

namespace {

using testing_support::Bias;
using testing_support::FillRandom;
using testing_support::GuardedBytes;

constexpr KernelVariant kVariants[] = {KernelVariant::kScalar, KernelVariant::kVector};

struct Clock {
  timeval now{2, 500};
  int result = 0;
  int readings = 0;
} wall;

struct ArrayNew {
  bool fails = false;
  int allocations = 0;
  int releases = 0;
  std::size_t bytes = 0;
} array_new;

}  // namespace

extern "C" int __wrap_gettimeofday(timeval* now, void*) {
  ++wall.readings;
  *now = wall.now;
  return wall.result;
}

void* operator new[](std::size_t bytes) {
  ++array_new.allocations;
  array_new.bytes = bytes;
  void* block = array_new.fails ? nullptr : std::malloc(bytes);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete[](void* block) noexcept {
  ++array_new.releases;
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept { operator delete[](block); }

namespace {

struct Weights {
  int corner;
  int centre;
  int edge;
};

constexpr Weights kSharpen{-3, 76, -12};

// The value at `pixel`, whose rows are `stride` bytes apart.
uint8_t Filtered(const uint8_t* pixel, std::ptrdiff_t stride, const Weights& w) {
  const uint8_t* above = pixel - stride;
  const uint8_t* below = pixel + stride;
  const int sum = w.corner * (above[-1] + above[1] + below[-1] + below[1]) +
                  w.edge * (above[0] + below[0] + pixel[-1] + pixel[1]) + w.centre * pixel[0];
  return static_cast<uint8_t>(std::clamp(sum, 0, 4080) / 16);
}

void Filter(KernelVariant variant, const uint8_t* src, uint8_t* dst, int width, int height,
            const Weights& w, int stride) {
  filterCorr3x3s8_v2Variant(variant, src, dst, static_cast<unsigned>(width),
                            static_cast<unsigned>(height), static_cast<signed char>(w.corner),
                            static_cast<signed char>(w.centre), static_cast<signed char>(w.edge),
                            stride);
}

// `height` rows of `width` bytes, `stride` apart in either direction, that end at a guard page.
class Plane {
 public:
  Plane(int width, int height, int stride)
      : bytes_(static_cast<std::size_t>((height - 1) * std::abs(stride) + width)),
        origin_(bytes_.data() + (stride < 0 ? (height - 1) * -stride : 0)) {}
  GuardedBytes& bytes() { return bytes_; }
  const uint8_t* origin() const { return origin_; }

 private:
  GuardedBytes bytes_;
  const uint8_t* origin_;
};

// A destination that ends at the guard page with its last byte that may be written.
class Destination {
 public:
  Destination(int width, int height)
      : bytes_(width < 3 || height < 3 ? 0 : static_cast<std::size_t>((height - 1) * width - 1)) {}

  template <class Run>
  void ExpectAfter(const Run& run, const std::vector<int>& expected) {  // -1: left alone
    for (const uint8_t before : {uint8_t{0}, uint8_t{255}}) {
      bytes_.Fill(before);
      run(bytes_.data());
      for (std::size_t i = 0; i < bytes_.size(); ++i) {
        ASSERT_EQ(bytes_.data()[i], expected[i] < 0 ? before : expected[i]) << "byte " << i;
      }
    }
  }

 private:
  GuardedBytes bytes_;
};

std::vector<int> ExpectedInterior(const uint8_t* src, int width, int height, const Weights& w,
                                  int stride) {
  std::vector<int> expected(static_cast<std::size_t>(width * height), -1);
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      expected[static_cast<std::size_t>(y * width + x)] = Filtered(src + y * stride + x, stride, w);
    }
  }
  return expected;
}

// sharpenY runs beside the general filter when the weights are its own.
TEST(FilterCorr3x3, EveryPixelOfTheInteriorIsTheWeightedSum) {
  const Weights kWeights[] = {kSharpen,         {0, 16, 0},        {127, 127, 127},
                              {-128, 127, 127}, {127, -128, -128}, {-128, -128, -128}};
  std::mt19937 random(1);
  unsigned turn = 0;
  const auto compare = [&](int width, int height, const Weights& w, int stride) {
    Plane source(width, height, stride);
    FillRandom(source.bytes(), static_cast<Bias>(random() % 3), random);
    const uint8_t* src = source.origin();
    const auto expected = ExpectedInterior(src, width, height, w, stride);
    Destination destination(width, height);
    for (const KernelVariant variant : kVariants) {
      const auto filter = [&](uint8_t* dst) {
        Filter(variant, src, dst, width, height, w, stride);
      };
      const auto sharpen = [&](uint8_t* dst) {
        sharpenYVariant(variant, src, dst, width, height, stride);
      };
      destination.ExpectAfter(filter, expected);
      if (w.centre == kSharpen.centre) destination.ExpectAfter(sharpen, expected);
    }
  };
  for (int width = 1; width <= 70; ++width) {
    for (int height = 1; height <= 20; ++height) {
      const int strides[] = {width, width + 3, 96, -width, -width - 7};
      for (const Weights& w : kWeights) {
        compare(width, height, w, strides[turn++ % 5]);
        ASSERT_FALSE(HasFatalFailure()) << width << "x" << height << ", centre " << w.centre;
      }
    }
  }
}

// Around the weights whose extreme sums leave signed 16 bits, on pictures that reach the extremes:
// flat white, and chessboards that give edges and the rest opposite values.
TEST(FilterCorr3x3, ExactOnBothSidesOfSixteenBits) {
  constexpr int kWidth = 28;  // a step of 16, one of 8 and two pixels
  GuardedBytes source(kWidth * 3);
  Destination destination(kWidth, 3);
  for (int picture = 0; picture < 3; ++picture) {
    for (int i = 0; i < kWidth * 3; ++i) {
      const bool white = picture == 2 || (i / kWidth + i % kWidth) % 2 == picture;
      source.data()[i] = white ? 255 : 0;
    }
    for (int i = 0; i < 9 * 9 * 256; ++i) {
      const Weights w{i / 256 % 9 * 8 - 32, i % 256 - 128, i / 256 / 9 * 8 - 32};
      const auto run = [&](uint8_t* dst) {
        Filter(KernelVariant::kVector, source.data(), dst, kWidth, 3, w, kWidth);
      };
      destination.ExpectAfter(run, ExpectedInterior(source.data(), kWidth, 3, w, kWidth));
      ASSERT_FALSE(HasFatalFailure()) << w.corner << " " << w.centre << " " << w.edge;
    }
  }
}

// Source, mask and destination end at the last byte that an all-marked mask makes the routine
// touch.
TEST(MaskedFilter, OnlyMarkedBlocksInsideTheRingChange) {
  std::mt19937 random(5);
  for (int width = 1; width <= 40; ++width) {
    for (int height = 1; height <= 20; ++height) {
      const int stride = width + height % 3;
      const int half_width = width / 2;
      const int half_height = height / 2;
      const bool enough = width >= 6 && height >= 6;
      const auto sized = [&](int size) { return static_cast<std::size_t>(enough ? size : 0); };
      GuardedBytes source(sized((2 * half_height - 2) * stride + 2 * half_width - 1));
      GuardedBytes mask(sized((half_height - 1) * half_width - 1));
      GuardedBytes destination(sized((2 * half_height - 3) * width + 2 * half_width - 2));
      FillRandom(source, static_cast<Bias>(width % 3), random);
      FillRandom(mask, Bias::kUniform, random);
      for (std::size_t i = 0; i < mask.size(); i += 1 + i % 3) mask.data()[i] = 0;
      destination.Fill(static_cast<uint8_t>(height));
      sharpenYWithSkinMap(source.data(), destination.data(), mask.data(), width, height, stride);
      for (int i = 0; i < static_cast<int>(destination.size()); ++i) {
        const int y = i / width;
        const int x = i % width;
        const bool inside = y >= 2 && y < 2 * half_height - 2 && x >= 2 && x < 2 * half_width - 2;
        const bool marked = inside && mask.data()[y / 2 * half_width + x / 2] != 0;
        const uint8_t* pixel = source.data() + y * stride + x;
        ASSERT_EQ(destination.data()[i], marked ? Filtered(pixel, stride, kSharpen) : height)
            << width << "x" << height << " at " << x << ", " << y;
      }
    }
  }
}

TEST(SharpenKit, NoSizeAndNoNullPlaneTouchesMemory) {
  GuardedBytes nothing(0);
  uint8_t* const guard = nothing.data();
  for (const int bad : {INT_MIN, -1, 0}) {
    for (const auto& [width, height] : {std::pair{bad, 64}, {64, bad}}) {
      const auto columns = static_cast<unsigned>(width);
      const auto rows = static_cast<unsigned>(height);
      filterCorr3x3s8_v2(guard, guard, columns, rows, 0, 16, 0, 64);
      filterCorr3x3s8_v2WithskinMap(guard, guard, guard, columns, rows, 0, 16, 0, 64);
      sharpenY(guard, guard, width, height, 64);
      sharpenYWithSkinMap(guard, guard, guard, width, height, 64);
      smoothSkinMapGaussian(guard, columns, rows);
    }
  }
  filterCorr3x3s8_v2(nullptr, guard, 64, 64, 0, 16, 0, 64);
  sharpenY(guard, nullptr, 64, 64, 64);
  sharpenYWithSkinMap(nullptr, guard, guard, 64, 64, 64);
  sharpenYWithSkinMap(guard, nullptr, guard, 64, 64, 64);
  sharpenYWithSkinMap(guard, guard, nullptr, 64, 64, 64);
  smoothSkinMapGaussian(nullptr, 64, 64);
}

TEST(SharpenKit, RowsMayLieGigabytesApart) {
  constexpr std::size_t kStride = std::size_t{1} << 30;
  constexpr int kWidth = 20;
  void* const memory = mmap(nullptr, 6 * kStride, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) GTEST_SKIP() << "no address space for it";
  auto* const src = static_cast<uint8_t*>(memory);
  for (std::size_t r = 0; r < 6; ++r) std::memset(src + r * kStride, 200, kWidth);
  uint8_t dst[6 * kWidth] = {};
  sharpenY(src, dst, kWidth, 6, 1 << 30);
  EXPECT_EQ(dst[4 * kWidth + 9], 200);
  const std::vector<uint8_t> mask(3 * kWidth / 2, 1);
  std::memset(dst, 0, sizeof dst);
  sharpenYWithSkinMap(src, dst, mask.data(), kWidth, 6, 1 << 30);
  EXPECT_EQ(dst[3 * kWidth + 9], 200);
  munmap(memory, 6 * kStride);
}

TEST(SmoothSkinMap, EveryPixelInsideTheFrameIsTheBinomialMean) {
  std::mt19937 random(6);
  for (int width = 1; width <= 70; ++width) {
    for (int height = 1; height <= 20; ++height) {
      GuardedBytes map(static_cast<std::size_t>(width * height));
      for (const Bias bias : {Bias::kUniform, Bias::kDark, Bias::kBright}) {
        FillRandom(map, bias, random);
        const std::vector<uint8_t> entry(map.data(), map.data() + map.size());
        std::vector<uint8_t> expected = entry;
        for (int y = 2; y < height - 2; ++y) {
          for (int x = 2; x < width - 2; ++x) {
            int sum = 0;
            for (int i = 0; i < 9; ++i) {
              const int weight = (i / 3 == 1 ? 2 : 1) * (i % 3 == 1 ? 2 : 1);
              sum +=
                  weight * entry[static_cast<std::size_t>((y + i / 3 - 1) * width + x + i % 3 - 1)];
            }
            expected[static_cast<std::size_t>(y * width + x)] = static_cast<uint8_t>(sum / 16);
          }
        }
        for (const KernelVariant variant : kVariants) {
          std::copy(entry.begin(), entry.end(), map.data());
          smoothSkinMapGaussianVariant(variant, map.data(), static_cast<unsigned>(width),
                                       static_cast<unsigned>(height));
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), map.data()))
              << width << "x" << height;
        }
      }
    }
  }
}

TEST(SmoothSkinMap, AllocatesOnceAndLeavesTheMapWhenThatFails) {
  GuardedBytes map(40 * 30);
  std::mt19937 random(7);
  FillRandom(map, Bias::kUniform, random);
  const std::vector<uint8_t> entry(map.data(), map.data() + map.size());
  array_new = ArrayNew{};
  array_new.fails = true;
  EXPECT_THROW(smoothSkinMapGaussian(map.data(), 40, 30), std::bad_alloc);
  EXPECT_TRUE(std::equal(entry.begin(), entry.end(), map.data()));
  for (const unsigned height : {4u, 30u}) {
    array_new = ArrayNew{};
    smoothSkinMapGaussian(map.data(), 40, height);
    EXPECT_EQ(array_new.allocations, 1);
    EXPECT_EQ(array_new.releases, 1);
    EXPECT_EQ(array_new.bytes, 40 * height * 2);
  }
}

TEST(Clock, GivesMillisecondsAndZeroWhenItCannotBeRead) {
  wall = Clock{};
  EXPECT_EQ(now_ms(), 2000.5);
  sharpenYWithSkinMap(nullptr, nullptr, nullptr, 0, 0, 0);
  EXPECT_EQ(wall.readings, 3);
  wall.result = -1;
  EXPECT_EQ(now_ms(), 0.0);
}

}  // namespace
