// SPDX-License-Identifier: Apache-2.0
// nodecheck: says whether a node behaves.
#include "nodecheck/nodecheck.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <thread>

#include "common/exit_code.h"
#include "common/standard_streams.h"

namespace nodecheck {
namespace {

enum Verdict { kNone, kOk, kFailed, kSkipped };
constexpr const char* kWords[] = {"", "ok", "FAIL", "skip"};

// What a check tells its parent: memory that both share.
struct Report {
  Verdict verdict;
  char doing[128];
  char note[512];
};
Report* g_report = nullptr;

void Write(Verdict verdict, const std::string& note) {
  std::snprintf(g_report->note, sizeof(g_report->note), "%s", note.c_str());
  g_report->verdict = verdict;
}

[[noreturn]] void End(Verdict verdict, const std::string& note) {
  static std::mutex mutex;
  mutex.lock();  // for good: the first thread that ends the check has the word
  Write(verdict, note);
  std::fflush(stdout);
  _exit(0);
}

[[noreturn]] void RunChild(const Options& options, const Check& check) {
  Subject subject = {options, {}, nullptr};
  Doing("loading the libraries");
  Require(subject.device.Open(options.devices));
  Require(framework::OpenNode(options.node, &subject.entry));
  Write(kOk, check.run(subject));
  Doing("the end of the process");
  std::exit(0);  // a sanitizer may have something to say
}

// How a child ended that has not told of a failure itself.
std::string DescribeEnd(int status) {
  const std::string end = WIFSIGNALED(status)
                              ? std::string("crashed (") + strsignal(WTERMSIG(status)) + ")"
                              : "ended the process with " + std::to_string(WEXITSTATUS(status));
  return end + " during " + g_report->doing;
}

// Waits for a child, for so many seconds (0: as long as it takes); one that takes longer is ended.
bool Await(pid_t child, int seconds, int* status) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (waitpid(child, status, WNOHANG) == 0) {
    if (seconds != 0 && std::chrono::steady_clock::now() > end) {
      kill(child, SIGKILL);
      waitpid(child, status, 0);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void Run(const Options& options, const Check& check, int timeout_s) {
  *g_report = {};
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // it has no time limit of its own
    RunChild(options, check);
  }
  int status = 0;
  if (child < 0) return Write(kFailed, "there is no process for it");
  if (!Await(child, timeout_s, &status)) {
    return Write(kFailed, "hung for " + std::to_string(timeout_s) + " s in " + g_report->doing);
  }
  const bool is_told = g_report->verdict == kFailed || g_report->verdict == kSkipped;
  if (!is_told && (status != 0 || g_report->verdict == kNone)) Write(kFailed, DescribeEnd(status));
}

int Say(const std::string& message, int exit_code) {
  std::fprintf(stderr, "nodecheck: %s\n", message.c_str());
  return exit_code;
}

int EndOutput(int exit_code) {
  if (std::fflush(stdout) == 0) return exit_code;
  return Say("standard output: write failed", common::kExitFailure);
}

int RunAll(const Options& options, const Checks& checks, int timeout_s) {
  int counts[4] = {};
  for (const Check& check : checks) {
    Run(options, check, timeout_s);
    ++counts[g_report->verdict];
    std::printf("%-4s %s%s%s\n", kWords[g_report->verdict], check.name,
                *g_report->note != 0 ? ": " : "", g_report->note);
  }
  std::printf("%zu checks: %d ok, %d failed, %d skipped\n", checks.size(), counts[kOk],
              counts[kFailed], counts[kSkipped]);
  return EndOutput(counts[kFailed] == 0 ? common::kExitOk : common::kExitFailure);
}

// This process opens no library and starts no thread: each of its children begins afresh.
int Main(const Options& options) {
  Checks chosen;
  for (const Checks* group :
       {&kEntryChecks, &kRecordChecks, &kTagChecks, &kRequestChecks, &kLifeChecks, &kModelChecks}) {
    for (const Check& check : *group) {
      if (std::strstr(check.name, options.filter.c_str()) != nullptr) chosen.push_back(check);
    }
  }
  if (chosen.empty()) return Say("no check's name holds " + options.filter, common::kExitUsage);
  if (options.list) {
    for (const Check& check : chosen) std::printf("%-22s %s\n", check.name, check.about);
    return EndOutput(common::kExitOk);
  }
  void* const shared =
      mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return Say("out of memory", common::kExitFailure);
  g_report = static_cast<Report*>(shared);
  Run(options, {"", "", [](const Subject&) { return std::string(); }}, options.timeout_s);
  if (g_report->verdict != kOk) return Say(g_report->note, common::kExitFailure);
  if (!options.soak.empty()) return RunAll(options, {kSoak}, 0);
  return RunAll(options, chosen, options.timeout_s);
}

}  // namespace

void Fail(const std::string& what) { End(kFailed, what); }
void Skip(const std::string& reason) { End(kSkipped, reason); }

void Require(const common::Failure& failure) {
  if (failure) Fail(failure->message);
}

void Require(bool holds, const std::string& what, const std::string& expected,
             const std::string& seen) {
  if (!holds) Fail(what + ": expected " + expected + ", saw " + seen);
}

void Doing(const std::string& call) {
  static std::mutex mutex;
  std::lock_guard<std::mutex> lock(mutex);
  std::snprintf(g_report->doing, sizeof(g_report->doing), "%s", call.c_str());
}

const ChiNodeCallbacks& Subject::Start() const {
  Doing("the start of the node");
  Require(framework::Framework::Get().Start(entry));
  return framework::Framework::Get().Callbacks();
}

}  // namespace nodecheck

int main(int argc, char** argv) {
  common::KeepStandardStreamsApart();
  nodecheck::Options options;
  int exit_code = common::kExitOk;
  if (!nodecheck::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return common::RunWithinMemory("nodecheck", [&] { return nodecheck::Main(options); });
}
