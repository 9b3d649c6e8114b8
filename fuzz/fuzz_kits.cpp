// SPDX-License-Identifier: Apache-2.0
// The functions of image and sharpen give what the plain formula gives, at all sizes and strides.
#include "fuzz/script.h"
#include "tests/kernel_oracles.h"

using namespace testing_support;

// The source and the destination lie in one piece of memory: side by side, in either order, so that
// its ends are theirs, or on top of each other.
static void Copy(fuzz::Script& script) {
  ZyImageBuffer src = {!script.OneIn(32), script.Side(), script.Side(), {}, {}}, dst = src;
  if (script.OneIn(2)) std::swap(dst.width, dst.height);
  if (script.OneIn(32)) dst.width = script.Side();
  const int rotation = script.OneIn(32) ? script.Raw<int32_t>() : 90 * script.Between(-5, 8);
  std::array<std::vector<uint8_t>, 2> memory;
  for (unsigned p = 0; p < 2; ++p) {
    src.stride[p] = script.Stride(src.width);
    dst.stride[p] = script.Stride(std::max(dst.width, dst.height));
    const auto [from, to] = NaiveCopyOf(dst, src, p, rotation).Touched();
    const ptrdiff_t behind = from.end - to.lowest, before = from.lowest - to.end;
    const ptrdiff_t gap = script.Pick(std::array{behind, before, ptrdiff_t{script.Raw<int8_t>()}});
    const ptrdiff_t base = std::min(from.lowest, to.lowest + gap);
    memory[p] = script.Noise(Reach{base, std::max(from.end, to.end + gap)}.Bytes());
    src.plane[p] = memory[p].data() - base;
    dst.plane[p] = src.plane[p] + gap;
  }
  const auto before = memory;
  const bool copies = CopyNaively(dst, src, rotation);
  const auto expected = memory;
  for (unsigned p = 0; p < 2; ++p) std::copy(before[p].begin(), before[p].end(), memory[p].begin());
  const int copied = script.Pick(kCopies)(&dst, &src, rotation);
  fuzz::Require(memory == expected && copied == copies, "a copy moves its pixels and says so");
}

static void Shrink(fuzz::Script& script) {
  const Downscaler& downscaler = script.Pick(kDownscalers);
  const int width = script.Side(), height = script.Side(), stride = script.Stride(width);
  const ResizeWalk walk = WalkOf(downscaler, width, height, stride);
  const std::vector<uint8_t> source = script.Noise(walk.Source().Bytes());
  std::vector<uint8_t> actual(walk.OutputBytes()), expected = actual;
  const uint8_t* src = source.data() - walk.Source().lowest;
  ShrinkNaively(walk, src, expected.data());
  downscaler.run(src, actual.data(), width, height, stride);
  fuzz::Require(actual == expected, "a downscaler gives the means of its blocks");
}

static void Filter(fuzz::Script& script) {
  const FilterRoutine& routine = script.Pick(kFilterRoutines);
  const int width = script.Side(), height = script.Side(), stride = script.Stride(width);
  const Reach reach = PlaneReach(width, height, stride);
  const auto source = script.Noise(reach.Bytes());
  const auto mask = script.Noise(PlaneReach(width / 2, height / 2, width / 2).Bytes());
  auto actual = script.Noise(PlaneReach(width, height, width).Bytes()), expected = actual;
  const Weights drawn = {script.Raw<int8_t>(), script.Raw<int8_t>(), script.Raw<int8_t>()};
  const Weights& weights = routine.takes_weights ? drawn : kSharpen;
  const uint8_t* src = source.data() - reach.lowest;
  FilterCall call = {src, mask.data(), actual.data(), width, height, stride, weights};
  routine.run(call);
  call.dst = expected.data();
  routine.naive(call);
  fuzz::Require(actual == expected, "a filter changes its pixels and no others");
}

static void Allocate(fuzz::Script& script) {
  ZyImageBuffer buffer = {};
  const int width = script.Side(), height = script.Side();
  const auto size = PlaneReach(width, height, width).Bytes() * 3 / 2;
  fuzz::Require(ZyAllocBuffer(&buffer, width, height, 1) == (size != 0), "a size gives a block");
  std::fill_n(buffer.plane[0], size, uint8_t{1});
  ZyFreeBuffer(&buffer);
  unsigned char image[3 * 15 * 15];
  fuzz::Require(AreRowMajor(image, 3, width & 15, height & 15), "arrays are row-major");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  script.Pick(std::array{Copy, Shrink, Filter, Copy, Shrink, Filter, Allocate})(script);
  return 0;
}
