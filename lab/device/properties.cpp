// SPDX-License-Identifier: Apache-2.0
// Fake of libcutils.
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
  std::string text = default_value != nullptr ? default_value : "";
  if (found != g_properties.end()) text = found->second;
  text.resize(std::min(text.size(), static_cast<size_t>(kPropertyValueMax - 1)));
  std::memcpy(value, text.c_str(), text.size() + 1);
  return static_cast<int>(text.size());
}
