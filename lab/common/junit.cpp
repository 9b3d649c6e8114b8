// SPDX-License-Identifier: Apache-2.0
#include "common/junit.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "common/replaced_file.h"

namespace common {
namespace {

struct Names {
  const char* element;
  const char* count;  // the attribute with the number of these elements
};
constexpr Names NamesOf(JunitElement element) {
  constexpr Names kNames[] = {
      {"", ""}, {"failure", "failures"}, {"skipped", "skipped"}, {"error", "errors"}};
  return kNames[static_cast<int>(element)];
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

}  // namespace

std::string Printable(std::string text) {
  for (char& c : text) c = c == '\n' || (c >= ' ' && c <= '~') ? c : '?';
  return text;
}

Failure WriteJunit(const std::string& path, const std::string& suite,
                   const std::vector<JunitCase>& cases) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"" << XmlText(suite)
      << "\" tests=\"" << cases.size();
  for (const JunitElement counted :
       {JunitElement::kFailure, JunitElement::kSkipped, JunitElement::kError}) {
    xml << "\" " << NamesOf(counted).count << "=\""
        << std::count_if(cases.begin(), cases.end(),
                         [=](const JunitCase& one) { return one.element == counted; });
  }
  xml << "\">\n";
  for (const JunitCase& one : cases) {
    xml << "<testcase classname=\"" << XmlText(suite) << "\" name=\"" << XmlText(one.name)
        << "\" time=\"" << one.seconds << "\">";
    if (one.element != JunitElement::kNone) {
      xml << "<" << NamesOf(one.element).element << " message=\"" << XmlText(one.message) << "\"/>";
    }
    xml << "<system-out>" << XmlText(one.output) << "</system-out></testcase>\n";
  }
  xml << "</testsuite>\n";
  ReplacedFile file;
  if (Failure failure = file.Create(path)) return failure;
  std::fputs(xml.str().c_str(), file.File());
  return file.Complete();
}

}  // namespace common
