// SPDX-License-Identifier: Apache-2.0
#include "bench/kernel_tasks.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "analysis/variants.h"
#include "bench/peers.h"
#include "image/resize.h"
#include "image/variants.h"
#include "image/zy_image_buffer.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/variants.h"

namespace bench {
namespace {

constexpr std::size_t kPage = 4096;
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

class TaskMaker {
 public:
  explicit TaskMaker(const Workspace& space)
      : space_(space),
        plane_{space.source.data(), space.destination.data(), space.width, space.height,
               space.pitch} {}

  std::vector<Task> Make() {
    AddCopy(0, 0.19, {kMemcpy, 1.05});
    AddCopy(0, 0, {kMemcpy, 1.5}, true);
    AddCopy(90, 0.75, {});
    AddCopy(180, 0.48, {kLibyuv, 0.85});
    AddCopy(270, 0.75, {});
    AddCopy(-90, 0, {});
    tasks_.back().is_measured = false;
    AddShrinks();
    AddCrop("270", 270, 0, 0.99);
    AddCrop("90", 90, 0, 1.12);
    AddCrop("0", 0, 0, 1.37);
    AddCrop("0, mirrored", 0, 1, 1.37);
    AddCrop("180", 180, 0, 1.37);
    AddCrop("180, mirrored", 180, 1, 1.37);
    for (const int orientation : {90, 270}) {  // unchanged by the mirror
      AddCrop(std::to_string(orientation) + ", mirrored", orientation, 1, 0);
      tasks_.back().is_measured = false;
    }
    AddSharpenY();
    AddCorrelation("filterCorr3x3s8_v2, weights within 16 bits", 1.60, 1, 20, -2);
    AddCorrelation("filterCorr3x3s8_v2, any weights", 3.00, -128, 127, 127);
    AddMasked("none", space_.no_marks.data(), 0.10);
    AddMasked("a quarter", space_.mask.data(), 1.10);
    AddMasked("all", space_.all_marks.data(), 2.00);
    AddSmooth();
    return std::move(tasks_);
  }

 private:
  Task& Add(std::string name, Work work, int parameter, double instruction_target) {
    Task& task = tasks_.emplace_back();
    task.name = std::move(name);
    task.work = work;
    task.parameter = parameter;
    task.instruction_target = instruction_target;
    task.source_bytes = space_.pixels();
    return task;
  }

  void AddCopy(int rotation, double instruction_target, HostTarget host_target,
               bool padded = false) {
    const bool turned = rotation == 90 || rotation == 270;
    const int columns = turned ? space_.height : space_.width;
    const int rows = turned ? space_.width : space_.height;
    const int from_pitch = padded ? space_.padded_pitch : space_.pitch;
    const int pitch = turned ? space_.turned_pitch : from_pitch;
    const ZyImageBuffer src = Describe(padded ? space_.padded_source : space_.source, space_.width,
                                       space_.height, from_pitch);
    const ZyImageBuffer dst =
        Describe(padded ? space_.padded_destination : space_.destination, columns, rows, pitch);
    Task& task =
        Add("ZyCopyBuffer, rotation " + std::to_string(rotation) + (padded ? ", padded rows" : ""),
            padded ? Work::kCopyPadded : Work::kCopy, rotation, instruction_target);
    task.host_target = std::move(host_target);
    task.source_bytes = space_.pixels() * 3 / 2;
    task.variants = BothVariants(
        [src, dst, rotation](KernelVariant variant) { Copy(variant, src, dst, rotation); });
    if (rotation == 0) task.variants = {{"rows", task.variants.front().run}};
  }

  void AddShrinks() {
    AddShrink("resize_half", 2, 0.215, PlainShrink(resize_half));
    AddShrink("resize_halfUseNeon", 2, 0.215, ShrinkVariants(resize_halfUseNeonVariant));
    AddShrink("resize_quarter", 4, 0.16, PlainShrink(resize_quarter));
    AddShrink("resize_quarterUseNeon", 4, 0.147, ShrinkVariants(resize_quarterUseNeonVariant));
    AddShrink("resize_eighthUseNeon", 8, 0.122, ShrinkVariants(resize_eighthUseNeonVariant));
    tasks_.back().host_target = {kLibyuv, 0.7};
  }

