// SPDX-License-Identifier: Apache-2.0
// The kernels on random calls (tests/kernel_calls.h) and in cases that random calls seldom reach:
// every colour, sums at the edge of 16 bits, planes of gigabytes, failing allocations, a failing
// clock. Linked with -Wl,--wrap=gettimeofday as well: the wrapper sets the clock.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "image/zy_image_buffer.h"
#include "sharpen/array_helpers.h"
#include "tests/allocations.h"
#include "tests/kernel_calls.h"

namespace {

using namespace testing_support;

int clock_result = 0;
int clock_readings = 0;

}  // namespace

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the linker gives the name (--wrap)
extern "C" int __wrap_gettimeofday(timeval* now, void*) {
  ++clock_readings;
  *now = {2, 500};
  return clock_result;
}

namespace {

// ---- Random calls -------------------------------------------------------------------------------

class Kernels : public testing::TestWithParam<KernelKind> {
 protected:
  // Runs a call that begins with these bytes and continues with random ones.
  void Call(std::vector<uint8_t> bytes) {
    while (bytes.size() < 48) bytes.push_back(static_cast<uint8_t>(random_()));
    fuzz::Script script(bytes.data(), bytes.size());
    ASSERT_EQ(GetParam().call(script), nullptr) << testing::PrintToString(bytes);
  }

  std::mt19937 random_{1};
};

// Covers every width and every height of 1 to 70, each with some others and with all choices of a
// kind, then any size.
TEST_P(Kernels, MatchTheirFormulas) {
  for (int i = 0; i < 70 * 6 && !HasFatalFailure(); ++i) {
    const auto side = static_cast<uint8_t>(i % 70 + 1);
    const auto other = static_cast<uint8_t>(random_() % 71);
    for (uint8_t choice = 0; choice < GetParam().choices; ++choice) {
      Call({choice, side, other});
      Call({choice, other, side});
      if (i < 4) Call({choice, kWide[i % 2][0], kWide[i % 2][1], other});
    }
  }
  for (int i = 0; i < 1000 && !HasFatalFailure(); ++i) Call({});
}

INSTANTIATE_TEST_SUITE_P(All, Kernels, testing::ValuesIn(kKernelKinds),
                         [](const auto& kind) { return kind.param.name; });

// ---- Rare cases ---------------------------------------------------------------------------------

// Uses a frame for each V; in it, luma grows along the rows and U down the columns.
TEST(UprightImages, ConvertsEveryColour) {
  const UprightCall call = {270, 0, 512, 512};
  std::vector<uint8_t> luma(512 * 512), chroma(512 * 256);
  std::vector<uint8_t> gray(256 * 256), bgr(3 * gray.size()), expected(bgr);
  for (std::size_t i = 0; i < luma.size(); ++i) luma[i] = static_cast<uint8_t>(i % 512 / 2);
  for (std::size_t v = 0; v < 256; ++v) {
    for (std::size_t i = 0; i < chroma.size(); ++i) {
      chroma[i] = static_cast<uint8_t>(i % 2 == 0 ? i / 512 : v);
    }
    ConvertNaively(call, luma.data(), chroma.data(), gray.data(), expected.data());
    for (const KernelVariant variant : {KernelVariant::kScalar, KernelVariant::kVector}) {
      android::prepareDataForFaceAnalyseVariant(variant, luma.data(), chroma.data(), gray.data(),
                                                bgr.data(), 512, 512, 270, 0);
      ASSERT_TRUE(bgr == expected) << v;
    }
  }
}

// Uses weights whose extreme sums just exceed signed 16 bits, on pictures that reach the extremes:
// flat white, and chessboards with opposite edges.
TEST(FilterCorr3x3, ExactOnBothSidesOfSixteenBits) {
  constexpr int kWidth = 35;  // two strips that overlap in all but one column
  std::vector<uint8_t> source(kWidth * 3), actual(kWidth * 3), expected(kWidth * 3);
  FilterCall call = {source.data(), nullptr, nullptr, kWidth, 3, kWidth, {}};
  for (int picture = 0; picture < 3; ++picture) {
    for (int i = 0; i < kWidth * 3; ++i) {
      const bool white = picture == 2 || (i / kWidth + i % kWidth) % 2 == picture;
      source[static_cast<std::size_t>(i)] = white ? 255 : 0;
    }
    for (int i = 0; i < 9 * 9 * 256; ++i) {
      call.weights = {static_cast<int8_t>(i / 256 % 9 * 8 - 32), static_cast<int8_t>(i % 256 - 128),
                      static_cast<int8_t>(i / 256 / 9 * 8 - 32)};
      call.dst = expected.data();
      FilterNaively(call);
      call.dst = actual.data();
      RunFilter({}, call);
      ASSERT_TRUE(actual == expected) << i;
    }
  }
}

TEST(AllKernels, RowsMayLieGigabytesApart) {
  constexpr int kPitch = 1 << 30, kWidth = 40, kHeight = 8;
  void* const memory = mmap(nullptr, kHeight * std::size_t{kPitch}, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) GTEST_SKIP() << "no address space for it";
  auto* const src = static_cast<uint8_t*>(memory);
  for (std::size_t r = 0; r < kHeight; ++r) std::memset(src + r * kPitch, 200, kWidth);
  std::vector<uint8_t> mask(kWidth * kHeight / 4, 1);
  for (const Rows rows : {KernelVariant::kScalar, KernelVariant::kVector}) {
    for (const Downscaler& downscaler : kDownscalers) {
      std::vector<uint8_t> dst(kWidth * kHeight);
      RunRows(rows, downscaler.run, downscaler.variant, src, dst.data(), kWidth, downscaler.factor,
              kPitch);
      EXPECT_EQ(dst[0], 200) << downscaler.name;
    }
    for (const Filter& filter : kFilters) {
      if (filter.naive == SmoothNaively) continue;
      std::vector<uint8_t> dst(kWidth * kHeight);
      filter.run(rows, {src, mask.data(), dst.data(), kWidth, kHeight, kPitch, kSharpen});
      EXPECT_EQ(dst[4 * kWidth + 9], 200) << filter.name;
    }
  }
  // A single pixel has no second row.
  ZyImageBuffer one = {1, 1, 1, {INT_MIN}, {src}}, other = {1, 1, 1, {INT_MAX}, {mask.data()}};
  EXPECT_EQ(ZyCopyBuffer(&other, &one, 180), 1);
  EXPECT_EQ(mask[0], 200);
  munmap(memory, kHeight * std::size_t{kPitch});
}

TEST(Clock, GivesMillisecondsAndZeroWhenItCannotBeRead) {
  clock_result = clock_readings = 0;
  EXPECT_EQ(now_ms(), 2000.5);
  sharpenYWithSkinMap(nullptr, nullptr, nullptr, 0, 0, 0);
  EXPECT_EQ(clock_readings, 3);
  clock_result = -1;
  EXPECT_EQ(now_ms(), 0.0);
}

// ---- Allocations --------------------------------------------------------------------------------

// Records a function's requests, allocations and releases in order, while allocation number
// `refused`, counted from 0, fails.
struct Recorder : AllocationWatch {
  template <typename Work>
  Recorder(std::size_t refused_one, Work work) : refused(refused_one) {
    g_allocation_watch = this;
    work();
    g_allocation_watch = nullptr;
  }
  bool Refuses(std::size_t bytes) override {
    sizes.push_back(bytes);
    return sizes.size() == refused + 1;
  }
  void Allocated(void* block, std::size_t) override { allocated.push_back(block); }
  void Released(void* block) override { released.push_back(block); }

