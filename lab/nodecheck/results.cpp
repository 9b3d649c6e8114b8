// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <sstream>

#include "common/replaced_file.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

struct Words {
  Verdict verdict;
  const char* line;
  const char* count;
  const char* junit;  // the element; null for none
};
constexpr Words kWords[] = {{Verdict::kOk, "ok", "ok", nullptr},
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

// What a node prints may be anything.
std::string Printable(const std::string& text) {
  std::string printable = text;
  for (char& c : printable) c = c == '\n' || (c >= ' ' && c <= '~') ? c : '?';
  return printable;
}

void PrintLines(const char* prefix, const std::string& text) {
  std::istringstream lines(Printable(text));
  for (std::string line; std::getline(lines, line);) std::printf("%s%s\n", prefix, line.c_str());
}

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : Printable(text)) {
    escaped +=
        std::strchr("<>&\"", c) == nullptr ? std::string(1, c) : "&#" + std::to_string(c) + ";";
  }
  return escaped;
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
  common::ReplacedFile file;
  if (common::Failure failure = file.Create(path)) return failure;
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"nodecheck\" tests=\""
      << results.size() << "\" failures=\"" << Count(results, Verdict::kFailed) << "\" skipped=\""
      << Count(results, Verdict::kSkipped) << "\" errors=\"" << Count(results, Verdict::kNotRun)
      << "\">\n";
  for (const Result& result : results) {
    const char* const element = WordsOf(result.verdict).junit;
    xml << "<testcase classname=\"nodecheck\" name=\"" << result.check->name << "\" time=\""
        << result.seconds << "\">";
    if (element != nullptr)
      xml << "<" << element << " message=\"" << Escaped(result.note) << "\"/>";
    xml << "<system-out>" << Escaped(result.frames + result.output) << "</system-out></testcase>\n";
  }
  std::fprintf(file.File(), "%s</testsuite>\n", xml.str().c_str());
  return file.Complete();
}

}  // namespace nodecheck
