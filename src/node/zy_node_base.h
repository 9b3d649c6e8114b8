// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_NODE_ZY_NODE_BASE_H_
#define ZY_NODE_ZY_NODE_BASE_H_

#include <cstdint>

// What the camera nodes of this family share: whether the device lets a node of their type run. Two
// system properties hold bit masks of node types, in hexadecimal; a node runs when both have its
// bit.
class ZyNodeBase {
 protected:
  // Protected: only the derived node is ever deleted.
  virtual ~ZyNodeBase();

 public:
  // Whether this node may run, by the properties as they were when it was created. Request thread.
  virtual bool Available();
  // The node's bit in the masks. Any thread.
  virtual uint32_t CurrentNodeType() const = 0;

  ZyNodeBase(const ZyNodeBase&) = delete;
  ZyNodeBase& operator=(const ZyNodeBase&) = delete;

 protected:
  // Reads the two properties; both default to all types.
  ZyNodeBase();

 private:
  uint32_t m_availableNodes;
  uint32_t m_operationMask;
  uint32_t m_currentNodeType;
};

#endif  // ZY_NODE_ZY_NODE_BASE_H_
