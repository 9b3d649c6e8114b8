// SPDX-License-Identifier: Apache-2.0
// Fake of the framework's utility library, libchinodeutils.
#include "platform/chi_node_utils.h"

#include <atomic>

#include "device/control.h"

namespace {

std::atomic<uint64_t> g_negotiations{0};
std::atomic<ChiResult> g_negotiation_result{kChiSuccess};

}  // namespace

uint64_t device::BufferNegotiations() { return g_negotiations; }
void device::SetBufferNegotiationResult(int32_t result) { g_negotiation_result = result; }

ChiResult ChiNodeUtils::SetNodeInterface(ChiNodeInterface* pNodeInterface, const char* pSection,
                                         ChiNodeInterface* pCopy, uint32_t* pVendorTagBase) {
  if (pNodeInterface == nullptr || pNodeInterface->size < sizeof(ChiNodeInterface)) {
    return kChiFailed;
  }
  *pCopy = *pNodeInterface;
  if (pCopy->pGetVendorTagBase == nullptr) return kChiFailed;
  ChiVendorTagBase base = {sizeof(base), 0, pSection, nullptr};
  const ChiResult result = pCopy->pGetVendorTagBase(&base);
  *pVendorTagBase = base.vendorTagBase;
  return result;
}

ChiResult ChiNodeUtils::QueryVendorTag(ChiQueryVendorTag* pQuery, const ChiVendorTagInfo* pInfo) {
  if (pQuery == nullptr) return kChiInvalidPointer;
  if (pQuery->size < sizeof(ChiQueryVendorTag)) return kChiFailed;
  pQuery->pVendorTagInfo = pInfo;
  return kChiSuccess;
}

ChiResult ChiNodeUtils::DefaultBufferNegotiation(ChiNodeQueryBufferInfo* pQuery) {
  ++g_negotiations;
  return pQuery != nullptr ? g_negotiation_result.load() : kChiInvalidPointer;
}

void* ChiNodeUtils::GetMetaData(uint64_t requestId, uint32_t tag, ChiMetadataType type,
                                ChiHandle hChiSession, ChiNodeInterface* pNodeInterface) {
  std::size_t count = 0;
  return GetMetaDataAndSize(requestId, tag, type, hChiSession, pNodeInterface, &count);
}

void* ChiNodeUtils::GetMetaDataAndSize(uint64_t requestId, uint32_t tag, ChiMetadataType type,
                                       ChiHandle hChiSession, ChiNodeInterface* pNodeInterface,
                                       std::size_t* pCount) {
  ChiMetadataGet get = {sizeof(get), tag, type, 0, hChiSession, requestId, nullptr, 0};
  pNodeInterface->pGetMetadata(&get);
  *pCount = get.count;
  return get.pData;
}