  const std::size_t refused;
  std::vector<std::size_t> sizes;
  std::vector<void*> allocated, released;
};

constexpr std::size_t kNone = 99;

TEST(ZyImageBuffer, HoldsBothPlanesInOneBlockOrIsEmptied) {
  // 37838 * 37838 * 3 wraps to a small positive number in 32 bits.
  const std::array<int, 2> sizes[] = {
      {640, 480},     {5, 3},       {1, 1},         {715827882, 1},
      {715827883, 1}, {1, INT_MAX}, {37838, 37838}, {INT_MIN, INT_MIN},
      {65536, 65536}, {0, 4},       {-4, 4},        {4, -4}};
  const std::size_t blocks[std::size(sizes)] = {460800, 22, 1, 1073741823};
  for (int i = 0; i < 4 * static_cast<int>(std::size(sizes)); ++i) {
    const auto [width, height] = sizes[i / 4];
    const int format = i % 2 == 0 ? 1 : i % 3 * 2;
    const bool asks = format == 1 && blocks[i / 4] != 0, refuses = i % 4 == 2;
    uint8_t old[4];
    ZyImageBuffer expected = {7, 11, 13, {21, 22, 23, 24}, {old, old + 1, old + 2, old + 3}};
    ZyImageBuffer record = expected;
    const auto is_expected = [&] {
      return std::tie(record.format, record.width, record.height) ==
                 std::tie(expected.format, expected.width, expected.height) &&
             std::equal(record.stride, record.stride + 4, expected.stride) &&
             std::equal(record.plane, record.plane + 4, expected.plane);
    };
    const Recorder run(refuses ? 0 : kNone, [&, w = width, h = height] {
      EXPECT_EQ(ZyAllocBuffer(&record, w, h, format), asks && !refuses) << w << "x" << h;
    });
    EXPECT_EQ(run.sizes, std::vector<std::size_t>(asks, blocks[i / 4]));
    if (format == 1) expected.plane[0] = nullptr;
    if (!run.allocated.empty()) {
      auto* const block = static_cast<uint8_t*>(run.allocated[0]);
      uint8_t* const chroma = block + ptrdiff_t{width} * height;
      expected = {1, width, height, {width, width, 23, 24}, {block, chroma, old + 2, old + 3}};
    }
    EXPECT_TRUE(is_expected()) << width << "x" << height;
    if (format != 1) continue;
    ZyFreeBuffer(&record);
    expected.plane[0] = nullptr;
    EXPECT_TRUE(is_expected()) << width << "x" << height;
    ZyFreeBuffer(&record);
  }
  EXPECT_EQ(ZyAllocBuffer(nullptr, 4, 4, kZyFormatYuv420SemiPlanar), 0);
  ZyFreeBuffer(nullptr);
}

// Returns whether element i of a shape is the i-th from the first. Writes each.
template <typename T>
bool IsRowMajor(T*** cube, int planes, int rows, int cols) {
  if (cube == nullptr || *cube == nullptr) return false;
  for (int i = 0; i < planes * rows * cols; ++i) {
    T& element = cube[i / cols / rows][i / cols % rows][i % cols];
    if (&element != cube[0][0] + i) return false;
    element = static_cast<T>(i);
  }
  return true;
}

// Builds, uses and releases each of the four shapes, the views over `image`, planes * rows * cols
// bytes. Returns how many were correct.
int UseShapes(unsigned char* image, int planes, int rows, int cols) {
  float** matrix = allocD2(rows, cols);
  int right = IsRowMajor(&matrix, 1, rows, cols);
  freeD2(matrix);
  float*** cube = allocD3(planes, rows, cols);
  right += IsRowMajor(cube, planes, rows, cols);
  freeD3(cube);
  unsigned char** flat = convertU1ToU2(image, rows, cols);
  right += IsRowMajor(&flat, 1, rows, cols);
  freeConvertedU2(flat);
  unsigned char*** deep = convertU1ToU3(image, planes, rows, cols);
  right += IsRowMajor(deep, planes, rows, cols);
  freeConvertedU3(deep);
  return right;
}

TEST(ArrayShapes, AreReleasedInTheOrderOfAllocation) {
  unsigned char image[24];
  int right = 0;
  const Recorder all(kNone, [&] { right = UseShapes(image, 2, 3, 4); });
  EXPECT_EQ(all.sizes, (std::vector<std::size_t>{48, 24, 96, 48, 16, 24, 48, 16}));
  for (const std::array<int, 3>& c : {std::array{2, 3, 4}, {0, 3, 4}, {2, 0, 4}, {2, 3, 0}}) {
    for (std::size_t refused = 0; refused <= 8; ++refused) {
      const Recorder run(refused, [&] { right = UseShapes(image, c[0], c[1], c[2]); });
      EXPECT_EQ(right, refused < 8 ? 3 : 4) << refused;
      EXPECT_EQ(run.allocated, run.released) << refused;
    }
  }
}

TEST(ArrayShapes, CountsThatMakeNoSizeAndNullGiveNull) {
  unsigned char image[24];
  const Recorder run(kNone, [&] {
    EXPECT_EQ(UseShapes(image, 2, -1, 4), 0);
    EXPECT_EQ(UseShapes(image, 2, 0, INT_MIN), 0);
    EXPECT_EQ(allocD2(INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(allocD3(-1, 0, 4), nullptr);
    EXPECT_EQ(allocD3(INT_MAX, INT_MAX, 1), nullptr);
    EXPECT_EQ(allocD3(1, 1 << 16, 1 << 16), nullptr);  // 0 in 32 bits
    EXPECT_EQ(convertU1ToU2(nullptr, 3, 4), nullptr);
    EXPECT_EQ(convertU1ToU3(nullptr, 2, 3, 4), nullptr);
    EXPECT_EQ(convertU1ToU3(image, -1, 0, 4), nullptr);
    EXPECT_EQ(convertU1ToU3(image, INT_MAX, INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(convertU1ToU3(image, INT_MAX, INT_MAX, 0), nullptr);  // no elements, but rows
  });
  EXPECT_TRUE(run.sizes.empty());
}

TEST(SmoothSkinMap, AllocatesOnceAndLeavesTheMapWhenThatFails) {
  std::vector<uint8_t> map(40 * 30);
  for (std::size_t i = 0; i < map.size(); ++i) map[i] = static_cast<uint8_t>(i * i);
  const std::vector<uint8_t> entry = map;
  const Recorder refused(
      0, [&] { EXPECT_THROW(smoothSkinMapGaussian(map.data(), 40, 30), std::bad_alloc); });
  EXPECT_TRUE(map == entry);
  for (const unsigned height : {4u, 30u}) {
    const Recorder run(kNone, [&] { smoothSkinMapGaussian(map.data(), 40, height); });
    EXPECT_EQ(run.sizes, std::vector<std::size_t>{40 * height * 2});
    EXPECT_EQ(run.allocated, run.released);
  }
}

}  // namespace
