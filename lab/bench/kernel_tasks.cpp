// SPDX-License-Identifier: Apache-2.0
#include "bench/kernel_tasks.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "analysis/variants.h"
#include "image/resize.h"
#include "image/variants.h"
#include "image/zy_image_buffer.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/variants.h"

namespace bench {
namespace {

constexpr int kPadding = 64;

// Marks whole regions, like skin: one block of 32 x 32 mask bytes in four.
void FillMask(const Workspace& space) {
  const int columns = space.width / 2;
  for (int y = 0; y < space.height / 2; ++y) {
    for (int x = 0; x < columns; ++x) {
      space.mask.data()[y * columns + x] = x / 32 % 2 == 0 && y / 32 % 2 == 0 ? 255 : 0;
    }
  }
}

ZyImageBuffer Describe(const Block& block, int width, int height, int pitch) {
  ZyImageBuffer image = {};
  image.format = kZyFormatYuv420SemiPlanar;
  image.width = width;
  image.height = height;
  image.stride[0] = image.stride[1] = pitch;
  image.plane[0] = block.data();
  image.plane[1] = block.data() + static_cast<std::ptrdiff_t>(pitch) * height;
  return image;
}

void Copy(KernelVariant variant, const ZyImageBuffer& src, ZyImageBuffer dst, int rotation) {
  ZyCopyBufferVariant(variant, &dst, &src, rotation);
}

// Returns the contenders "vector" and "scalar" of a function that takes the variant.
template <typename Run>
std::vector<Contender> BothVariants(Run run) {
  return {{"vector", [run] { run(KernelVariant::kVector); }},
          {"scalar", [run] { run(KernelVariant::kScalar); }}};
}

// A plane to be worked on.
struct Plane {
  const uint8_t* from;
  uint8_t* to;
  int width;
  int height;
  int pitch;  // of `from`

