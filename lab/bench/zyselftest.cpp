// SPDX-License-Identifier: Apache-2.0
// zyselftest: runs every kernel and variant on generated pictures and compares the bytes with
// committed digests. It needs only the C++ runtime, so it can be pushed to a phone and run there. A
// desktop's bench is the same program with peers.
#include <cinttypes>
#include <cstdio>
#include <deque>
#include <map>

#include "bench/kernel_tasks.h"
#include "bench/kernel_times.h"
#include "bench/marks.h"
#include "common/digest.h"

namespace {

using bench::Contender;
using bench::Task;
using bench::Workspace;

constexpr char kUsage[] =
    "usage: zyselftest [--print | --time [NAME] | --count]\n"
    "  --print        print the digests of the last variants instead of checking\n"
    "  --time [NAME]  time the kernels whose name contains NAME\n"
    "  --count        run each once, for the counting plugin; print a line for each region:\n"
    "                 TASK<tab>CONTENDER<tab>PIXELS<tab>TARGET (instructions per pixel, or -)\n";

const std::map<std::string, uint64_t> kGolden = {
#include "bench/kernel_digests.txt"
};

// Odd; too small and large enough for vector rows that rotate; a multiple of 8, of 16; and a
// camera's size. A few bytes beyond each row do not belong to the picture.
constexpr int kSizes[][2] = {{37, 23}, {101, 75}, {40, 24}, {48, 32}, {640, 480}};
constexpr int kPadding = 19;

// A frame size with all its tasks.
struct Frame {
  Frame(int width, int height)
      : space(width, height, kPadding),
        tasks(bench::MakeTasks(space)),
        name(", " + std::to_string(width) + "x" + std::to_string(height)) {
    uint8_t* const mask = space.mask.data();
    for (std::size_t i = 0; i < space.mask.size(); i += 3) mask[i] = mask[i] == 0 ? 1 : 0;
  }

  Workspace space;
  std::vector<Task> tasks;
  std::string name;
};

// Returns the digest of all bytes after a contender's run, including those that must not change.
uint64_t DigestOf(const Workspace& space, const Contender& contender) {
  for (const bench::Block* block : {&space.destination, &space.padded_destination}) {
    bench::FillWithNoise(*block, 2);
  }
  contender.run();
  const uint64_t digest = common::Digest(space.destination.data(), space.destination.size());
  return common::Digest(space.padded_destination.data(), space.padded_destination.size(), digest);
}

// Returns the sizes at which a variant's bytes differ from the committed digests.
std::string WrongSizes(const std::deque<Frame>& frames, std::size_t task, std::size_t variant) {
  std::string wrong;
  for (const Frame& frame : frames) {
    const Task& work = frame.tasks[task];
    const auto golden = kGolden.find(work.name + frame.name);
    const uint64_t digest = DigestOf(frame.space, work.variants[variant]);
    if (golden == kGolden.end() || golden->second != digest) wrong += frame.name;
  }
  return wrong;
}

int Check(const std::deque<Frame>& frames) {
  const std::vector<Task>& tasks = frames.front().tasks;
  int passed = 0, failed = 0;
  for (std::size_t i = 0; i < tasks.size(); ++i) {
    for (std::size_t v = 0; v < tasks[i].variants.size(); ++v) {
      const std::string wrong = WrongSizes(frames, i, v);
      std::printf("%s  %-7s %s%s\n", wrong.empty() ? "PASS" : "FAIL",
                  tasks[i].variants[v].name.c_str(), tasks[i].name.c_str(), wrong.c_str());
      ++(wrong.empty() ? passed : failed);
    }
  }
  const bool complete = kGolden.size() == tasks.size() * frames.size();
  std::printf("%d passed, %d failed%s\n", passed, failed,
              complete ? "" : "; kernel_digests.txt has kernels that no longer exist");
  return failed == 0 && complete ? 0 : 1;
}

void PrintDigests(const std::deque<Frame>& frames) {
  for (std::size_t i = 0; i < frames.front().tasks.size(); ++i) {
    for (const Frame& frame : frames) {
      const Task& work = frame.tasks[i];
      std::printf("{\"%s%s\", 0x%016" PRIx64 "},\n", work.name.c_str(), frame.name.c_str(),
                  DigestOf(frame.space, work.variants.back()));
    }
  }
}

// Runs twice: the first run binds symbols and lets peers allocate their buffers.
void Count(const Task& task, const Contender& contender, std::size_t pixels, double target) {
  contender.run();
  insncount_begin();
  contender.run();
  insncount_end();
  std::printf("%s\t%s\t%zu\t", task.name.c_str(), contender.name.c_str(), pixels);
  std::printf(target > 0 ? "%.3f\n" : "-\n", target);
}

void CountAll() {
  const Workspace space(1920, 1080);
  for (const Task& task : bench::MakeTasks(space)) {
    if (!task.is_measured) continue;
    for (const Contender& variant : task.variants) {
      const bool is_best = &variant == &task.variants.front();
      Count(task, variant, space.pixels(), is_best ? task.instruction_target : 0);
    }
    for (const Contender& peer : task.peers) Count(task, peer, space.pixels(), 0);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--time" && argc <= 3) {
    bench::PrintKernelTimes(argc == 3 ? argv[2] : "");
  } else if (mode == "--count" && argc == 2) {
    CountAll();
  } else if (argc == 1 || (mode == "--print" && argc == 2)) {
    std::deque<Frame> frames;  // a deque keeps addresses: tasks point to their frame's memory
    for (const auto& [width, height] : kSizes) frames.emplace_back(width, height);
    if (argc == 1) return Check(frames);
    PrintDigests(frames);
  } else {
    std::fputs(kUsage, stderr);
    return 2;
  }
  return 0;
}
