// SPDX-License-Identifier: Apache-2.0
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
  std::atomic<std::size_t> rows_size;
  std::size_t rows_printed;
  char doing[160], note[512], rows[4096];
  framework::CrashReport crash;
};
Report* g_report = nullptr;
Expectations* g_expected = nullptr;
const Check* g_check_here = nullptr;  // the check that runs in the first process

[[noreturn]] void EndCheck(Verdict verdict, const std::string& note) {
  static std::mutex mutex;
  mutex.lock();  // never unlocked: only the first thread that ends the check reports
  Note(note);
  g_report->verdict = verdict;
  if (g_check_here == nullptr) _exit(0);
  PrintResult({g_check_here, verdict, note, "", "", 0});
  _exit(common::EndOutput(kProgram,
                          verdict == Verdict::kFailed ? common::kExitFailure : common::kExitOk));
}

void Run(const Options& options, const Check& check) {
  Doing("the loading of the device's libraries");
  Subject subject(options);
  check.run(&subject);
  g_report->verdict = Verdict::kOk;
  Doing("the end of the process");
}

void PrintNewRows() {
  const std::size_t size = g_report->rows_size - g_report->rows_printed;
  if (size == 0) return;
  std::fwrite(g_report->rows + g_report->rows_printed, 1, size, stdout);
  std::fflush(stdout);
  g_report->rows_printed += size;
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
  const Report& report = *g_report;
  const std::string during = std::string(" during ") + report.doing;
  const std::string imitation = FirstImitation(end.output);
  if (end.is_hung) return "hung for " + std::to_string(options.timeout_s) + " s" + during;
  if (report.crash.has_crashed) return report.crash.text + during;
  if (report.verdict == Verdict::kFailed || report.verdict == Verdict::kSkipped) return "";
  if (WIFSIGNALED(end.status)) {
    return std::string("crashed (") + strsignal(WTERMSIG(end.status)) + ")" + during;
  }
  if (WEXITSTATUS(end.status) != kFinalWord || report.verdict != Verdict::kOk) {
    return "ended the process with status " + std::to_string(WEXITSTATUS(end.status)) + during;
  }
  if (end.orphans != 0) return "left child processes behind: " + std::to_string(end.orphans);
  return imitation.empty() ? "" : "the node printed a line like nodecheck's own: " + imitation;
}

}  // namespace

void PrepareRuns() {
  g_report = new (common::MapShared(sizeof(Report))) Report();
  g_expected = new (common::MapShared(sizeof(Expectations))) Expectations();
}

Result RunCheck(const Options& options, const Check& check) {
  const auto run = [&] {
    framework::InstallCrashReport(&g_report->crash);
    Run(options, check);
    std::exit(kFinalWord);  // runs a sanitizer's report and the node's destructors
  };
  const auto begin = std::chrono::steady_clock::now();
  const Report& report = *new (g_report) Report();
  const auto end = common::RunInChild(run, report.progress, options.timeout_s, PrintNewRows);
  if (!end) return {&check, Verdict::kFailed, "cannot create a process for it", "", "", 0};
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
  PrintResult({&check, Verdict::kOk, g_report->note, "", "", 0});
  std::exit(common::EndOutput(kProgram, common::kExitOk));
}

Expectations& Expected() { return *g_expected; }
void Fail(const std::string& what) { EndCheck(Verdict::kFailed, what); }
void Skip(const std::string& reason) { EndCheck(Verdict::kSkipped, reason); }

void Note(const std::string& word) {
  std::snprintf(g_report->note, sizeof(g_report->note), "%s", word.c_str());
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
  std::snprintf(g_report->doing, sizeof(g_report->doing), "%s", call.c_str());
  ++g_report->progress;
}

void PrintRow(const std::string& row) {
  Report& report = *g_report;
  const std::size_t size = report.rows_size;
  report.rows_size = size + (row + '\n').copy(report.rows + size, sizeof(report.rows) - size);
}

}  // namespace nodecheck