  unsigned columns() const { return static_cast<unsigned>(width); }
  unsigned rows() const { return static_cast<unsigned>(height); }
};

// A local variable, because the files of the libraries add them in any order before main().
std::vector<PeerLibrary>& Libraries() {
  static std::vector<PeerLibrary> libraries;
  return libraries;
}

// A rotation by -90 equals 270 and is only checked.
Task Copying(const Workspace& space, int rotation, double target, HostTarget host_target = {},
             bool padded = false) {
  const bool turned = rotation == 90 || rotation == 270;
  const int columns = turned ? space.height : space.width;
  const int rows = turned ? space.width : space.height;
  const int from_pitch = padded ? space.padded_pitch : space.pitch;
  const int pitch = turned ? space.turned_pitch : from_pitch;
  const ZyImageBuffer src =
      Describe(padded ? space.padded_source : space.source, space.width, space.height, from_pitch);
  const ZyImageBuffer dst =
      Describe(padded ? space.padded_destination : space.destination, columns, rows, pitch);
  std::vector<Contender> variants = BothVariants(
      [src, dst, rotation](KernelVariant variant) { Copy(variant, src, dst, rotation); });
  if (rotation == 0) variants = {{"rows", variants.front().run}};
  const std::string name = "ZyCopyBuffer, rotation " + std::to_string(rotation);
  if (padded) return {name + ", padded rows", target, variants, host_target, Work::kCopyPadded};
  return {name, target, variants, host_target, Work::kCopy, rotation, rotation >= 0};
}

template <typename Function>
Task PlainShrinking(const Plane& plane, const char* name, int factor, double target,
                    Function function) {
  const auto run = [p = plane, function] { function(p.from, p.to, p.width, p.height, p.pitch); };
  return {name, target, {{"plain", run}}, {}, Work::kShrink, factor};
}

template <typename Function>
Task Shrinking(const Plane& plane, const char* name, int factor, double target, Function function,
               HostTarget host_target = {}) {
  const auto run = [p = plane, function](KernelVariant variant) {
    function(variant, p.from, p.to, p.width, p.height, p.pitch);
  };
  return {name, target, BothVariants(run), host_target, Work::kShrink, factor};
}

// A mirrored picture at 90 or 270 equals the other one and is only checked.
Task Cropping(const Workspace& space, const Plane& plane, int orientation, bool mirrored,
              double target) {
  const auto run = [p = plane, pixels = space.pixels(), orientation,
                    flip = mirrored ? 1 : 0](KernelVariant variant) {
    android::prepareDataForFaceAnalyseVariant(variant, p.from, p.from + pixels, p.to,
                                              p.to + pixels / 4, p.width, p.height, orientation,
                                              flip);
  };
  const std::string name = "crop, orientation " + std::to_string(orientation);
  if (!mirrored) return {name, target, BothVariants(run), {}, Work::kCrop, orientation};
  const bool is_measured = orientation % 180 == 0;
  return {name + ", mirrored", target,      BothVariants(run), {},
          Work::kCropMirrored, orientation, is_measured};
}

std::vector<Contender> Sharpening(const Plane& plane) {
  return BothVariants([p = plane](KernelVariant variant) {
    sharpenYVariant(variant, p.from, p.to, p.width, p.height, p.pitch);
  });
}

std::vector<Contender> Correlation(const Plane& plane, signed char corner, signed char centre,
                                   signed char edge) {
  return BothVariants([p = plane, corner, centre, edge](KernelVariant variant) {
    filterCorr3x3s8_v2Variant(variant, p.from, p.to, p.columns(), p.rows(), corner, centre, edge,
                              p.pitch);
  });
}

void AddMasked(const Plane& plane, const std::string& share, const uint8_t* mask, double target,
               std::vector<Task>* tasks) {
  const auto filter = [p = plane, mask](KernelVariant variant) {
    filterCorr3x3s8_v2WithskinMapVariant(variant, p.from, mask, p.to, p.columns(), p.rows(), 1, 20,
                                         -2, p.pitch);
  };
  const auto sharpen = [p = plane, mask] {
    sharpenYWithSkinMap(p.from, p.to, mask, p.width, p.height, p.pitch);
  };
  const std::string name = ", " + share + " marked";
  tasks->push_back({"filterCorr3x3s8_v2WithskinMap" + name, target, BothVariants(filter)});
  tasks->push_back({"sharpenYWithSkinMap" + name, target, {{"vector", sharpen}}});
}

std::vector<Contender> Smoothing(const Plane& plane) {
  return BothVariants([p = plane](KernelVariant variant) {
    smoothSkinMapGaussianVariant(variant, p.to, p.columns(), p.rows());
  });
}

}  // namespace

void FillWithNoise(const Block& block, unsigned seed) {
  std::minstd_rand random(seed);
  std::generate_n(block.data(), block.size(), [&] { return static_cast<uint8_t>(random() >> 8); });
}

Workspace::Workspace(int frame_width, int frame_height, int padding)
    : width(frame_width),
      height(frame_height),
      pitch(frame_width + padding),
      turned_pitch(frame_height + padding),
      padded_pitch(frame_width + kPadding),
      source(PlaneSize(pitch) * 3 / 2),
      destination(static_cast<std::size_t>(std::max(pitch * height, turned_pitch * width)) * 3 / 2),
      padded_source(PlaneSize(padded_pitch) * 3 / 2),
      padded_destination(PlaneSize(padded_pitch) * 3 / 2),
      scratch(pixels() * 3),
      mask(pixels() / 4),
      no_marks(pixels() / 4),
      all_marks(pixels() / 4) {
  FillWithNoise(source, 1);
  FillWithNoise(padded_source, 3);
  FillWithNoise(destination, 2);
  FillMask(*this);
  std::memset(all_marks.data(), 255, all_marks.size());
}

std::vector<Task> MakeTasks(const Workspace& space) {
  const Plane plane = {space.source.data(), space.destination.data(), space.width, space.height,
                       space.pitch};
  std::vector<Task> tasks = {
      Copying(space, 0, 0.19, {kMemcpy, 1.05}),
      Copying(space, 0, 0, {kMemcpy, 1.5}, true),
      Copying(space, 90, 0.75),
      Copying(space, 180, 0.48, {kLibyuv, 0.85}),
      Copying(space, 270, 0.75),
      Copying(space, -90, 0),
      PlainShrinking(plane, "resize_half", 2, 0.215, resize_half),
      Shrinking(plane, "resize_halfUseNeon", 2, 0.215, resize_halfUseNeonVariant),
      PlainShrinking(plane, "resize_quarter", 4, 0.16, resize_quarter),
      Shrinking(plane, "resize_quarterUseNeon", 4, 0.147, resize_quarterUseNeonVariant),
      Shrinking(plane, "resize_eighthUseNeon", 8, 0.122, resize_eighthUseNeonVariant,
                {kLibyuv, 0.7}),
      Cropping(space, plane, 270, false, 0.99),
      Cropping(space, plane, 90, false, 1.12),
      Cropping(space, plane, 0, false, 1.37),
      Cropping(space, plane, 0, true, 1.37),
      Cropping(space, plane, 180, false, 1.37),
      Cropping(space, plane, 180, true, 1.37),
      Cropping(space, plane, 90, true, 0),
      Cropping(space, plane, 270, true, 0),
      {"sharpenY", 1.30, Sharpening(plane), {kOpenCv, 0.4}, Work::kSharpen},
      {"filterCorr3x3s8_v2, weights within 16 bits", 1.60, Correlation(plane, 1, 20, -2)},
      {"filterCorr3x3s8_v2, any weights", 3.00, Correlation(plane, -128, 127, 127)},
  };
  AddMasked(plane, "none", space.no_marks.data(), 0.10, &tasks);
  AddMasked(plane, "a quarter", space.mask.data(), 1.10, &tasks);
  AddMasked(plane, "all", space.all_marks.data(), 2.00, &tasks);
  tasks.push_back(
      {"smoothSkinMapGaussian", 1.30, Smoothing(plane), {kOpenCv, 0.65}, Work::kSmooth});
  for (Task& task : tasks) {
    if (!task.is_measured) continue;
    for (const PeerLibrary& library : PeerLibraries()) {
      for (Contender& peer : library.contenders(space, task)) task.peers.push_back(std::move(peer));
    }
  }
  return tasks;
}

bool AddPeers(PeerLibrary library) {
  Libraries().push_back(std::move(library));
  return true;
}

const std::vector<PeerLibrary>& PeerLibraries() { return Libraries(); }

}  // namespace bench
