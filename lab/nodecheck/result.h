// SPDX-License-Identifier: Apache-2.0
// Runs each check in its own process and returns its result.
#ifndef ZY_NODECHECK_RESULT_H_
#define ZY_NODECHECK_RESULT_H_

#include <string>
#include <vector>

#include "nodecheck/nodecheck.h"

namespace nodecheck {

enum class Verdict { kNone, kOk, kFailed, kSkipped, kNotRun };

struct Result {
  const Check* check = nullptr;
  Verdict verdict = Verdict::kNone;
  std::string note;    // one line
  std::string frames;  // of a crash, one per line
  std::string output;  // of the node
  double seconds = 0;
};

// Prepares the memory that this process shares with its checks. Throws std::bad_alloc.
void PrepareRuns();
// Runs a check in a child process, and ends it when it makes no progress for the options' time.
Result RunCheck(const Options& options, const Check& check);
// Runs a check in this process, for a debugger, prints the verdict, and ends the process.
[[noreturn]] void RunHere(const Options& options, const Check& check);

// Prints a check's line, a crash's frames, and the node's output with a prefix.
void PrintResult(const Result& result);
// Prints the counts. Returns whether all checks ran and none failed.
bool PrintSummary(const std::vector<Result>& results);
// Writes the results in JUnit's format: checks that did not run count as errors.
common::Failure WriteJunit(const std::string& path, const std::vector<Result>& results);

}  // namespace nodecheck

#endif  // ZY_NODECHECK_RESULT_H_