  template <typename Function>
  std::vector<Contender> PlainShrink(Function function) const {
    return {
        {"plain", [p = plane_, function] { function(p.from, p.to, p.width, p.height, p.pitch); }}};
  }

  template <typename Function>
  std::vector<Contender> ShrinkVariants(Function function) const {
    return BothVariants([p = plane_, function](KernelVariant variant) {
      function(variant, p.from, p.to, p.width, p.height, p.pitch);
    });
  }

  void AddShrink(const char* name, int factor, double instruction_target,
                 std::vector<Contender> variants) {
    Task& task = Add(name, Work::kShrink, factor, instruction_target);
    task.variants = std::move(variants);
  }

  void AddCrop(const std::string& name, int orientation, int flip, double instruction_target) {
    Task& task = Add("crop, orientation " + name, Work::kCrop, orientation, instruction_target);
    task.mirrored = flip == 1;
    task.source_bytes = space_.pixels() * 3 / 2;
    task.variants = BothVariants(
        [p = plane_, pixels = space_.pixels(), orientation, flip](KernelVariant variant) {
          android::prepareDataForFaceAnalyseVariant(variant, p.from, p.from + pixels, p.to,
                                                    p.to + pixels / 4, p.width, p.height,
                                                    orientation, flip);
        });
  }

  void AddSharpenY() {
    Task& task = Add("sharpenY", Work::kSharpen, 0, 1.30);
    task.host_target = {kOpenCv, 0.4};
    task.variants = BothVariants([p = plane_](KernelVariant variant) {
      sharpenYVariant(variant, p.from, p.to, p.width, p.height, p.pitch);
    });
  }

  void AddCorrelation(const char* name, double instruction_target, signed char corner,
                      signed char centre, signed char edge) {
    Task& task = Add(name, Work::kCorrelate, 0, instruction_target);
    task.variants = BothVariants([p = plane_, corner, centre, edge](KernelVariant variant) {
      filterCorr3x3s8_v2Variant(variant, p.from, p.to, p.columns(), p.rows(), corner, centre, edge,
                                p.pitch);
    });
  }

  void AddMasked(const std::string& share, const uint8_t* mask, double instruction_target) {
    Task& filter = Add("filterCorr3x3s8_v2WithskinMap, " + share + " marked", Work::kMasked, 0,
                       instruction_target);
    filter.variants = BothVariants([p = plane_, mask](KernelVariant variant) {
      filterCorr3x3s8_v2WithskinMapVariant(variant, p.from, mask, p.to, p.columns(), p.rows(), 1,
                                           20, -2, p.pitch);
    });
    Task& sharpen =
        Add("sharpenYWithSkinMap, " + share + " marked", Work::kMasked, 0, instruction_target);
    sharpen.variants = {{"vector", [p = plane_, mask] {
                           sharpenYWithSkinMap(p.from, p.to, mask, p.width, p.height, p.pitch);
                         }}};
  }

  void AddSmooth() {
    Task& task = Add("smoothSkinMapGaussian", Work::kSmooth, 0, 1.30);
    task.host_target = {kOpenCv, 0.65};
    task.variants = BothVariants([p = plane_](KernelVariant variant) {
      smoothSkinMapGaussianVariant(variant, p.to, p.columns(), p.rows());
    });
  }

  const Workspace& space_;
  Plane plane_;
  std::vector<Task> tasks_;
};

}  // namespace

Block::Block(std::size_t size)
    : size_((size + kPage - 1) / kPage * kPage),
      bytes_(static_cast<uint8_t*>(std::aligned_alloc(kPage, size_)), std::free) {
  if (bytes_ == nullptr) std::abort();
  std::memset(bytes_.get(), 0, size_);
}

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
  std::vector<Task> tasks = TaskMaker(space).Make();
  for ([[maybe_unused]] Task& task : tasks) {
#if ZY_BENCH_LIBYUV
    AddLibyuvPeers(space, &task);
#endif
#if ZY_BENCH_OPENCV
    AddOpenCvPeers(space, &task);
#endif
  }
  return tasks;
}

std::string PeerVersions() {
  std::string versions;
#if ZY_BENCH_LIBYUV
  versions += "; " + LibyuvVersion();
#endif
#if ZY_BENCH_OPENCV
  versions += "; " + OpenCvVersion();
#endif
  return versions;
}

}  // namespace bench
