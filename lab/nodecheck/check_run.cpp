// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>

#include "common/child_process.h"
#include "common/program.h"
#include "framework/crash_report.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

// Exit status of a child that ran to its end; no node would choose it.
constexpr int kFinalWord = 87;

// A check's report to its parent, in shared memory.
struct Report {
  std::atomic<Verdict> verdict;
  std::atomic<uint64_t> progress;
  std::atomic<uint32_t> row_count;
  char doing[160], note[512], rows[16][128];
  framework::CrashReport crash;
};
struct Shared {
  Report report;
  Expectations expected;
};
Shared* g_shared = nullptr;
const Check* g_check_here = nullptr;  // the check that runs in the first process

[[noreturn]] void EndCheck(Verdict verdict, const std::string& note) {
  static std::mutex mutex;
  mutex.lock();  // never unlocked: only the first thread that ends the check reports
  Note(note);
  g_shared->report.verdict = verdict;
  if (g_check_here == nullptr) _exit(0);
  PrintResult({g_check_here, verdict, note, "", "", 0});
  _exit(verdict == Verdict::kFailed ? common::kExitFailure : common::kExitOk);
}

void Run(const Options& options, const Check& check) {
  Doing("the loading of the device's libraries");
  Subject subject(options);
  check.run(&subject);
  g_shared->report.verdict = Verdict::kOk;
  Doing("the end of the process");
}

void PrintNewRows(uint32_t* printed) {
  const Report& report = g_shared->report;
  for (; *printed < report.row_count; ++*printed) {
    std::printf("%s\n", report.rows[*printed % std::size(report.rows)]);
    std::fflush(stdout);
  }
}

// Returns the first line that resembles one of nodecheck's.
std::string FirstImitation(const std::string& output) {
  for (const char* word : {"ok ", "FAIL ", "skip ", "not run "}) {
    const std::size_t at = ("\n" + output).find(std::string("\n") + word);
    if (at != std::string::npos) return output.substr(at, output.find('\n', at) - at);
  }
  return "";
}

// Returns the fault in a child's end, which its check cannot see; "" for none.
std::string FaultOf(const common::ChildEnd& end, const Options& options) {
  const Report& report = g_shared->report;
  const std::string during = std::string(" during ") + report.doing;
  const std::string imitation = FirstImitation(end.output);
  if (end.is_hung) return "hung for " + std::to_string(options.timeout_s) + " s" + during;
  if (report.crash.has_crashed) return report.crash.text + during;
  if (report.verdict == Verdict::kFailed || report.verdict == Verdict::kSkipped) return "";
  if (WIFSIGNALED(end.status)) {
    return std::string("crashed (") + strsignal(WTERMSIG(end.status)) + ")" + during;
  }
  if (WEXITSTATUS(end.status) != kFinalWord) {
    return "ended the process with status " + std::to_string(WEXITSTATUS(end.status)) + during;
  }
  if (end.orphans != 0) return "left child processes behind: " + std::to_string(end.orphans);
  return imitation.empty() ? "" : "the node printed a line like nodecheck's own: " + imitation;
}

}  // namespace

bool PrepareRuns() {
  void* const shared = common::MapShared(sizeof(Shared));
  if (shared != nullptr) g_shared = new (shared) Shared();
  return shared != nullptr;
}

Result RunCheck(const Options& options, const Check& check) {
  const auto run = [&] {
    framework::InstallCrashReport(&g_shared->report.crash);
    Run(options, check);
    std::exit(kFinalWord);  // runs a sanitizer's report and the node's destructors
  };
  const auto begin = std::chrono::steady_clock::now();
  Report& report = *new (&g_shared->report) Report();
  uint32_t rows = 0;
  const auto end =
      common::RunInChild(run, report.progress, options.timeout_s, [&] { PrintNewRows(&rows); });
  if (!end) return {&check, Verdict::kFailed, "there is no process for it", "", "", 0};
  const std::string fault = FaultOf(*end, options);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  return {&check,
          fault.empty() ? report.verdict.load() : Verdict::kFailed,
          fault.empty() ? report.note : fault,
          DescribeFrames(report.crash),
          end->output,
          seconds.count()};
}

void RunHere(const Options& options, const Check& check) {
  g_check_here = &check;
  Note("");
  Run(options, check);
  PrintResult({&check, Verdict::kOk, g_shared->report.note, "", "", 0});
  std::exit(common::kExitOk);
}

Expectations& Expected() { return g_shared->expected; }
void Fail(const std::string& what) { EndCheck(Verdict::kFailed, what); }
void Skip(const std::string& reason) { EndCheck(Verdict::kSkipped, reason); }

void Note(const std::string& word) {
  std::snprintf(g_shared->report.note, sizeof(g_shared->report.note), "%s", word.c_str());
}

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
  std::snprintf(g_shared->report.doing, sizeof(g_shared->report.doing), "%s", call.c_str());
  ++g_shared->report.progress;
}

void PrintRow(const std::string& row) {
  Report& report = g_shared->report;
  auto& text = report.rows[report.row_count % std::size(report.rows)];
  std::snprintf(text, sizeof(text), "%s", row.c_str());
  ++report.row_count;
}

}  // namespace nodecheck
