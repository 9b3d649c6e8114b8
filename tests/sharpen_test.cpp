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
#include "tests/kernel_oracles.h"
#include "tests/kernel_testing.h"

namespace {

using testing_support::Bias;
using testing_support::FillRandom;
using testing_support::FilterCall;
using testing_support::FilterRoutine;
using testing_support::GuardedBytes;
using testing_support::kFilterRoutines;
using testing_support::kSharpen;
using testing_support::Weights;

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

// Runs a routine and the formula on destinations that end with the last byte that may be written.
class Destination {
 public:
  Destination(int width, int height)
      : bytes_(width < 3 || height < 3 ? 0 : static_cast<std::size_t>((height - 1) * width - 1)),
        expected_(static_cast<std::size_t>(width * height)) {}

  void ExpectFormula(const FilterRoutine& routine, FilterCall call) {
    for (const uint8_t before : {uint8_t{0}, uint8_t{255}}) {
      bytes_.Fill(before);
      call.dst = bytes_.data();
      routine.run(call);
      std::fill(expected_.begin(), expected_.end(), before);
      call.dst = expected_.data();
      routine.naive(call);
      ASSERT_TRUE(std::equal(bytes_.data(), bytes_.data() + bytes_.size(), expected_.begin()));
    }
  }

 private:
  GuardedBytes bytes_;
  std::vector<uint8_t> expected_;
};

// The routines that filter the whole interior.
template <class Visit>
void ForEachFilter(const Weights& w, const Visit& visit) {
  for (const FilterRoutine& routine : kFilterRoutines) {
    const bool is_meant = routine.takes_weights || w.centre == kSharpen.centre;
    if (routine.naive == testing_support::FilterNaively && is_meant) visit(routine);
  }
}

// sharpenY runs beside the general filter when the weights are its own.
TEST(FilterCorr3x3, EveryPixelOfTheInteriorIsTheWeightedSum) {
  const Weights kWeights[] = {kSharpen,         {0, 16, 0},        {127, 127, 127},
                              {-128, 127, 127}, {127, -128, -128}, {-128, -128, -128}};
  std::mt19937 random(1);
  unsigned turn = 0;
  for (int width = 1; width <= 70; ++width) {
    for (int height = 1; height <= 20; ++height) {
      const int strides[] = {width, width + 3, 96, -width, -width - 7};
      for (const Weights& w : kWeights) {
        const int stride = strides[turn++ % 5];
        Plane source(width, height, stride);
        FillRandom(source.bytes(), static_cast<Bias>(random() % 3), random);
        Destination destination(width, height);
        ForEachFilter(w, [&](const FilterRoutine& routine) {
          destination.ExpectFormula(routine,
                                    {source.origin(), nullptr, nullptr, width, height, stride, w});
        });
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
      const FilterCall call = {source.data(), nullptr, nullptr, kWidth, 3, kWidth, w};
      destination.ExpectFormula(kFilterRoutines[0], call);
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
      for (std::size_t i = 0; i < mask.size(); ++i) {
        if (random() % 2 == 0) mask.data()[i] = 0;
      }
      destination.Fill(static_cast<uint8_t>(height));
      std::vector<uint8_t> expected(static_cast<std::size_t>(width * height),
                                    static_cast<uint8_t>(height));
      FilterCall call = {source.data(), mask.data(), destination.data(), width, height,
                         stride,        kSharpen};
      testing_support::RunMarkedSharpen(call);
      call.dst = expected.data();
      testing_support::FilterMarkedNaively(call);
      ASSERT_TRUE(
          std::equal(destination.data(), destination.data() + destination.size(), expected.begin()))
          << width << "x" << height;
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
        FilterCall call = {nullptr, nullptr, expected.data(), width, height, width, kSharpen};
        testing_support::SmoothNaively(call);
        call.dst = map.data();
        for (const FilterRoutine& routine : kFilterRoutines) {
          if (routine.naive != testing_support::SmoothNaively) continue;
          std::copy(entry.begin(), entry.end(), map.data());
          routine.run(call);
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
