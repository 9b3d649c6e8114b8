// SPDX-License-Identifier: Apache-2.0
#include "common/process_state.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#ifndef __has_feature  // clang's
#define __has_feature(x) 0
#endif

namespace common {
namespace {

constexpr bool kIsSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);

constexpr char kTasks[] = "/proc/self/task";

int64_t CountEntries(const char* directory) {
  const std::filesystem::directory_iterator entries(directory);
  return std::distance(begin(entries), end(entries));
}

std::string TreatmentOf(int signal) {
  sigset_t blocked = {};
  struct sigaction action = {};
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  sigaction(signal, nullptr, &action);
  if (sigismember(&blocked, signal) == 1) return "blocked";
  if (action.sa_handler == SIG_DFL) return "default";
  if (action.sa_handler == SIG_IGN) return "ignored";
  return "handled by " + std::to_string(reinterpret_cast<uintptr_t>(action.sa_handler));
}

}  // namespace

// Detects both: an emulator translates the first question, the kernel answers the second.
bool IsSlowMachine() {
  return kIsSanitized || std::filesystem::read_symlink("/proc/self/exe") !=
                             std::filesystem::read_symlink("/proc/thread-self/exe");
}

int64_t CountThreads() {
  pid_t id = 0;
  std::thread([&] { id = gettid(); }).join();
  while (std::filesystem::exists(kTasks + ("/" + std::to_string(id)))) std::this_thread::yield();
  return CountEntries(kTasks);
}

Footprint MeasureFootprint(int64_t threads, std::chrono::milliseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  while (CountEntries(kTasks) != threads && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  int64_t size = 0, pages = 0;
  std::ifstream("/proc/self/statm") >> size >> pages;
  return {pages * sysconf(_SC_PAGESIZE) / 1024, CountEntries(kTasks),
          CountEntries("/proc/self/fd")};
}

std::map<std::string, std::string> SurveyProcess() {
  std::map<std::string, std::string> all;
  struct stat file = {};
  for (int descriptor = 0; descriptor < 256; ++descriptor) {
    if (fstat(descriptor, &file) != 0) continue;
    all["descriptor " + std::to_string(descriptor)] =
        "file " + std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino);
  }
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    all[std::string("signal ") + strsignal(signal)] = TreatmentOf(signal);
  }
  all["working directory"] = std::filesystem::current_path();
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    all["variable " + text.substr(0, text.find('='))] = text.substr(text.find('=') + 1);
  }
  return all;
}

std::string FirstDifference(const std::map<std::string, std::string>& before,
                            const std::map<std::string, std::string>& after) {
  for (const auto& [name, value] : before) {
    const auto now = after.find(name);
    if (now == after.end()) return name + ": expected it kept, saw it gone";
    if (now->second != value) return name + ": expected " + value + ", saw " + now->second;
  }
  for (const auto& [name, value] : after) {
    const bool is_descriptor = name.rfind("descriptor ", 0) == 0;
    if (!is_descriptor && before.count(name) == 0) return name + ": expected none, saw " + value;
  }
  return "";
}

}  // namespace common
