// SPDX-License-Identifier: Apache-2.0
#include "bench/kernel_times.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <vector>

#include "bench/kernel_tasks.h"

namespace bench {
namespace {

constexpr int kRounds = 11;
constexpr double kRoundMs = 20;

using Medians = std::map<std::string, double>;  // milliseconds by contender

double ProcessorMs() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

// Returns the mean time of the runs that fit into a round.
double TimeRound(const Contender& contender) {
  const double begin = ProcessorMs();
  for (int runs = 1;; ++runs) {
    contender.run();
    const double time = ProcessorMs() - begin;
    if (time >= kRoundMs) return time / runs;
  }
}

// Alternates all contenders in random order, so that other load of the machine affects them alike.
Medians TimeContenders(std::vector<Contender> contenders) {
  static std::minstd_rand random;
  std::map<std::string, std::vector<double>> times;
  for (int round = 0; round < kRounds; ++round) {
    std::shuffle(contenders.begin(), contenders.end(), random);
    for (const Contender& contender : contenders) {
      times[contender.name].push_back(TimeRound(contender));
    }
  }
  Medians medians;
  for (auto& [name, series] : times) {
    std::nth_element(series.begin(), series.begin() + kRounds / 2, series.end());
    medians[name] = series[kRounds / 2];
  }
  return medians;
}

// Returns a task's variants, its peers, and a memcpy.
std::vector<Contender> ContendersOf(const Workspace& space, const Task& task) {
  std::vector<Contender> all = task.variants;
  all.insert(all.end(), task.peers.begin(), task.peers.end());
  const bool has_chroma = task.work == Work::kCopy || task.work == Work::kCopyPadded ||
                          task.work == Work::kCrop || task.work == Work::kCropMirrored;
  all.push_back({kMemcpy, [&space, bytes = has_chroma ? space.pixels() * 3 / 2 : space.pixels()] {
                   std::memcpy(space.destination.data(), space.source.data(), bytes);
                 }});
  return all;
}

// Returns whether a task's best variant meets its target; "" without a target.
std::string Verdict(const Medians& medians, const Task& task) {
  const HostTarget& target = task.host_target;
  if (target.peer.empty()) return "";
  const auto peer = medians.find(target.peer);
  if (peer == medians.end()) return "target needs " + target.peer;
  const bool is_met = medians.at(task.variants.front().name) <= target.ratio * peer->second;
  char text[64];
  std::snprintf(text, sizeof(text), "target %.2f of %s: %s", target.ratio, target.peer.c_str(),
                is_met ? "met" : "MISSED");
  return text;
}

void PrintRow(const Medians& medians, const Task& task, const std::string& contender) {
  const double median = medians.at(contender);
  std::printf("%-48s %-25s %8.3f", task.name.c_str(), contender.c_str(), median);
  for (const char* peer : {kMemcpy, kLibyuv, kOpenCv}) {
    const auto found = medians.find(peer);
    found == medians.end() ? std::printf("      -") : std::printf(" %6.2f", median / found->second);
  }
  const bool is_best = contender == task.variants.front().name;
  std::printf("  %s\n", is_best ? Verdict(medians, task).c_str() : "");
}

void PrintTable(int width, int height, const std::string& only) {
  std::printf("\n%-4dx%-43d %-25s %8s %6s %6s %6s\n", width, height, "by", "ms", kMemcpy, kLibyuv,
              kOpenCv);
  const Workspace space(width, height);
  for (const Task& task : MakeTasks(space)) {
    if (!task.is_measured || task.name.find(only) == std::string::npos) continue;
    const std::vector<Contender> contenders = ContendersOf(space, task);
    const Medians medians = TimeContenders(contenders);
    for (const Contender& contender : contenders) PrintRow(medians, task, contender.name);
    std::fflush(stdout);
  }
}

}  // namespace

void PrintKernelTimes(const std::string& only) {
  std::printf("medians of %d alternating rounds", kRounds);
  for (const PeerLibrary& library : PeerLibraries()) std::printf("; %s", library.version.c_str());
  std::puts("");
#ifndef __aarch64__
  std::puts("Vector variants run through SIMDe on this machine: these are not Arm speeds.");
#endif
  std::puts("ms of processor time, and as a ratio to a memcpy of the source, libyuv and OpenCV");
  PrintTable(1920, 1080, only);
  PrintTable(3840, 2160, only);
}

}  // namespace bench
