// SPDX-License-Identifier: Apache-2.0
// zyselftest: runs every kernel with its scalar and its vector rows on made-up pictures and
// compares the bytes with committed digests. Needs nothing but the C++ runtime, so that it can be
// pushed to a phone and run there.
#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "analysis/variants.h"
#include "base/kernel_variant.h"
#include "image/resize.h"
#include "image/variants.h"
#include "sharpen/filter_corr3x3.h"
#include "sharpen/sharpen_y.h"
#include "sharpen/variants.h"

namespace {

struct Golden {
  const char* name;
  uint64_t digest;
};

const Golden kGolden[] = {
#include "tests/golden/kernel_digests.txt"
};

struct Size {
  int width;
  int height;
};

// Odd, too small and large enough for vector rows that turn a picture; a multiple of 8, of 16; and
// one that a camera delivers.
constexpr Size kSizes[] = {{37, 23}, {101, 75}, {40, 24}, {48, 32}, {640, 480}};
constexpr Size kTimedSize = {1920, 1080};
constexpr int kTimedRuns = 5;

// Rows of `width` bytes with some bytes behind each.
int PitchOf(int width) { return width / 64 * 64 + 64; }

// A stream of bytes that follows from its seed on every machine.
class Noise {
 public:
  explicit Noise(uint64_t seed) : state_(seed) {}

  uint8_t Byte() {
    state_ += 0x9e3779b97f4a7c15;
    uint64_t mixed = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
    return static_cast<uint8_t>(mixed >> 56);
  }

