// SPDX-License-Identifier: Apache-2.0
// Runs every kernel and peer once between marks, for the counting plugin. Prints one line for each
// region, in order: "TASK<tab>CONTENDER<tab>PIXELS<tab>TARGET", TARGET in instructions per pixel,
// "-" for none.
// usage: kernel_count [--kernels-only | --growth]
//   --kernels-only: no peers
//   --growth: the best variants alone, on frames of five sizes, with the size for CONTENDER
#include <cstdio>
#include <cstring>

#include "bench/kernel_tasks.h"
#include "bench/marks.h"

namespace {

// The first run binds symbols and lets peers allocate what they keep.
void CountOnce(const bench::Contender& contender) {
  contender.run();
  insncount_begin();
  contender.run();
  insncount_end();
}

void Count(const bench::Task& task, const bench::Contender& contender, std::size_t pixels,
           bool is_judged) {
  CountOnce(contender);
  std::printf("%s\t%s\t%zu\t", task.name.c_str(), contender.name.c_str(), pixels);
  if (is_judged && task.instruction_target > 0) {
    std::printf("%.3f\n", task.instruction_target);
  } else {
    std::puts("-");
  }
}

void CountGrowth() {
  constexpr int kSizes[][2] = {{320, 240}, {1280, 720}, {1920, 1080}, {3840, 2160}, {7680, 4320}};
  for (const auto& [width, height] : kSizes) {
    const bench::Workspace space(width, height);
    for (const bench::Task& task : bench::MakeTasks(space, false)) {
      CountOnce(task.variants.front());
      std::printf("%s\t%dx%d\t%zu\t-\n", task.name.c_str(), width, height, space.pixels());
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--growth") == 0) {
    CountGrowth();
    return 0;
  }
  const bool with_peers = argc < 2 || std::strcmp(argv[1], "--kernels-only") != 0;
  const bench::Workspace space(1920, 1080);
  if (with_peers) std::fprintf(stderr, "peers: %s\n", bench::DescribePeers().c_str());
  for (const bench::Task& task : bench::MakeTasks(space, with_peers)) {
    for (const bench::Contender& variant : task.variants) {
      Count(task, variant, space.pixels(), &variant == &task.variants.front());
    }
    for (const bench::Contender& peer : task.peers) Count(task, peer, space.pixels(), false);
  }
  return 0;
}
