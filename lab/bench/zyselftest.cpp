// SPDX-License-Identifier: Apache-2.0
// zyselftest: runs every kernel with each of its variants on made-up pictures and compares the
// bytes with committed digests. Needs nothing but the C++ runtime, so that it can be pushed to a
// phone and run there.
// usage: zyselftest [--print]    (--print: prints the digests instead, of the last variants)
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>

#include "bench/kernel_tasks.h"
#include "common/digest.h"

namespace {

const std::map<std::string, uint64_t> kGolden = {
#include "bench/kernel_digests.txt"
};

// Odd, too small and large enough for vector rows that turn a picture; a multiple of 8, of 16; and
// one that a camera delivers. Behind each row lie some bytes that are not the picture's.
constexpr int kSizes[][2] = {{37, 23}, {101, 75}, {40, 24}, {48, 32}, {640, 480}};
constexpr int kPadding = 19;
constexpr int kTimedRuns = 5;

// A frame size with all that runs on it.
struct Frame {
  Frame(int width, int height, int padding)
      : space(width, height, padding),
        tasks(bench::AllTasks(space)),
        name(", " + std::to_string(width) + "x" + std::to_string(height)) {
    uint8_t* const mask = space.mask.data();
    for (std::size_t i = 0; i < space.mask.size(); i += 3) mask[i] = mask[i] == 0 ? 1 : 0;
  }

  bench::Workspace space;
  std::vector<bench::Task> tasks;
  std::string name;
};

// 64-bit FNV-1a of all that a contender leaves behind, bytes that should have stayed included.
uint64_t DigestOf(const bench::Workspace& space, const bench::Contender& contender) {
  for (const bench::Block* block : {&space.destination, &space.padded_destination}) {
    bench::FillWithNoise(*block, 2);
  }
  contender.run();
  uint64_t digest = common::kEmptyDigest;
  for (const bench::Block* block : {&space.destination, &space.padded_destination}) {
    digest = common::Digest(block->data(), block->size(), digest);
  }
  return digest;
}

// The shortest of a few runs.
double NanosecondsPerPixel(const bench::Workspace& space, const bench::Contender& contender) {
  using Clock = std::chrono::steady_clock;
  Clock::duration shortest = Clock::duration::max();
  for (int i = 0; i < kTimedRuns; ++i) {
    const Clock::time_point start = Clock::now();
    contender.run();
    shortest = std::min(shortest, Clock::now() - start);
  }
  return std::chrono::duration<double, std::nano>(shortest).count() /
         static_cast<double>(space.pixels());
}

// The sizes at which a variant's bytes are not the committed ones.
std::string WrongSizes(const std::vector<Frame>& frames, std::size_t task, std::size_t variant) {
  std::string wrong;
  for (const Frame& frame : frames) {
    const bench::Task& work = frame.tasks[task];
    const auto golden = kGolden.find(work.name + frame.name);
    const uint64_t digest = DigestOf(frame.space, work.variants[variant]);
    if (golden == kGolden.end() || golden->second != digest) wrong += frame.name;
  }
  return wrong;
}

void PrintDigests(const std::vector<Frame>& frames, std::size_t task) {
  for (const Frame& frame : frames) {
    const bench::Task& work = frame.tasks[task];
    std::printf("{\"%s%s\", 0x%016" PRIx64 "},\n", work.name.c_str(), frame.name.c_str(),
                DigestOf(frame.space, work.variants.back()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool prints = argc == 2 && std::strcmp(argv[1], "--print") == 0;
  if (argc != 1 && !prints) {
    std::fputs("usage: zyselftest [--print]\n", stderr);
    return 2;
  }
  std::vector<Frame> frames;
  frames.reserve(std::size(kSizes));  // tasks point to their frame's memory
  for (const auto& [width, height] : kSizes) frames.emplace_back(width, height, kPadding);
  const Frame timed(1920, 1080, 0);
  int passed = 0, failed = 0;
  if (!prints) std::puts("      rows    ns/pixel  kernel (timed at 1920x1080)");
  for (std::size_t i = 0; i < timed.tasks.size(); ++i) {
    const bench::Task& task = timed.tasks[i];
    if (prints) PrintDigests(frames, i);
    for (std::size_t v = 0; v < task.variants.size() && !prints; ++v) {
      const std::string wrong = WrongSizes(frames, i, v);
      std::printf("%s  %-7s %8.3f  %s%s\n", wrong.empty() ? "PASS" : "FAIL",
                  task.variants[v].name.c_str(), NanosecondsPerPixel(timed.space, task.variants[v]),
                  task.name.c_str(), wrong.c_str());
      ++(wrong.empty() ? passed : failed);
    }
  }
  if (prints) return 0;
  const bool complete = kGolden.size() == timed.tasks.size() * frames.size();
  std::printf("%d passed, %d failed%s\n", passed, failed,
              complete ? "" : "; there are digests of kernels that are no more");
  return failed == 0 && complete ? 0 : 1;
}
