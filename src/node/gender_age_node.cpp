// SPDX-License-Identifier: Apache-2.0
#include "node/gender_age_node.h"

#include <new>

#include "platform/chi_node_utils.h"

ChiNodeInterface g_ChiNodeInterface = {};
uint32_t g_vendorTagBase = 0;
uint32_t g_faceScoreEnabledTag = 0;
uint32_t g_faceGenderAndAgeEnabledTag = 0;
uint32_t g_orientationTag = 0;
uint32_t g_sensorSizeTag = 0;
uint32_t g_quadCfaEnabledTag = 0;
uint32_t g_multiCameraIdRoleTag = 0;
uint32_t g_faceAnalyzeResultTag = 0;
uint32_t g_faceNumTag = 0;

const ChiVendorTagData kOwnTags[kOwnTagCount] = {
    {"SupportedFeature", ChiTagType::kInt32, 1},
    {"CurrentMode", ChiTagType::kByte, 1},
    {"ProcessedFrameNumber", ChiTagType::kInt64, 1},
    {"FrameDimension", ChiTagType::kInt32, 2},
};

uint32_t QueryVendorTagBase(const char* section, const char* tag) {
  if (g_ChiNodeInterface.pGetVendorTagBase == nullptr) return 0;
  ChiVendorTagBase query = {sizeof(query), 0, section, tag};
  g_ChiNodeInterface.pGetVendorTagBase(&query);
  return query.vendorTagBase;
}

void SetNodeInterface(ChiNodeInterface* pNodeInterface) {
  if (pNodeInterface == nullptr) return;
  ChiNodeUtils::SetNodeInterface(pNodeInterface, kNodeSection, &g_ChiNodeInterface,
                                 &g_vendorTagBase);
  g_faceScoreEnabledTag = QueryVendorTagBase("brodax.faceScore", "enabled");
  g_faceGenderAndAgeEnabledTag = QueryVendorTagBase("brodax.faceGenderAndAge", "enabled");
  g_orientationTag = QueryVendorTagBase("brodax.device", "orientation");
  g_sensorSizeTag = QueryVendorTagBase("brodax.sensorSize", "size");
  g_quadCfaEnabledTag = QueryVendorTagBase("brodax.quadcfa", "enabled");
  g_multiCameraIdRoleTag = QueryVendorTagBase("com.qti.chi.multicamerainfo", "MultiCameraIdRole");
  g_faceAnalyzeResultTag = QueryVendorTagBase("brodax.faceAnalyzeResult", "result");
  g_faceNumTag = QueryVendorTagBase("brodax.faceAnalyzeResult", "faceNum");
}

ChiGenderAgeNode::ChiGenderAgeNode(const ChiNodeCreateInfo& info)
    : m_hChiSession(info.hChiSession), m_nodeId(info.nodeId), m_nodeCaps(info.nodeCapsMask) {}

ChiGenderAgeNode::~ChiGenderAgeNode() { delete m_pPreview; }

void ChiGenderAgeNode::SetBufferSize(uint32_t width, uint32_t height) {
  m_bufferWidth = width;
  m_bufferHeight = height;
}

void ChiGenderAgeNode::StartPreview() {
  delete m_pPreview;
  m_pPreview = new (std::nothrow) android::ZYPreview;
  if (m_pPreview == nullptr) return;
  m_pPreview->mFaceGenderAndAgeEnabled.store(m_faceGenderAndAgeEnabled, std::memory_order_relaxed);
  m_pPreview->mFaceScoreEnabled.store(m_faceScoreEnabled, std::memory_order_relaxed);
}
