// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_NODE_ZY_NODE_BASE_H_
#define ZY_NODE_ZY_NODE_BASE_H_

#include <cstdint>

// The common part of this family's camera nodes: whether the device lets a node of their type run.
// Two system properties hold bit masks of node types; a node runs when both have its bit.
class ZyNodeBase {
 protected:
  // Protected: only the derived node is ever deleted.
  virtual ~ZyNodeBase();

 public:
  // Returns whether this node may run, by the properties at its creation. Request thread.
  virtual bool Available();
  // Returns the node's bit in the masks. Any thread.
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
