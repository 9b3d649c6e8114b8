// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <map>
#include <sstream>

#include "common/junit.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

using common::JunitElement;

struct Words {
  const char* line;
  JunitElement junit;
};
// By verdict.
constexpr Words kWords[] = {{"", JunitElement::kNone},
                            {"ok", JunitElement::kNone},
                            {"FAIL", JunitElement::kFailure},
                            {"skip", JunitElement::kSkipped},
                            {"not run", JunitElement::kError}};

const Words& WordsOf(Verdict verdict) { return kWords[static_cast<int>(verdict)]; }

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
  std::map<Verdict, int> count;
  for (const Result& result : results) ++count[result.verdict];
  std::printf("%zu checks: %d ok, %d failed, %d skipped, %d not run\n", results.size(),
              count[Verdict::kOk], count[Verdict::kFailed], count[Verdict::kSkipped],
              count[Verdict::kNotRun]);
  return count[Verdict::kFailed] + count[Verdict::kNotRun] == 0;
}

common::Failure WriteJunit(const std::string& path, const std::vector<Result>& results) {
  std::vector<common::JunitCase> cases;
  for (const Result& result : results) {
    cases.push_back({result.check->name, WordsOf(result.verdict).junit, result.note,
                     result.frames + result.output, result.seconds});
  }
  return common::WriteJunit(path, kProgram, cases);
}

}  // namespace nodecheck
