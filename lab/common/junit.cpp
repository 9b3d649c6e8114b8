// SPDX-License-Identifier: Apache-2.0
#include "common/junit.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "common/replaced_file.h"

namespace common {
namespace {

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : Printable(text)) {
    const bool is_plain = std::strchr("<>&\"", c) == nullptr;
    escaped += is_plain ? std::string(1, c) : "&#" + std::to_string(c) + ";";
  }
  return escaped;
}

}  // namespace

std::string Printable(std::string text) {
  for (char& c : text) c = c == '\n' || (c >= ' ' && c <= '~') ? c : '?';
  return text;
}

Failure WriteJunit(const std::string& path, const std::string& suite,
                   const std::vector<JunitCase>& cases) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"" << Escaped(suite)
      << "\" tests=\"" << cases.size();
  for (const char* counted : {"failure", "skipped", "error"}) {
    xml << "\" " << counted << (*counted == 's' ? "=\"" : "s=\"")
        << std::count_if(cases.begin(), cases.end(),
                         [=](const JunitCase& one) { return one.element == counted; });
  }
  xml << "\">\n";
  for (const JunitCase& one : cases) {
    xml << "<testcase classname=\"" << Escaped(suite) << "\" name=\"" << Escaped(one.name)
        << "\" time=\"" << one.seconds << "\">";
    if (!one.element.empty()) {
      xml << "<" << one.element << " message=\"" << Escaped(one.message) << "\"/>";
    }
    xml << "<system-out>" << Escaped(one.output) << "</system-out></testcase>\n";
  }
  xml << "</testsuite>\n";
  ReplacedFile file;
  if (Failure failure = file.Create(path)) return failure;
  std::fputs(xml.str().c_str(), file.File());
  return file.Complete();
}

}  // namespace common
