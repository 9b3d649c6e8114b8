// SPDX-License-Identifier: Apache-2.0
// Times every kernel on this machine, beside its peers and a memcpy of the same bytes, and prints
// one table. All contenders of one task run in turns, in random order, and medians are compared:
// what else the machine does meets them alike.
// usage: kernel_bench [--rounds=N] [TASK]    (TASK: only tasks whose name contains it)
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/kernel_tasks.h"

namespace {

using bench::Contender;
using bench::Task;
using bench::Workspace;

constexpr double kSecondsPerRound = 0.02;

// Collects each contender's times of all rounds.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration) {
        times_[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
      }
    }
  }

  // Milliseconds.
  std::map<std::string, double> Medians() {
    std::map<std::string, double> medians;
    for (auto& [name, times] : times_) {
      const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
      std::nth_element(times.begin(), middle, times.end());
      medians[name] = *middle;
    }
    return medians;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
};

std::map<std::string, double> TimeContenders(const std::vector<Contender>& contenders, int rounds) {
  benchmark::ClearRegisteredBenchmarks();
  for (const Contender& contender : contenders) {
    benchmark::RegisterBenchmark(contender.name.c_str(),
                                 [&contender](benchmark::State& state) {
                                   for (auto _ : state) {
                                     contender.run();
                                     benchmark::ClobberMemory();
                                   }
                                 })
        ->Repetitions(rounds)
        ->MinTime(kSecondsPerRound)
        ->Unit(benchmark::kMillisecond);
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector, ".");
  return collector.Medians();
}

Contender Memcpy(const Workspace& space, std::size_t bytes) {
  return {bench::kMemcpy,
          [&space, bytes] { std::memcpy(space.destination.data(), space.source.data(), bytes); }};
}

std::vector<Contender> ContendersOf(const Workspace& space, const Task& task) {
  std::vector<Contender> all = task.variants;
  all.insert(all.end(), task.peers.begin(), task.peers.end());
  all.push_back(Memcpy(space, task.source_bytes));
  return all;
}

// One frame size of the table: what the kernels run on, and what was found.
struct Column {
  Column(int width, int height) : space(width, height), tasks(bench::MakeTasks(space, true)) {}

  Workspace space;
  std::vector<Task> tasks;
  std::map<std::string, double> medians;  // of the task at hand
};

void PrintRatio(double ours, const std::map<std::string, double>& medians, const char* peer) {
  const auto found = medians.find(peer);
  if (found == medians.end()) {
    std::printf("      -");
  } else {
    std::printf(" %6.2f", ours / found->second);
  }
}

// Whether a task's best variant is fast enough at every size.
std::string Verdict(const std::vector<Column>& columns, const Task& task) {
  if (task.host_target.peer.empty()) return "";
  char target[64];
  std::snprintf(target, sizeof(target), "%.2f of %s: ", task.host_target.ratio,
                task.host_target.peer.c_str());
  bool is_met = true;
  for (const Column& column : columns) {
    const auto peer = column.medians.find(task.host_target.peer);
    if (peer == column.medians.end()) return std::string(target) + "no peer";
    const double ratio = column.medians.at(task.variants.front().name) / peer->second;
    is_met = is_met && ratio <= task.host_target.ratio;
  }
  return std::string(target) + (is_met ? "met" : "MISSED");
}

void PrintRow(const std::vector<Column>& columns, const std::string& task,
              const std::string& contender, const std::string& verdict) {
  std::printf("%-48s %-25s", task.c_str(), contender.c_str());
  for (const Column& column : columns) {
    const double median = column.medians.at(contender);
    std::printf(" | %8.3f", median);
    PrintRatio(median, column.medians, bench::kMemcpy);
    PrintRatio(median, column.medians, bench::kLibyuv);
    PrintRatio(median, column.medians, bench::kOpenCv);
  }
  std::printf(" | %s\n", verdict.c_str());
}

void PrintHead(const std::vector<Column>& columns, int rounds) {
  std::printf("%s; medians of %d rounds in turns\n", bench::DescribePeers().c_str(), rounds);
#ifndef __aarch64__
  std::puts("Vector variants run through SIMDe on this machine: their figures are no Arm speeds.");
#endif
  std::puts("ms of processor time, and as a ratio to a memcpy of the source, libyuv and OpenCV");
  std::printf("%-48s %-25s", "", "");
  for (const Column& column : columns) {
    char size[32];
    std::snprintf(size, sizeof(size), "%dx%d", column.space.width, column.space.height);
    std::printf(" | %-29s", size);
  }
  std::printf(" |\n%-48s %-25s", "kernel", "by");
  for (std::size_t i = 0; i < columns.size(); ++i) {
    std::printf(" | %8s %6s %6s %6s", "ms", "memcpy", "libyuv", "OpenCV");
  }
  std::printf(" | target\n");
}

// Peers give other bytes where they round or choose in another way; here is by how much.
void PrintDifferences(const Column& column) {
  std::puts("\nlargest difference between a peer's bytes and the kernel's (edges left out):");
  for (const Task& task : column.tasks) {
    for (const Contender& peer : task.peers) {
      std::printf("%-48s %-25s %3d\n", task.name.c_str(), peer.name.c_str(),
                  bench::LargestDifference(column.space, task, peer));
    }
  }
}

void TimeTask(std::vector<Column>* columns, std::size_t index, int rounds) {
  for (Column& column : *columns) {
    column.medians = TimeContenders(ContendersOf(column.space, column.tasks[index]), rounds);
  }
  const Task& task = columns->front().tasks[index];
  for (const Contender& contender : task.variants) {
    const bool is_best = &contender == &task.variants.front();
    PrintRow(*columns, task.name, contender.name, is_best ? Verdict(*columns, task) : "");
  }
  for (const Contender& peer : task.peers) PrintRow(*columns, task.name, peer.name, "");
  PrintRow(*columns, task.name, bench::kMemcpy, "");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  int rounds = 11;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rounds=", 9) == 0) {
      rounds = std::max(1, std::atoi(argv[i] + 9));
    } else {
      only = argv[i];
    }
  }
  char in_turns[] = "--benchmark_enable_random_interleaving=true";
  char* flags[] = {argv[0], in_turns, nullptr};
  int flag_count = 2;
  benchmark::Initialize(&flag_count, flags);

  std::vector<Column> columns;
  columns.reserve(2);  // tasks point to their column's memory
  columns.emplace_back(1920, 1080);
  columns.emplace_back(3840, 2160);
  PrintHead(columns, rounds);
  for (std::size_t i = 0; i < columns.front().tasks.size(); ++i) {
    if (columns.front().tasks[i].name.find(only) != std::string::npos) {
      TimeTask(&columns, i, rounds);
    }
  }
  if (only.empty()) PrintDifferences(columns.front());
  return 0;
}
