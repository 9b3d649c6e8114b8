// SPDX-License-Identifier: Apache-2.0
// The library's only export and the callbacks that it hands to the framework. They check the
// records, log errors and forward to the node. All run on the request thread.
#include <new>

#include "node/gender_age_node.h"
#include "node/node_log.h"
#include "platform/chi_node_utils.h"

namespace {

constexpr uint32_t kMajorVersion = 0;
constexpr uint32_t kMinorVersion = 0;

constexpr ChiVendorTagSectionData kSections[] = {
    {kNodeSection, 0, kOwnTagCount, 0xFFFFFFFF, 0, kOwnTags},
};
constexpr ChiVendorTagInfo kVendorTags = {kSections, 1, 0};

// The messages of a callback for a bad record.
struct RecordMessages {
  const char* function;
  NodeLogLine null_line;
  const char* null_text;
  NodeLogLine size_line;
  const char* size_text;
};

// Returns success, or the error for a record that is too small or has no node session.
template <typename Record>
ChiResult CheckRecord(const Record* record, const RecordMessages& messages) {
  if (record == nullptr || record->hNodeSession == nullptr) {
    LogNodeFailure(messages.function, messages.null_line, messages.null_text);
    return kChiInvalidPointer;
  }
  if (record->size < sizeof(Record)) {
    LogNodeFailure(messages.function, messages.size_line, messages.size_text);
    return kChiFailed;
  }
  return kChiSuccess;
}

ChiGenderAgeNode* NodeOf(ChiHandle session) { return static_cast<ChiGenderAgeNode*>(session); }

void LogPipelineCreated(NodeLogLine line, const char* state) {
  constexpr char kFunction[] = "PostPipelineCreate";
  __android_log_print(kLogError, kNodeLogTag, "%s():%d %s:%d: %s\n", kFunction, line, kFunction,
                      line, state);
}

ChiResult GenderAgeNodeGetCaps(ChiNodeCapsInfo* pCapsInfo) {
  if (pCapsInfo != nullptr) return kChiSuccess;
  constexpr char kFunction[] = "GenderAgeNodeGetCaps";
  LogNodeFailure(kFunction, kLineCapsNull, "FACE ANALYZE Invalid argument: pCapsInfo is NULL\n");
  LogNodeFailure(kFunction, kLineCapsTooSmall,
                 "FACE ANALYZE CHINODECAPSINFO is smaller than expected\n");
  return kChiFailed;
}

ChiResult GenderAgeNodeQueryVendorTag(ChiQueryVendorTag* pQuery) {
  if (pQuery == nullptr) return kChiInvalidPointer;
  return ChiNodeUtils::QueryVendorTag(pQuery, &kVendorTags);
}

ChiResult GenderAgeNodeCreate(ChiNodeCreateInfo* pCreateInfo) {
  constexpr char kFunction[] = "GenderAgeNodeCreate";
  __android_log_print(kLogInfo, kNodeLogTag, "%s():%d TPX GenderAgeNodeCreate\n", kFunction,
                      kLineCreate);
  if (pCreateInfo == nullptr) {
    LogNodeFailure(kFunction, kLineCreateNull,
                   "FACE ANALYZE Invalid argument: pTagTypeInfo is NULL\n");
    return kChiInvalidPointer;
  }
  if (pCreateInfo->size < sizeof(ChiNodeCreateInfo)) {
    LogNodeFailure(kFunction, kLineCreateTooSmall,
                   "FACE ANALYZE CHINODECREATEINFO is smaller than expected\n");
    return kChiFailed;
  }
  auto* node = new (std::nothrow) ChiGenderAgeNode(*pCreateInfo);
  if (node == nullptr) return kChiFailed;
  pCreateInfo->hNodeSession = node;
  return kChiSuccess;
}

ChiResult GenderAgeNodeDestroy(ChiNodedestroyInfo* pDestroyInfo) {
  const ChiResult check = CheckRecord(
      pDestroyInfo, {"GenderAgeNodeDestroy", kLineDestroyNull,
                     "FACE ANALYZE Invalid argument: pDestroyInfo is NULL\n", kLineDestroyTooSmall,
                     "FACE ANALYZE CHINODEDESTROYINFO is smaller than expected\n"});
  if (check != kChiSuccess) return check;
  delete NodeOf(pDestroyInfo->hNodeSession);
  pDestroyInfo->hNodeSession = nullptr;
  return kChiSuccess;
}

ChiResult GenderAgeNodeQueryBufferInfo(ChiNodeQueryBufferInfo* pQuery) {
  const ChiResult check =
      CheckRecord(pQuery, {"GenderAgeNodeQueryBufferInfo", kLineQueryBufferNull,
                           "FACE ANALYZE Invalid argument\n", kLineQueryBufferTooSmall,
                           "FACE ANALYZE   CHINODEQUERYBUFFERINFO is smaller than expected\n"});
  if (check != kChiSuccess) return check;
  const uint32_t caps = NodeOf(pQuery->hNodeSession)->NodeCaps();
  if (caps == 2 || caps == 4) return kChiUnsupported;
  ChiNodeUtils::DefaultBufferNegotiation(pQuery);
  return kChiSuccess;
}

ChiResult GenderAgeNodeSetBufferInfo(ChiNodeSetBufferPropertiesInfo* pInfo) {
  const RecordMessages messages = {
      "GenderAgeNodeSetBufferInfo", kLineSetBufferNull, "FACE ANALYZE Invalid argument\n",
      kLineSetBufferTooSmall,
      "FACE ANALYZE CHINODESETBUFFERPROPERTIESINFO is smaller than expected\n"};
  const ChiResult check = CheckRecord(pInfo, messages);
  if (check != kChiSuccess) return check;
  if (pInfo->pFormat == nullptr) {
    LogNodeFailure(messages.function, messages.null_line, messages.null_text);
    return kChiInvalidPointer;
  }
  NodeOf(pInfo->hNodeSession)->SetBufferSize(pInfo->pFormat->width, pInfo->pFormat->height);
  return kChiSuccess;
}

ChiResult GenderAgeNodeProcRequest(ChiNodeProcessRequestInfo* pInfo) {
  const ChiResult check =
      CheckRecord(pInfo, {"GenderAgeNodeProcRequest", kLineRequestNull,
                          "FACE ANALYZE Invalid argument\n", kLineRequestTooSmall,
                          "FACE ANALYZE CHINODEPROCESSREQUESTINFO is smaller than expected\n"});
  if (check != kChiSuccess) return check;
  NodeOf(pInfo->hNodeSession)->ProcessRequest(pInfo);
  return kChiSuccess;
}

void GenderAgeNodeSetNodeInterface(ChiNodeInterface* pNodeInterface) {
  SetNodeInterface(pNodeInterface);
}

void GenderAgeNodePipelineCreated(ChiHandle hNodeSession) {
  if (hNodeSession == nullptr) return;
  LogPipelineCreated(kLinePipelineBegin, "(IN)");
  ChiGenderAgeNode* node = NodeOf(hNodeSession);
  if (!node->Available()) {
    LogPipelineCreated(kLinePipelineNotAvailable, "NOT-AVAILABLE ");
    return;
  }
  node->StartPreview();
  LogPipelineCreated(kLinePipelineEnd, "(OUT)");
}

}  // namespace

