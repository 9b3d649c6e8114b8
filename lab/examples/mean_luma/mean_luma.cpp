// SPDX-License-Identifier: Apache-2.0
// A node that publishes the mean luma of each frame as a tag of its own.
#include <brodax/chi_node.h>
#include <numeric>

namespace {
const ChiVendorTagData kMean = {"Mean", ChiTagType::kFloat, 1};
const ChiVendorTagSectionData kSection = {"org.example.luma", 0, 1, 0xFFFFFFFF, 0, &kMean};
const ChiVendorTagInfo kTags = {&kSection, 1, 0};
ChiNodeInterface g_framework;

// Refuses a record without a node, and the smaller one of another version.
template <typename Record>
ChiResult Check(Record* record) {
  if (record == nullptr || record->hNodeSession == nullptr) return kChiInvalidPointer;
  return record->size < sizeof(Record) ? kChiFailed : kChiSuccess;
}

float MeanLuma(const uint8_t* row, uint32_t stride, uint32_t width, uint32_t height) {
  double sum = 0;
  for (uint32_t y = 0; y < height; ++y, row += stride) sum = std::accumulate(row, row + width, sum);
  return static_cast<float>(sum / width / height);
}

ChiResult ProcessRequest(ChiNodeProcessRequestInfo* info) {
  if (Check(info) || info->inputNum == 0 || info->phInputBuffer == nullptr) return kChiFailed;
  const ChiNodeBuffer* frame = info->phInputBuffer[0];
  if (frame == nullptr || frame->numPlanes == 0 || frame->pImages == nullptr) return kChiFailed;
  const uint8_t* luma = frame->pImages->pPlaneAddress[0];
  if (luma == nullptr || frame->planeStride < frame->format.width) return kChiFailed;
  const float mean = MeanLuma(luma, frame->planeStride, frame->format.width, frame->format.height);
  ChiVendorTagBase tag = {sizeof(tag), 0, kSection.pSectionName, kMean.pTagName};
  g_framework.pGetVendorTagBase(&tag);
  const ChiTagData value = {sizeof(value), 0, info->frameNum, &mean, 1, {}};
  ChiMetadataSet set = {sizeof(set), 1, info->hNodeSession, &tag.vendorTagBase, &value};
  return g_framework.pSetMetadata(&set);
}
}  // namespace

extern "C" __attribute__((visibility("default"))) void ChiNodeEntry(ChiNodeCallbacks* node) {
  if (node == nullptr || node->majorVersion != 0 || node->size < sizeof(*node)) return;
  node->pGetCapabilities = [](ChiNodeCapsInfo* info) { return info ? kChiSuccess : kChiFailed; };
  node->pQueryVendorTag = [](ChiQueryVendorTag* query) {
    if (query != nullptr) query->pVendorTagInfo = &kTags;
    return query != nullptr ? kChiSuccess : kChiFailed;
  };
  node->pCreate = [](ChiNodeCreateInfo* info) {
    if (info == nullptr || info->size < sizeof(*info)) return kChiFailed;
    info->hNodeSession = info->hChiSession;  // the only state of this node
    return kChiSuccess;
  };
  node->pDestroy = Check<ChiNodedestroyInfo>;
  node->pQueryBufferInfo = Check<ChiNodeQueryBufferInfo>;
  node->pSetBufferInfo = Check<ChiNodeSetBufferPropertiesInfo>;
  node->pProcessRequest = ProcessRequest;
  node->pSetNodeInterface = [](ChiNodeInterface* framework) {
    if (framework != nullptr) g_framework = *framework;
  };
  node->pPostPipelineCreate = [](ChiHandle) {};
}
