// SPDX-License-Identifier: Apache-2.0
// Stands in for liblog.
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "host/control.h"
#include "platform/android_log.h"

namespace {

// As long as a line of the device's log.
constexpr int kMaxLine = 1024;

std::mutex g_mutex;
std::function<void(const host::LogLine&)> g_sink;
std::atomic<bool> g_has_sink{false};

}  // namespace

void host::SetLogSink(std::function<void(const LogLine&)> sink) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_sink = std::move(sink);
  g_has_sink = static_cast<bool>(g_sink);
}

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  if (!g_has_sink.load(std::memory_order_relaxed)) return 0;
  char text[kMaxLine];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  std::lock_guard<std::mutex> lock(g_mutex);
  if (g_sink) g_sink({priority, tag, text});
  return length;
}
