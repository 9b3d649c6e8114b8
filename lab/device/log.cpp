// SPDX-License-Identifier: Apache-2.0
// Fake of liblog: prints lines on standard error as logcat does, escaped.
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "common/escape.h"
#include "platform/android_log.h"

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  std::string_view line = text;
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  std::fprintf(stderr, "%c/%s: %s\n", priority >= kLogError ? 'E' : 'I', tag != nullptr ? tag : "",
               common::Escaped(line).c_str());
  return length;
}
