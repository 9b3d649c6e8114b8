// SPDX-License-Identifier: Apache-2.0
#include "node/zy_node_base.h"

#include <cstdlib>

#include "platform/android_log.h"
#include "platform/android_properties.h"

namespace {

// Returns the hexadecimal mask in property `key`, 0 when its text is no number.
uint32_t ReadMask(const char* key) {
  char value[kPropertyValueMax] = {};
  property_get(key, value, "0xFFFFFF");
  return static_cast<uint32_t>(std::strtoul(value, nullptr, 16));
}

}  // namespace

ZyNodeBase::ZyNodeBase()
    : m_availableNodes(ReadMask("persist.vendor.camera.zynode_conf")),
      m_operationMask(ReadMask("persist.vendor.camera.operationMask")),
      m_currentNodeType(0) {}

ZyNodeBase::~ZyNodeBase() {
  __android_log_print(kLogError, nullptr, "%s: [Eeee] CurrentNodeType=%x", "~ZyNodeBase",
                      m_currentNodeType);
}

bool ZyNodeBase::Available() {
  m_currentNodeType = CurrentNodeType();
  __android_log_print(kLogError, nullptr, "[Eeee] AvailableNodes=%x, CurrentNodeType=%x",
                      m_availableNodes, CurrentNodeType());
  return (m_availableNodes & m_operationMask & CurrentNodeType()) != 0;
}
