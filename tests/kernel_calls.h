// SPDX-License-Identifier: Apache-2.0
// Derives one call of one kernel from the bytes of a script: sizes, pitches, overlaps, null
// pointers, weights, pixels. The kernel runs as its public function, with its scalar and with its
// vector rows, in memory of exactly the contract's size. It must write the bytes of the plain
// formula and change no others.
#ifndef ZY_TESTS_KERNEL_CALLS_H_
#define ZY_TESTS_KERNEL_CALLS_H_

#include <array>
#include <climits>
#include <list>
#include <optional>

#include "analysis/upright_images.h"
#include "analysis/variants.h"
#include "framework/guarded_bytes.h"
#include "image/resize.h"
#include "image/variants.h"
#include "image/zy_copy_buffer.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/skin_map.h"
#include "sharpen/variants.h"
#include "tests/fuzz/script.h"
#include "tests/kernel_oracles.h"

namespace testing_support {

using framework::GuardedBytes;

// The rows that a kernel runs; nullopt for the choice of its public function.
using Rows = std::optional<KernelVariant>;

template <typename Public, typename Variant, typename... Arguments>
auto RunRows(Rows rows, Public* function, Variant* variant, Arguments... arguments) {
  return rows && variant != nullptr ? variant(*rows, arguments...) : function(arguments...);
}

// First bytes of a script for sizes beyond one strip of a filter.
inline constexpr std::array<uint8_t, 2> kWide[] = {{255, 0}, {255, 1}};

// Returns a width or height: mostly the byte itself, seldom large or invalid.
inline int Side(fuzz::Script& script) {
  const int side = script.Byte();
  if (side < 240) return side % 80;
  if (side < 250) return script.Between(80, 700);
  return script.Pick(std::array{2052, 2090, 0, -1, -9, INT_MIN});
}

// Returns a pitch for rows of that width, often too small or negative.
inline int Pitch(fuzz::Script& script, int width) {
  if (script.OneIn(4)) return script.Between(-300, 300);
  const int pitch = std::max(width, 0) + script.Between(0, 3);
  return script.OneIn(4) ? -pitch : pitch;
}

// Seldom sets one of the pointers to null.
template <typename... Pointers>
void MayLose(fuzz::Script& script, Pointers&... pointers) {
  int lost = script.OneIn(16) ? script.Between(0, int{sizeof...(pointers)} - 1) : -1;
  ((lost-- == 0 ? void(pointers = nullptr) : void()), ...);
}

// The memory of a call, initially noise.
class Memory {
 public:
  explicit Memory(fuzz::Script& script) : script_(script) {}

  // Adds a block and returns the pointer that its reach counts from. Of a mask, some, most or
  // nearly all bytes are 0.
  uint8_t* Add(Reach reach, bool is_mask = false) {
    using Edge = GuardedBytes::Edge;
    const Edge edge = script_.OneIn(4) ? Edge::kFront : Edge::kBack;
    GuardedBytes& block = blocks_.emplace_back(reach.Bytes(), edge);
    auto noise = script_.Noise(static_cast<std::size_t>(block.end() - block.begin()));
    const std::size_t gap = is_mask ? script_.Pick(std::array<std::size_t, 3>{1, 2, 41}) : 1;
    for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = i % gap != 0 ? uint8_t{0} : noise[i];
    entry_.push_back(std::move(noise));
    return block.data() - reach.lowest;
  }
  uint8_t* Add(int bytes) { return Add(Reach{0, bytes}); }

  // Returns whether the kernel's bytes equal the formula's, with all its rows.
  template <typename Formula, typename Kernel>
  bool EndsAlike(Formula formula, Kernel kernel) {
    const std::vector<uint8_t> expected = ContentAfter(formula);
    for (const Rows rows : {Rows{}, Rows{KernelVariant::kScalar}, Rows{KernelVariant::kVector}}) {
      if (ContentAfter([&] { kernel(rows); }) != expected) return false;
    }
    return true;
  }

 private:
  // Returns all bytes after the work, which began with the noise.
  template <typename Work>
  std::vector<uint8_t> ContentAfter(Work work) {
    auto noise = entry_.begin();
    for (GuardedBytes& block : blocks_)
      std::copy_n((noise++)->begin(), block.end() - block.begin(), block.begin());
    work();
    std::vector<uint8_t> content;
    for (GuardedBytes& block : blocks_) content.insert(content.end(), block.begin(), block.end());
    return content;
  }

