// SPDX-License-Identifier: Apache-2.0
// Fake of liblog: prints lines on standard error as logcat does.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/android_log.h"

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  char text[1024];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  const size_t size = std::strlen(text);
  const bool ends = size > 0 && text[size - 1] == '\n';
  std::fprintf(stderr, "%c/%s: %s%s", priority >= kLogError ? 'E' : 'I', tag != nullptr ? tag : "",
               text, ends ? "" : "\n");
  return length;
}
