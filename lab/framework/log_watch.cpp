// SPDX-License-Identifier: Apache-2.0
#include "framework/log_watch.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <utility>

#include "platform/android_log.h"

namespace {

// The limit of a log line on the device.
constexpr int kMaxLine = 1024;

std::mutex g_mutex;
std::function<bool(const framework::LogLine&)> g_listener;
std::atomic<bool> g_has_listener{false};

}  // namespace

void framework::SetLogListener(std::function<bool(const LogLine&)> listener) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_listener = std::move(listener);
  g_has_listener = static_cast<bool>(g_listener);
}

extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
  if (!g_has_listener.load(std::memory_order_relaxed)) return 0;
  char text[kMaxLine];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  {
    std::lock_guard<std::mutex> lock(g_mutex);
    if (!g_listener || !g_listener({priority, tag, text})) return length;
  }
  // Searched for each line: the device's libraries may be loaded at any time.
  const auto liblog =
      reinterpret_cast<decltype(&__android_log_print)>(dlsym(RTLD_NEXT, "__android_log_print"));
  return liblog != nullptr ? liblog(priority, tag, "%s", text) : length;
}
