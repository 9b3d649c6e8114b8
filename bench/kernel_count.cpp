// SPDX-License-Identifier: Apache-2.0
// Runs every kernel and peer once between marks, for the counting plugin. Prints one line for each
// region, in order: "TASK<tab>CONTENDER<tab>PIXELS<tab>TARGET", TARGET in instructions per pixel,
// "-" for none.
// usage: kernel_count [--kernels-only]
#include <cstdio>
#include <cstring>

#include "bench/kernel_tasks.h"
#include "bench/marks.h"

namespace {

// The first run binds symbols and lets peers allocate what they keep.
void Count(const bench::Task& task, const bench::Contender& contender, std::size_t pixels,
           bool is_judged) {
  contender.run();
  insncount_begin();
  contender.run();
  insncount_end();
  std::printf("%s\t%s\t%zu\t", task.name.c_str(), contender.name.c_str(), pixels);
  if (is_judged && task.instruction_target > 0) {
    std::printf("%.3f\n", task.instruction_target);
  } else {
    std::puts("-");
  }
}

}  // namespace

int main(int argc, char** argv) {
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
