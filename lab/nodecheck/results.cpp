// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>

#include "common/junit.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

struct Words {
  Verdict verdict;
  const char* line;
  const char* count;
  const char* junit;  // the element
};
constexpr Words kWords[] = {{Verdict::kOk, "ok", "ok", ""},
                            {Verdict::kFailed, "FAIL", "failed", "failure"},
                            {Verdict::kSkipped, "skip", "skipped", "skipped"},
                            {Verdict::kNotRun, "not run", "not run", "error"}};

const Words& WordsOf(Verdict verdict) {
  return *std::find_if(std::begin(kWords), std::end(kWords),
                       [=](const Words& words) { return words.verdict == verdict; });
}

auto Count(const std::vector<Result>& results, Verdict verdict) {
  return std::count_if(results.begin(), results.end(),
                       [=](const Result& result) { return result.verdict == verdict; });
}

void PrintLines(const char* prefix, const std::string& text) {
  std::istringstream lines(common::Printable(text));
  for (std::string line; std::getline(lines, line);) std::printf("%s%s\n", prefix, line.c_str());
}

}  // namespace

void PrintResult(const Result& result) {
  std::printf("%-4s %s%s%s\n", WordsOf(result.verdict).line, result.check->name,
              result.note.empty() ? "" : ": ", result.note.c_str());
  PrintLines("       in ", result.frames);
  PrintLines("     | ", result.output);
  std::fflush(stdout);
}

bool PrintSummary(const std::vector<Result>& results) {
  std::printf("%zu checks:", results.size());
  for (const Words& words : kWords) {
    std::printf("%s %td %s", words.verdict == Verdict::kOk ? "" : ",",
                Count(results, words.verdict), words.count);
  }
  std::printf("\n");
  return Count(results, Verdict::kFailed) + Count(results, Verdict::kNotRun) == 0;
}

common::Failure WriteJunit(const std::string& path, const std::vector<Result>& results) {
  std::vector<common::JunitCase> cases;
  for (const Result& result : results) {
    cases.push_back({result.check->name, WordsOf(result.verdict).junit, result.note,
                     result.frames + result.output, result.seconds});
  }
  return common::WriteJunit(path, "nodecheck", cases);
}

}  // namespace nodecheck
