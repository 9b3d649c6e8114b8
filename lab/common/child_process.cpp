// SPDX-License-Identifier: Apache-2.0
#include "common/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <new>
#include <thread>

namespace common {
namespace {

constexpr off_t kMostOutput = 1 << 20;
using Clock = std::chrono::steady_clock;

[[noreturn]] void BeChild(const std::function<void()>& run, int output) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // it has no own time limit
  setpgid(0, 0);                     // signals to its group end no other process
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  close(output);
  setvbuf(stdout, nullptr, _IOLBF, 0);
  run();
  _exit(0);
}

// Waits for a child, and ends one without progress.
void Await(pid_t child, const std::atomic<uint64_t>& progress, int seconds,
           const std::function<void()>& step, ChildEnd* end) {
  uint64_t seen = 0;
  auto last = Clock::now();
  while (waitpid(child, &end->status, WNOHANG) == 0) {
    step();
    if (seen != progress) last = Clock::now();
    seen = progress;
    if (!end->is_hung && Clock::now() - last > std::chrono::seconds(seconds)) {
      end->is_hung = true;
      kill(child, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  step();
}

// Returns whether a process is the program that names a sanitizer's frames, which outlives its
// reports.
bool IsSymbolizer(pid_t process) {
  std::string name;
  std::ifstream("/proc/" + std::to_string(process) + "/comm") >> name;
  return name.rfind("llvm-symbolizer", 0) == 0 || name == "addr2line";
}

// Ends the children that this process inherited; returns their number.
int EndOrphans() {
  int count = 0;
  const std::string path = "/proc/self/task/" + std::to_string(getpid()) + "/children";
  for (bool has_any = true; has_any;) {
    has_any = false;
    std::ifstream children(path);
    for (pid_t orphan = 0; children >> orphan; has_any = true) {
      count += IsSymbolizer(orphan) ? 0 : 1;
      kill(orphan, SIGKILL);
      waitpid(orphan, nullptr, 0);
    }
  }
  return count;
}

std::string ReadAll(int descriptor) {
  std::string text(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_END)), '\0');
  const ssize_t count = pread(descriptor, text.data(), text.size(), 0);
  text.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return text;
}

}  // namespace

std::optional<ChildEnd> RunInChild(const std::function<void()>& run,
                                   const std::atomic<uint64_t>& progress, int seconds,
                                   const std::function<void()>& meanwhile) {
  std::fflush(stdout);
  signal(SIGCHLD, SIG_DFL);  // a caller may ignore it, and then no child can be waited for
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  const int output = memfd_create("output", MFD_CLOEXEC);
  if (output < 0) return std::nullopt;
  fcntl(output, F_SETFL, O_APPEND);
  const pid_t child = fork();
  if (child == 0) BeChild(run, output);
  ChildEnd end;
  if (child > 0) {
    const auto step = [&] {
      meanwhile();
      if (lseek(output, 0, SEEK_END) > kMostOutput) (void)!ftruncate(output, 0);
    };
    Await(child, progress, seconds, step, &end);
    end.orphans = EndOrphans();
    end.output = ReadAll(output);
  }
  close(output);
  if (child < 0) return std::nullopt;
  return end;
}

void* MapShared(std::size_t size) {
  void* const shared =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::bad_alloc();
  return shared;
}

}  // namespace common