 private:
  uint64_t state_;
};

uint64_t Digest(const void* data, std::size_t size) {  // 64-bit FNV-1a
  const auto* bytes = static_cast<const uint8_t*>(data);
  uint64_t digest = 0xcbf29ce484222325;
  for (std::size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 0x100000001b3;
  return digest;
}

// What a kernel reads and writes: every buffer holds a picture of the size however it is turned,
// and the output holds noise at first, so that the digest of it all shows a byte that should have
// stayed.
struct Workspace {
  Workspace(Size picture, uint64_t seed)
      : size(picture),
        pitch(PitchOf(picture.width)),
        turned_pitch(PitchOf(picture.height)),
        source(Capacity(picture)),
        mask(Capacity(picture)),
        output(Capacity(picture)) {
    Noise noise(seed);
    for (uint8_t& byte : source) byte = noise.Byte();
    for (uint8_t& byte : output) byte = noise.Byte();
    for (uint8_t& byte : mask) byte = noise.Byte() % 2 == 0 ? 0 : noise.Byte();
  }

  static std::size_t Capacity(Size picture) {
    const auto side = static_cast<std::size_t>(PitchOf(std::max(picture.width, picture.height)));
    return side * side * 3 / 2;
  }

  const Size size;
  const int pitch;
  const int turned_pitch;  // of a picture that lies on its side
  std::vector<uint8_t> source;
  std::vector<uint8_t> mask;
  std::vector<uint8_t> output;
};

using Run = std::function<void(KernelVariant, Workspace&)>;

struct Kernel {
  std::string name;  // with its options
  bool has_variants;
  Run run;
};

ZyImageBuffer Describe(uint8_t* pixels, Size size, int pitch) {
  uint8_t* const chroma = pixels + std::ptrdiff_t{pitch} * size.height;
  return {kZyFormatYuv420SemiPlanar,
          size.width,
          size.height,
          {pitch, pitch, 0, 0},
          {pixels, chroma, nullptr, nullptr}};
}

void Copy(KernelVariant variant, Workspace& space, int rotation) {
  const ZyImageBuffer src = Describe(space.source.data(), space.size, space.pitch);
  ZyImageBuffer dst = Describe(space.output.data(), space.size, space.pitch);
  if (rotation == 90 || rotation == 270) {
    dst = Describe(space.output.data(), {space.size.height, space.size.width}, space.turned_pitch);
  }
  if (ZyCopyBufferVariant(variant, &dst, &src, rotation) != 1) space.output.clear();
}

void Crop(KernelVariant variant, Workspace& space, int orientation, int flip) {
  const std::ptrdiff_t pixels = std::ptrdiff_t{space.size.width} * space.size.height;
  android::prepareDataForFaceAnalyseVariant(
      variant, space.source.data(), space.source.data() + pixels, space.output.data(),
      space.output.data() + pixels / 4, space.size.width, space.size.height, orientation, flip);
}

template <auto kResize>
void Shrink(KernelVariant variant, Workspace& space) {
  kResize(variant, space.source.data(), space.output.data(), space.size.width, space.size.height,
          space.pitch);
}

template <auto kResize>
void ShrinkPlainly(KernelVariant, Workspace& space) {
  kResize(space.source.data(), space.output.data(), space.size.width, space.size.height,
          space.pitch);
}

unsigned Width(const Workspace& space) { return static_cast<unsigned>(space.size.width); }
unsigned Height(const Workspace& space) { return static_cast<unsigned>(space.size.height); }

struct Weights {
  signed char corner;
  signed char centre;
  signed char edge;
};

void Correlate(KernelVariant variant, Workspace& space, Weights weights) {
  filterCorr3x3s8_v2Variant(variant, space.source.data(), space.output.data(), Width(space),
                            Height(space), weights.corner, weights.centre, weights.edge,
                            space.pitch);
}

void CorrelateMarked(KernelVariant, Workspace& space, Weights weights) {
  filterCorr3x3s8_v2WithskinMap(space.source.data(), space.mask.data(), space.output.data(),
                                Width(space), Height(space), weights.corner, weights.centre,
                                weights.edge, space.pitch);
}

void Sharpen(KernelVariant variant, Workspace& space) {
  sharpenYVariant(variant, space.source.data(), space.output.data(), space.size.width,
                  space.size.height, space.pitch);
}

void SharpenMarked(KernelVariant, Workspace& space) {
  sharpenYWithSkinMap(space.source.data(), space.output.data(), space.mask.data(), space.size.width,
                      space.size.height, space.pitch);
}

void Smooth(KernelVariant variant, Workspace& space) {
  smoothSkinMapGaussianVariant(variant, space.output.data(), Width(space), Height(space));
}

std::vector<Kernel> ImageKernels() {
  std::vector<Kernel> kernels;
  for (const int rotation : {0, 90, 180, 270, -90}) {
    kernels.push_back(
        {"ZyCopyBuffer, rotation " + std::to_string(rotation), true,
         [=](KernelVariant variant, Workspace& space) { Copy(variant, space, rotation); }});
  }
  kernels.push_back({"resize_half", false, ShrinkPlainly<resize_half>});
  kernels.push_back({"resize_quarter", false, ShrinkPlainly<resize_quarter>});
  kernels.push_back({"resize_halfUseNeon", true, Shrink<resize_halfUseNeonVariant>});
  kernels.push_back({"resize_quarterUseNeon", true, Shrink<resize_quarterUseNeonVariant>});
  kernels.push_back({"resize_eighthUseNeon", true, Shrink<resize_eighthUseNeonVariant>});
  return kernels;
}

std::vector<Kernel> AnalysisKernels() {
  std::vector<Kernel> kernels;
  for (const int orientation : {0, 90, 180, 270}) {
    for (const int flip : {0, 1}) {
      kernels.push_back({"prepareDataForFaceAnalyse, orientation " + std::to_string(orientation) +
                             ", flip " + std::to_string(flip),
                         true, [=](KernelVariant variant, Workspace& space) {
                           Crop(variant, space, orientation, flip);
                         }});
    }
  }
  return kernels;
}

std::vector<Kernel> SharpenKernels() {
  constexpr Weights kNarrow = {-3, 76, -12};  // sums fit 16 bits
  constexpr Weights kWide = {-100, 127, 90};  // and these do not
  const auto with = [](auto function, Weights weights) {
    return [=](KernelVariant variant, Workspace& space) { function(variant, space, weights); };
  };
  return {{"filterCorr3x3s8_v2, narrow weights", true, with(Correlate, kNarrow)},
          {"filterCorr3x3s8_v2, wide weights", true, with(Correlate, kWide)},
          {"filterCorr3x3s8_v2WithskinMap", false, with(CorrelateMarked, kWide)},
          {"sharpenY", true, Sharpen},
          {"sharpenYWithSkinMap", false, SharpenMarked},
          {"smoothSkinMapGaussian", true, Smooth}};
}

std::vector<Kernel> AllKernels() {
  std::vector<Kernel> kernels = ImageKernels();
  for (const Kernel& kernel : AnalysisKernels()) kernels.push_back(kernel);
  for (const Kernel& kernel : SharpenKernels()) kernels.push_back(kernel);
  return kernels;
}

std::string CaseName(const Kernel& kernel, Size size) {
  return kernel.name + ", " + std::to_string(size.width) + "x" + std::to_string(size.height);
}

uint64_t DigestOf(const Kernel& kernel, KernelVariant variant, Size size) {
  const std::string name = CaseName(kernel, size);
  Workspace space(size, Digest(name.data(), name.size()));
  kernel.run(variant, space);
  return Digest(space.output.data(), space.output.size());
}

bool IsGolden(const std::string& name, uint64_t digest) {
  return std::any_of(std::begin(kGolden), std::end(kGolden), [&](const Golden& golden) {
    return name == golden.name && digest == golden.digest;
  });
}

// The shortest of a few runs, in nanoseconds per source pixel.
double Time(const Kernel& kernel, KernelVariant variant, Workspace& space) {
  using Clock = std::chrono::steady_clock;
  std::chrono::duration<double, std::nano> shortest = Clock::duration::max();
  for (int i = 0; i < kTimedRuns; ++i) {
    const Clock::time_point start = Clock::now();
    kernel.run(variant, space);
    shortest = std::min<decltype(shortest)>(shortest, Clock::now() - start);
  }
  return shortest.count() / space.size.width / space.size.height;
}

bool Check(const Kernel& kernel, KernelVariant variant, const char* rows, Workspace& timed) {
  std::string wrong;
  for (const Size size : kSizes) {
    const std::string name = CaseName(kernel, size);
    if (!IsGolden(name, DigestOf(kernel, variant, size))) {
      wrong += " " + name.substr(kernel.name.size() + 2);
    }
  }
  std::printf("%s  %-7s %8.3f  %s%s%s\n", wrong.empty() ? "PASS" : "FAIL", rows,
              Time(kernel, variant, timed), kernel.name.c_str(), wrong.empty() ? "" : ": wrong at",
              wrong.c_str());
  std::fflush(stdout);
  return wrong.empty();
}

int CheckAll() {
  const std::vector<Kernel> kernels = AllKernels();
  Workspace timed(kTimedSize, 1);
  int passed = 0, failed = 0;
  const auto check = [&](const Kernel& kernel, KernelVariant variant, const char* rows) {
    ++(Check(kernel, variant, rows, timed) ? passed : failed);
  };
  if (ZY_HAVE_NEON == 0) std::printf("no vector header: vector rows are scalar ones\n");
  std::printf("      rows    ns/pixel  kernel (timed at %dx%d)\n", kTimedSize.width,
              kTimedSize.height);
  for (const Kernel& kernel : kernels) {
    check(kernel, KernelVariant::kScalar, kernel.has_variants ? "scalar" : "only");
    if (kernel.has_variants) check(kernel, KernelVariant::kVector, "vector");
  }
  if (std::size(kGolden) != kernels.size() * std::size(kSizes)) {
    std::printf("FAIL  the digests are not those of the kernels\n");
    ++failed;
  }
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}

void PrintDigests() {
  for (const Kernel& kernel : AllKernels()) {
    for (const Size size : kSizes) {
      std::printf("{\"%s\", 0x%016" PRIx64 "},\n", CaseName(kernel, size).c_str(),
                  DigestOf(kernel, KernelVariant::kScalar, size));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 1) return CheckAll();
  if (argc == 2 && std::strcmp(argv[1], "--print") == 0) {
    PrintDigests();
    return 0;
  }
  std::fprintf(stderr,
               "usage: zyselftest [--print]\n"
               "Checks every kernel against the digests built in, and times it.\n"
               "--print prints the digests of the scalar rows instead, for "
               "tests/golden/kernel_digests.txt.\n"
               "Exit status: 0 all passed, 1 some failed, 2 usage.\n");
  return 2;
}
