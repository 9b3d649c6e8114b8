// SPDX-License-Identifier: Apache-2.0
// Linked with -Wl,--wrap=gettimeofday: the wrapper below sets the wall clock.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <array>
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
using testing_support::PlaneReach;
using testing_support::Reach;
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

// What a routine may touch: planes that end with the last byte that its contract names.
struct Extents {
  Reach source;
  std::size_t mask = 0, destination = 0;
};

Extents ExtentsOf(const FilterRoutine& routine, int width, int height, int stride) {
  const auto size = [](int bytes) { return static_cast<std::size_t>(std::max(0, bytes)); };
  if (routine.naive == testing_support::SmoothNaively) return {{}, 0, size(width * height)};
  if (routine.naive == testing_support::FilterNaively) {
    const bool enough = width >= 3 && height >= 3;
    return {PlaneReach(width, height, stride), 0, size(enough ? (height - 1) * width - 1 : 0)};
  }
  Extents extents;
  if (width < 6 || height < 6) return extents;
  const int columns = width / 2, rows = height / 2;  // of blocks
  for (const int row : {0, 2 * rows - 2}) extents.source.Add(row * stride, 2 * columns - 1);
  extents.mask = size((rows - 1) * columns - 1);
  extents.destination = size((2 * rows - 3) * width + 2 * columns - 2);
  return extents;
}

// The destination begins with noise, and then with the complement of what came of it, so that a
// byte shows that was left out or written in excess.
void ExpectFormula(const FilterRoutine& routine, FilterCall call, GuardedBytes& destination,
                   std::mt19937& random) {
  std::vector<uint8_t> expected(static_cast<std::size_t>(call.width * call.height));
  FillRandom(destination, static_cast<Bias>(random() % 3), random);
  for (const uint8_t flip : {uint8_t{0}, uint8_t{0xff}}) {
    for (std::size_t i = 0; i < destination.size(); ++i) {
      expected[i] = destination.data()[i] ^= flip;
    }
    call.dst = destination.data();
    routine.run(call);
    call.dst = expected.data();
    routine.naive(call);
    ASSERT_TRUE(
        std::equal(destination.data(), destination.data() + destination.size(), expected.begin()))
        << "routine " << &routine - kFilterRoutines << ": " << call.width << "x" << call.height;
  }
}

TEST(SharpenKit, EveryRoutineGivesTheBytesOfItsFormula) {
  const Weights kWeights[] = {kSharpen,         {0, 16, 0},        {127, 127, 127},
                              {-128, 127, 127}, {127, -128, -128}, {-128, -128, -128}};
  std::mt19937 random(1);
  for (int i = 0; i < 70 * 20 * 24; ++i) {
    const int width = i % 70 + 1, height = i / 70 % 20 + 1;
    const FilterRoutine& routine = kFilterRoutines[i / 70 / 20 % 8];
    const int stride = std::array{width, width + 3, 96, -width, -width - 7}[random() % 5];
    const Extents extents = ExtentsOf(routine, width, height, stride);
    GuardedBytes source(extents.source.Bytes()), mask(extents.mask), to(extents.destination);
    FillRandom(source, static_cast<Bias>(random() % 3), random);
    FillRandom(mask, Bias::kUniform, random);
    for (std::size_t at = 0; at < mask.size(); ++at) {
      if (random() % 2 == 0) mask.data()[at] = 0;
    }
    const uint8_t* src = source.data() - extents.source.lowest;
    const Weights& weights = routine.takes_weights ? kWeights[random() % 6] : kSharpen;
    ExpectFormula(routine, {src, mask.data(), nullptr, width, height, stride, weights}, to, random);
    ASSERT_FALSE(HasFatalFailure());
  }
}

// Around the weights whose extreme sums leave signed 16 bits, on pictures that reach the extremes:
// flat white, and chessboards that give edges and the rest opposite values.
TEST(FilterCorr3x3, ExactOnBothSidesOfSixteenBits) {
  constexpr int kWidth = 28;  // a step of 16, one of 8 and two pixels
  GuardedBytes source(kWidth * 3);
  GuardedBytes destination(kWidth * 2 - 1);
  std::mt19937 random(2);
  for (int picture = 0; picture < 3; ++picture) {
    for (int i = 0; i < kWidth * 3; ++i) {
      const bool white = picture == 2 || (i / kWidth + i % kWidth) % 2 == picture;
      source.data()[i] = white ? 255 : 0;
    }
    for (int i = 0; i < 9 * 9 * 256; ++i) {
      const Weights w{i / 256 % 9 * 8 - 32, i % 256 - 128, i / 256 / 9 * 8 - 32};
      const FilterCall call = {source.data(), nullptr, nullptr, kWidth, 3, kWidth, w};
      ExpectFormula(kFilterRoutines[0], call, destination, random);
      ASSERT_FALSE(HasFatalFailure()) << w.corner << " " << w.centre << " " << w.edge;
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
