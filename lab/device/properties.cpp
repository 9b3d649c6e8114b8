// SPDX-License-Identifier: Apache-2.0
// Fake of libcutils.
#include <cstdio>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "device/control.h"
#include "platform/android_properties.h"

namespace {

std::mutex g_mutex;
std::map<std::string, std::string> g_properties;

}  // namespace

void device::ClearProperties() {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_properties.clear();
}

extern "C" void zy_set_property(const char* key, const char* value) {
  std::lock_guard<std::mutex> lock(g_mutex);
  g_properties.erase(key);
  if (value != nullptr) g_properties[key] = value;
}

extern "C" int property_get(const char* key, char* value, const char* default_value) {
  std::lock_guard<std::mutex> lock(g_mutex);
  const auto found = g_properties.find(key);
  if (found != g_properties.end()) default_value = found->second.c_str();
  std::snprintf(value, kPropertyValueMax, "%s", default_value != nullptr ? default_value : "");
  return static_cast<int>(std::strlen(value));
}