  fuzz::Script& script_;
  std::list<GuardedBytes> blocks_;
  std::vector<std::vector<uint8_t>> entry_;
};

// ---- The kernels: each returns its error, or null -----------------------------------------------

inline constexpr int kRotations[] = {0, 90, 180, 270, 360, 450, -90, -180, -270, -360};

// Places source and destination in one block: side by side in either order, so that the block's
// ends are theirs, or overlapping.
inline const char* CallCopy(fuzz::Script& script) {
  int rotation = script.Pick(kRotations);
  ZyImageBuffer src = {1, Side(script), Side(script), {}, {}}, dst = src;
  if (script.OneIn(32)) rotation = script.Raw<int32_t>();
  if ((rotation % 180 == 0) == script.OneIn(8)) std::swap(dst.width, dst.height);
  if (script.OneIn(32)) (script.OneIn(2) ? dst.width : dst.height) = Side(script);
  if (script.OneIn(32)) (script.OneIn(2) ? src.format : dst.format) = 2;
  Memory memory(script);
  for (unsigned p = 0; p < 2; ++p) {
    src.stride[p] = Pitch(script, src.width);
    dst.stride[p] = Pitch(script, dst.width);
    const auto [from, to] = CopiedPlaneOf(dst, src, p, rotation).Touched();
    const ptrdiff_t behind = from.end - to.lowest, ahead = from.lowest - to.end;
    ptrdiff_t gap =
        script.Pick(std::array{behind, ahead, behind, ahead, behind / 2, ahead / 2, ptrdiff_t{0}});
    if (script.OneIn(4)) gap += script.Between(-40, 40);
    Reach both = from;
    both.Add(to.lowest + gap, to.end - to.lowest);
    src.plane[p] = memory.Add(both);
    dst.plane[p] = src.plane[p] + gap;
  }
  ZyImageBuffer* to = &dst;
  const ZyImageBuffer* from = &src;
  MayLose(script, to, from, src.plane[0], src.plane[1], dst.plane[0], dst.plane[1]);
  bool copies = false, says_so = true;
  const bool alike = memory.EndsAlike(
      [&] { copies = to != nullptr && from != nullptr && CopyNaively(dst, src, rotation); },
      [&](Rows rows) {
        says_so &= RunRows(rows, ZyCopyBuffer, ZyCopyBufferVariant, to, from, rotation) == copies;
      });
  return alike && says_so ? nullptr : "a copy moves its pixels and says so";
}

using Shrink = void(const unsigned char*, unsigned char*, int, int, int);
using ShrinkVariant = void(KernelVariant, const unsigned char*, unsigned char*, int, int, int);

struct Downscaler {
  const char* name;
  Shrink* run;
  ShrinkVariant* variant;  // null for a single kind of rows
  int factor;
  int block;  // source columns per block; 0 for the functions without blocks
};

inline constexpr Downscaler kDownscalers[] = {
    {"plain half", resize_half, nullptr, 2, 0},
    {"plain quarter", resize_quarter, nullptr, 4, 0},
    {"half", resize_halfUseNeon, resize_halfUseNeonVariant, 2, 16},
    {"quarter", resize_quarterUseNeon, resize_quarterUseNeonVariant, 4, 16},
    {"eighth", resize_eighthUseNeon, resize_eighthUseNeonVariant, 8, 8},
};

inline const char* CallDownscaler(fuzz::Script& script) {
  const Downscaler& downscaler = script.Pick(kDownscalers);
  const int width = Side(script), height = Side(script), stride = Pitch(script, width);
  const ResizeWalk walk = WalkOf(downscaler.factor, downscaler.block, width, height, stride);
  Memory memory(script);
  const uint8_t* src = memory.Add(walk.Source());
  uint8_t* dst = memory.Add(walk.outputs() * walk.rows);
  MayLose(script, src, dst);
  const bool alike = memory.EndsAlike([&] { ShrinkNaively(walk, src, dst); },
                                      [&](Rows rows) {
                                        RunRows(rows, downscaler.run, downscaler.variant, src, dst,
                                                width, height, stride);
                                      });
  return alike ? nullptr : "a downscaler gives the means of its blocks";
}

inline void RunFilter(Rows rows, const FilterCall& c) {
  RunRows(rows, filterCorr3x3s8_v2, filterCorr3x3s8_v2Variant, c.src, c.dst, c.columns(), c.rows(),
          c.weights.corner, c.weights.centre, c.weights.edge, c.stride);
}
inline void RunMarkedFilter(Rows rows, const FilterCall& c) {
  RunRows(rows, filterCorr3x3s8_v2WithskinMap, filterCorr3x3s8_v2WithskinMapVariant, c.src, c.mask,
          c.dst, c.columns(), c.rows(), c.weights.corner, c.weights.centre, c.weights.edge,
          c.stride);
}
inline void RunSharpen(Rows rows, const FilterCall& c) {
  RunRows(rows, sharpenY, sharpenYVariant, c.src, c.dst, c.width, c.height, c.stride);
}
inline void RunMarkedSharpen(Rows, const FilterCall& c) {
  sharpenYWithSkinMap(c.src, c.dst, c.mask, c.width, c.height, c.stride);
}
inline void RunSmooth(Rows rows, const FilterCall& c) {
  RunRows(rows, smoothSkinMapGaussian, smoothSkinMapGaussianVariant, c.dst, c.columns(), c.rows());
}

struct Filter {
  const char* name;
  void (*run)(Rows, const FilterCall&);
  void (*naive)(const FilterCall&);
  bool takes_weights;  // or uses those of sharpening
};

inline constexpr Filter kFilters[] = {
    {"3x3", RunFilter, FilterNaively, true},
    {"masked 3x3", RunMarkedFilter, FilterMarkedNaively, true},
    {"sharpening", RunSharpen, FilterNaively, false},
    {"masked sharpening", RunMarkedSharpen, FilterMarkedNaively, false},
    {"smoothing", RunSmooth, SmoothNaively, false},
};

inline const char* CallFilter(fuzz::Script& script) {
  const Filter& filter = script.Pick(kFilters);
  const int width = Side(script), side = Side(script), stride = Pitch(script, width);
  const int height = width > 700 ? side % 64 : side;  // a wide one need not be tall
  const Weights drawn = script.OneIn(2) ? Weights{1, 20, -2} : script.Raw<Weights>();
  Memory memory(script);
  const uint8_t* src = memory.Add(PlaneReach(width, height, stride));
  const uint8_t* mask = memory.Add(PlaneReach(width / 2, height / 2, width / 2), true);
  uint8_t* dst = memory.Add(PlaneReach(width, height, width));
  const Weights weights = filter.takes_weights ? drawn : kSharpen;
  MayLose(script, src, mask, dst);
  const FilterCall call = {src, mask, dst, width, height, stride, weights};
  const bool alike =
      memory.EndsAlike([&] { filter.naive(call); }, [&](Rows rows) { filter.run(rows, call); });
  return alike ? nullptr : "a filter changes its pixels and no others";
}

inline constexpr std::array<int, 2> kViews[] = {{270, 0}, {90, 0},   {0, 1},  {0, 0},
                                                {180, 1}, {180, 0},  {90, 1}, {270, 1},
                                                {45, 1},  {-90, -1}, {0, 2}};

inline const char* CallUprightImages(fuzz::Script& script) {
  const auto& [orientation, flip] = script.Pick(kViews);
  const UprightCall call = {orientation, flip, Side(script), Side(script)};
  Memory memory(script);
  const uint8_t* luma = memory.Add(PlaneReach(call.width, call.height, call.width));
  const uint8_t* chroma = memory.Add(PlaneReach(call.width, call.height / 2, call.width));
  uint8_t* gray = memory.Add(call.pixels());
  uint8_t* bgr = memory.Add(3 * call.pixels());
  MayLose(script, luma, chroma, gray, bgr);
  const bool alike = memory.EndsAlike(
      [&] { ConvertNaively(call, luma, chroma, gray, bgr); },
      [&](Rows rows) {
        RunRows(rows, android::prepareDataForFaceAnalyse, android::prepareDataForFaceAnalyseVariant,
                luma, chroma, gray, bgr, call.width, call.height, call.orientation, call.flip);
      });
  return alike ? nullptr : "the half-size images are upright and in colour";
}

// A kernel's script: first the choices of its kind, then width and height.
struct KernelKind {
  const char* name;
  std::size_t choices;
  const char* (*call)(fuzz::Script& script);
};

inline constexpr KernelKind kKernelKinds[] = {
    {"Copy", std::size(kRotations), CallCopy},
    {"Shrink", std::size(kDownscalers), CallDownscaler},
    {"Filter", std::size(kFilters), CallFilter},
    {"UprightImages", std::size(kViews), CallUprightImages}};

}  // namespace testing_support

#endif  // ZY_TESTS_KERNEL_CALLS_H_
