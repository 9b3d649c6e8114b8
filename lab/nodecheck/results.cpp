// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "common/program.h"
#include "common/replaced_file.h"
#include "nodecheck/result.h"

namespace nodecheck {
namespace {

struct Words {
  const char* line;
  const char* element;  // of a result in JUnit's format; empty for a pass
  const char* count;    // the attribute with the number of these elements
};
// By verdict.
constexpr Words kWords[] = {{"", "", ""},
                            {"ok", "", ""},
                            {"FAIL", "failure", "failures"},
                            {"skip", "skipped", "skipped"},
                            {"not run", "error", "errors"}};

const Words& WordsOf(Verdict verdict) { return kWords[static_cast<int>(verdict)]; }

int64_t Count(const std::vector<Result>& results, Verdict verdict) {
  return std::count_if(results.begin(), results.end(),
                       [verdict](const Result& result) { return result.verdict == verdict; });
}

// Replaces each byte that is neither printable ASCII nor a line break by a question mark.
std::string Printable(std::string text) {
  for (char& c : text) c = c == '\n' || (c >= ' ' && c <= '~') ? c : '?';
  return text;
}

// Returns any bytes as the text of an element or an attribute.
std::string XmlText(const std::string& bytes) {
  std::string text;
  for (const char c : Printable(bytes)) {
    const bool is_plain = std::strchr("<>&\"", c) == nullptr;
    text += is_plain ? std::string(1, c) : "&#" + std::to_string(c) + ";";
  }
  return text;
}

void PrintLines(const char* prefix, const std::string& text) {
  std::istringstream lines(Printable(text));
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
  const int64_t failed = Count(results, Verdict::kFailed);
  const int64_t not_run = Count(results, Verdict::kNotRun);
  std::printf("%zu checks: %" PRId64 " ok, %" PRId64 " failed, %" PRId64 " skipped, %" PRId64
              " not run\n",
              results.size(), Count(results, Verdict::kOk), failed,
              Count(results, Verdict::kSkipped), not_run);
  return failed + not_run == 0;
}

int EndOutput(int exit_code) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return exit_code;
  std::fputs("nodecheck: standard output: write failed\n", stderr);
  return common::kExitFailure;
}

common::Failure WriteJunit(const std::string& path, const std::vector<Result>& results) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"nodecheck\" tests=\""
      << results.size();
  for (const Verdict verdict : {Verdict::kFailed, Verdict::kSkipped, Verdict::kNotRun}) {
    xml << "\" " << WordsOf(verdict).count << "=\"" << Count(results, verdict);
  }
  xml << "\">\n";
  for (const Result& result : results) {
    const std::string element = WordsOf(result.verdict).element;
    xml << "<testcase classname=\"nodecheck\" name=\"" << XmlText(result.check->name)
        << "\" time=\"" << result.seconds << "\">";
    if (!element.empty()) xml << "<" << element << " message=\"" << XmlText(result.note) << "\"/>";
    xml << "<system-out>" << XmlText(result.frames + result.output) << "</system-out></testcase>\n";
  }
  xml << "</testsuite>\n";
  common::ReplacedFile file;
  if (common::Failure failure = file.Create(path)) return failure;
  std::fputs(xml.str().c_str(), file.File());
  return file.Complete();
}

}  // namespace nodecheck
