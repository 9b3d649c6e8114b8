// SPDX-License-Identifier: Apache-2.0
// Linked with -Wl,--wrap=malloc,--wrap=free: the wrappers below fail a chosen allocation and record
// what is released in which order.
#include "sharpen/array_helpers.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "tests/kernel_oracles.h"

namespace {

// Plain arrays, because the recorder must not allocate.
struct Recorder {
  bool on = false;
  int failing = -1;  // the allocation that fails, counted from 0
  int allocations = 0;
  int releases = 0;
  void* allocated[8] = {};
  std::size_t sizes[8] = {};
  void* released[8] = {};
} recorder;

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void __real_free(void* block);

void* __wrap_malloc(std::size_t size) {
  if (!recorder.on || recorder.allocations == 8) return __real_malloc(size);
  const int turn = recorder.allocations++;
  recorder.sizes[turn] = size;
  return recorder.allocated[turn] = turn == recorder.failing ? nullptr : __real_malloc(size);
}

void __wrap_free(void* block) {
  if (recorder.on && block != nullptr && recorder.releases < 8) {
    recorder.released[recorder.releases++] = block;
  }
  __real_free(block);
}

}  // extern "C"

namespace {

// Runs `work` with allocation number `failing` refused, and gives what was recorded.
Recorder Record(int failing, const std::function<void()>& work) {
  recorder = Recorder{};
  recorder.failing = failing;
  recorder.on = true;
  work();
  recorder.on = false;
  return recorder;
}

unsigned char image[24];

struct Helper {
  const char* name;
  std::vector<std::size_t> sizes;             // of its blocks, in the order of allocation
  std::vector<int> release_order;             // of the blocks, by the release function
  std::function<void*(int, int, int)> build;  // planes (or 1), rows, cols
  std::function<void(void*)> release;
};

constexpr std::size_t kEntry = sizeof(void*);

const Helper kHelpers[] = {
    {"allocD2",
     {3 * 4 * 4, 3 * kEntry},
     {0, 1},
     [](int, int rows, int cols) { return static_cast<void*>(allocD2(rows, cols)); },
     [](void* object) { freeD2(static_cast<float**>(object)); }},
    {"allocD3",
     {2 * 3 * 4 * 4, 6 * kEntry, 2 * kEntry},
     {0, 1, 2},
     [](int planes, int rows, int cols) { return static_cast<void*>(allocD3(planes, rows, cols)); },
     [](void* object) { freeD3(static_cast<float***>(object)); }},
    {"convertU1ToU2",
     {3 * kEntry},
     {0},
     [](int, int rows, int cols) { return static_cast<void*>(convertU1ToU2(image, rows, cols)); },
     [](void* object) { freeConvertedU2(static_cast<unsigned char**>(object)); }},
    {"convertU1ToU3",
     {6 * kEntry, 2 * kEntry},
     {0, 1},
     [](int planes, int rows, int cols) {
       return static_cast<void*>(convertU1ToU3(image, planes, rows, cols));
     },
     [](void* object) { freeConvertedU3(static_cast<unsigned char***>(object)); }},
};

class ArrayHelpers : public testing::TestWithParam<Helper> {};

TEST_P(ArrayHelpers, AllocatesAndReleasesInTheStatedOrder) {
  const Helper& helper = GetParam();
  void* object = nullptr;
  const Recorder built = Record(-1, [&] { object = helper.build(2, 3, 4); });
  ASSERT_NE(object, nullptr);
  ASSERT_EQ(built.allocations, static_cast<int>(helper.sizes.size()));
  for (std::size_t i = 0; i < helper.sizes.size(); ++i) EXPECT_EQ(built.sizes[i], helper.sizes[i]);
  const Recorder gone = Record(-1, [&] { helper.release(object); });
  ASSERT_EQ(gone.releases, built.allocations);
  for (int i = 0; i < gone.releases; ++i) {
    EXPECT_EQ(gone.released[i], built.allocated[helper.release_order[static_cast<size_t>(i)]]);
  }
}

TEST_P(ArrayHelpers, AFailedAllocationReleasesWhatCameBefore) {
  for (int failing = 0; failing < static_cast<int>(GetParam().sizes.size()); ++failing) {
    void* object = image;
    const Recorder run = Record(failing, [&] { object = GetParam().build(2, 3, 4); });
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(run.allocations, failing + 1);
    ASSERT_EQ(run.releases, failing);
    for (int i = 0; i < failing; ++i) EXPECT_EQ(run.released[i], run.allocated[i]);
  }
}

TEST_P(ArrayHelpers, ObjectsWithoutElementsCanBeReleased) {
  for (const auto& counts : {std::array{0, 3, 4}, {2, 0, 4}, {2, 3, 0}, {0, 0, 0}}) {
    void* object = nullptr;
    const auto build = [&] { object = GetParam().build(counts[0], counts[1], counts[2]); };
    const Recorder built = Record(-1, build);
    ASSERT_NE(object, nullptr);
    const Recorder gone = Record(-1, [&] { GetParam().release(object); });
    EXPECT_EQ(gone.releases, built.allocations);
  }
}

INSTANTIATE_TEST_SUITE_P(All, ArrayHelpers, testing::ValuesIn(kHelpers),
                         [](const auto& run) { return std::string(run.param.name); });

TEST(ArrayShapes, CountsThatMakeNoSizeAndNullGiveNull) {
  const Recorder run = Record(-1, [] {
    for (const Helper& helper : kHelpers) {
      EXPECT_EQ(helper.build(2, -1, 4), nullptr);
      EXPECT_EQ(helper.build(2, 0, INT_MIN), nullptr);
      helper.release(nullptr);
    }
    EXPECT_EQ(allocD3(-1, 0, 4), nullptr);
    EXPECT_EQ(convertU1ToU3(image, -1, 0, 4), nullptr);
    EXPECT_EQ(allocD2(INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(allocD3(INT_MAX, INT_MAX, 1), nullptr);
    EXPECT_EQ(allocD3(1, 1 << 16, 1 << 16), nullptr);  // 0 in 32 bits
    EXPECT_EQ(convertU1ToU3(image, INT_MAX, INT_MAX, INT_MAX), nullptr);
    EXPECT_EQ(convertU1ToU3(image, INT_MAX, INT_MAX, 0), nullptr);  // no element, but rows
    EXPECT_EQ(convertU1ToU2(nullptr, 3, 4), nullptr);
    EXPECT_EQ(convertU1ToU3(nullptr, 2, 3, 4), nullptr);
  });
  EXPECT_EQ(run.allocations, 0);
}

TEST(ArrayShapes, IndicesReachTheElementsInRowMajorOrder) {
  EXPECT_TRUE(testing_support::AreRowMajor(image, 2, 3, 4));
}

}  // namespace