// Fills the framework's callback table; members beyond the known ones keep their values. Logs a
// null table, another major version or a smaller table and leaves it untouched. Request thread.
extern "C" __attribute__((visibility("default"))) void ChiNodeEntry(ChiNodeCallbacks* pCallbacks) {
  constexpr char kFunction[] = "ChiNodeEntry";
  if (pCallbacks == nullptr) {
    __android_log_print(kLogError, kNodeLogTag, "%s():%d FACE ANALYZE Invalid Argument: %p\n",
                        kFunction, kLineEntryNull, static_cast<void*>(pCallbacks));
    return;
  }
  if (pCallbacks->majorVersion != kMajorVersion || pCallbacks->size < sizeof(ChiNodeCallbacks)) {
    __android_log_print(
        kLogError, kNodeLogTag,
        "%s():%d FACE ANALYZE Chi API major version doesn't match (%d:%d) vs (%d:%d)\n", kFunction,
        kLineEntryVersion, static_cast<int>(pCallbacks->majorVersion),
        static_cast<int>(pCallbacks->minorVersion), static_cast<int>(kMajorVersion),
        static_cast<int>(kMinorVersion));
    return;
  }
  pCallbacks->majorVersion = kMajorVersion;
  pCallbacks->minorVersion = kMinorVersion;
  pCallbacks->pGetCapabilities = GenderAgeNodeGetCaps;
  pCallbacks->pQueryVendorTag = GenderAgeNodeQueryVendorTag;
  pCallbacks->pCreate = GenderAgeNodeCreate;
  pCallbacks->pDestroy = GenderAgeNodeDestroy;
  pCallbacks->pQueryBufferInfo = GenderAgeNodeQueryBufferInfo;
  pCallbacks->pSetBufferInfo = GenderAgeNodeSetBufferInfo;
  pCallbacks->pProcessRequest = GenderAgeNodeProcRequest;
  pCallbacks->pSetNodeInterface = GenderAgeNodeSetNodeInterface;
  pCallbacks->pPostPipelineCreate = GenderAgeNodePipelineCreated;
}
