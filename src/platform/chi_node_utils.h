// SPDX-License-Identifier: Apache-2.0
// The framework's utility library for nodes.
#ifndef ZY_PLATFORM_CHI_NODE_UTILS_H_
#define ZY_PLATFORM_CHI_NODE_UTILS_H_

#include <cstddef>
#include <cstdint>

#include "platform/chi_node.h"

class ChiNodeUtils {
 public:
  // Copies `pNodeInterface` to `pCopy` and stores the identifier of the first tag of `pSection` in
  // `pVendorTagBase`.
  static ChiResult SetNodeInterface(ChiNodeInterface* pNodeInterface, const char* pSection,
                                    ChiNodeInterface* pCopy, uint32_t* pVendorTagBase);

  // Answers the framework's query for a node's vendor tags with `pInfo`.
  static ChiResult QueryVendorTag(ChiQueryVendorTag* pQuery, const ChiVendorTagInfo* pInfo);

  // Accepts the framework's offer.
  static ChiResult DefaultBufferNegotiation(ChiNodeQueryBufferInfo* pQuery);

  // Returns the value of `tag` in the metadata of a request, or null. It stays the framework's and
  // lives as long as the request.
  static void* GetMetaData(uint64_t requestId, uint32_t tag, ChiMetadataType type,
                           ChiHandle hChiSession, ChiNodeInterface* pNodeInterface);

  // Returns the same, with the number of elements in `pCount` (0 when the tag is absent).
  static void* GetMetaDataAndSize(uint64_t requestId, uint32_t tag, ChiMetadataType type,
                                  ChiHandle hChiSession, ChiNodeInterface* pNodeInterface,
                                  std::size_t* pCount);
};

#endif  // ZY_PLATFORM_CHI_NODE_UTILS_H_
