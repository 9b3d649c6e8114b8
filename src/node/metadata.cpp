// SPDX-License-Identifier: Apache-2.0
// Reads the metadata of a request and publishes the results there.
#include <algorithm>
#include <cstring>

#include "node/gender_age_node.h"
#include "node/node_log.h"
#include "platform/chi_node_utils.h"

namespace {

// The second word of MultiCameraIdRole in which the node works.
constexpr uint32_t kWorkingRole = 1;

// With this third word of MultiCameraIdRole, rectangles are halved even if the quad sensor is on.
constexpr uint32_t kAlwaysHalvedCamera = 7;

// Scales a sensor coordinate to the frame, modulo 2^32 like the framework's own arithmetic.
uint32_t Scale(uint32_t position, uint32_t full, uint32_t sensor) {
  return position * full / sensor;
}

// Converts the value of a wrapped edge.
int32_t ToSigned(uint32_t value) { return static_cast<int32_t>(value); }

// The tags that one request publishes.
class OutgoingTags {
 public:
  explicit OutgoingTags(uint64_t request_id) : request_id_(request_id) {}

  void Add(uint32_t tag, const void* value, uint32_t count) {
    tags_[count_] = tag;
    data_[count_].size = sizeof(ChiTagData);
    data_[count_].requestId = request_id_;
    data_[count_].pData = value;
    data_[count_].count = count;
    ++count_;
  }

  void Publish(ChiHandle session) const {
    if (g_ChiNodeInterface.pSetMetadata == nullptr || count_ == 0) return;
    ChiMetadataSet set = {};
    set.size = sizeof(set);
    set.hChiSession = session;
    set.tagCount = count_;
    set.pTagList = tags_;
    set.pTagData = data_;
    g_ChiNodeInterface.pSetMetadata(&set);
  }

 private:
  static constexpr uint32_t kCapacity = kOwnTagCount + 1;

  uint64_t request_id_;
  uint32_t count_ = 0;
  uint32_t tags_[kCapacity] = {};
  ChiTagData data_[kCapacity] = {};
};

}  // namespace

const void* ChiGenderAgeNode::FindTag(uint64_t requestId, uint32_t tag) const {
  if (tag == 0 || g_ChiNodeInterface.pGetMetadata == nullptr) return nullptr;
  return ChiNodeUtils::GetMetaData(requestId, tag | kChiInputMetadataBit, ChiMetadataType::kInput,
                                   m_hChiSession, &g_ChiNodeInterface);
}

// Copies a value of unknown alignment; the tag's declaration gives the length.
template <typename T>
bool ChiGenderAgeNode::ReadTag(uint64_t requestId, uint32_t tag, T* value) const {
  const void* data = FindTag(requestId, tag);
  if (data == nullptr) return false;
  std::memcpy(value, data, sizeof(*value));
  return true;
}

void ChiGenderAgeNode::getMetaData(uint64_t requestId) {
  // The framework expects this query with every request; the result is not used.
  QueryVendorTagBase(kNodeSection, kOwnTags[kSupportedFeature].pTagName);
  const uint32_t camera = ReadCameraRole(requestId);
  ReadSwitches(requestId);
  const bool quad_cfa = ReadSensorSize(requestId);
  ReadTag(requestId, g_orientationTag, &m_orientation);
  FindTag(requestId, g_faceAnalyzeResultTag);  // looked up for the framework's trace only
  ReadFaces(requestId, !quad_cfa || camera == kAlwaysHalvedCamera);
}

// Returns the third word of the role, 0 when there is none.
uint32_t ChiGenderAgeNode::ReadCameraRole(uint64_t requestId) {
  uint32_t words[3] = {};
  if (ReadTag(requestId, g_multiCameraIdRoleTag, &words)) {
    m_cameraRoleFlag = words[1] == kWorkingRole ? 1 : 0;
  }
  return words[2];
}

// Changes a switch only together with the worker's copy of it, so a switch that toggles before the
// worker exists still counts as a change afterwards.
void ChiGenderAgeNode::ReadSwitches(uint64_t requestId) {
  uint32_t value = 0;
  if (ReadTag(requestId, g_faceGenderAndAgeEnabledTag, &value) && m_pPreview != nullptr) {
    m_faceGenderAndAgeEnabled = value != 0;
    m_pPreview->mFaceGenderAndAgeEnabled.store(value != 0, std::memory_order_relaxed);
  }
  if (ReadTag(requestId, g_faceScoreEnabledTag, &value) && m_pPreview != nullptr) {
    m_faceScoreEnabled = value != 0;
    m_pPreview->mFaceScoreEnabled.store(value != 0, std::memory_order_relaxed);
  }
}

// Returns whether the quad sensor is on; false without a sensor size.
bool ChiGenderAgeNode::ReadSensorSize(uint64_t requestId) {
  uint32_t size[2];
  if (!ReadTag(requestId, g_sensorSizeTag, &size)) return false;
  uint8_t quad_cfa = 0;
  ReadTag(requestId, g_quadCfaEnabledTag, &quad_cfa);
  m_sensorWidth = size[0];
  m_sensorHeight = size[1];
  return quad_cfa != 0;
}

void ChiGenderAgeNode::ReadFaces(uint64_t requestId, bool halve) {
  size_t count = 0;
  const void* data = nullptr;
  if (g_ChiNodeInterface.pGetMetadata != nullptr) {
    data = ChiNodeUtils::GetMetaDataAndSize(requestId, kChiFaceRectanglesTag | kChiInputMetadataBit,
                                            ChiMetadataType::kInput, m_hChiSession,
                                            &g_ChiNodeInterface, &count);
  }
  m_faceNum = static_cast<uint8_t>(count / 4);
  if (data == nullptr || m_faceNum == 0) return;
  m_faceNum = static_cast<uint8_t>(FaceCount());
  if (!SensorCoversFrame()) return;
  for (int i = 0; i < m_faceNum; ++i) {
    int32_t rect[4];
    std::memcpy(rect, static_cast<const char*>(data) + sizeof(rect) * static_cast<size_t>(i),
                sizeof(rect));
    android::_FaceLocation& face = m_faceLocation[i];
    face = ScaleToFrame(rect, halve);
    __android_log_print(kLogInfo, kNodeLogTag,
                        "%s():%d getMetaData GenderAge face info[%d](x,y,w,h)[%d,%d,%d,%d]\n",
                        "getMetaData", kLineFaceRectangle, i, face.x, face.y, face.w, face.h);
  }
}

bool ChiGenderAgeNode::SensorCoversFrame() const {
  return m_sensorWidth != 0 && m_sensorHeight != 0 && m_fullWidth <= m_sensorWidth &&
         m_fullHeight <= m_sensorHeight;
}

android::_FaceLocation ChiGenderAgeNode::ScaleToFrame(const int32_t (&rect)[4], bool halve) const {
  uint32_t edges[4];
  for (int i = 0; i < 4; ++i) edges[i] = static_cast<uint32_t>(rect[i]) >> (halve ? 1 : 0);
  const uint32_t left = Scale(edges[0], m_fullWidth, m_sensorWidth);
  const uint32_t top = Scale(edges[1], m_fullHeight, m_sensorHeight);
  const uint32_t right = Scale(edges[2], m_fullWidth, m_sensorWidth);
  const uint32_t bottom = Scale(edges[3], m_fullHeight, m_sensorHeight);
  return {ToSigned(left), ToSigned(top), ToSigned(right - left + 1), ToSigned(bottom - top + 1)};
}

int ChiGenderAgeNode::FaceCount() const { return std::min<int>(m_faceNum, android::kMaxFaces); }

void ChiGenderAgeNode::UpdateMetaData(uint64_t requestId) {
  const uint32_t supported_feature = 1;
  const uint32_t dimension[2] = {m_bufferWidth, m_bufferHeight};
  const void* own_values[kOwnTagCount] = {&supported_feature, &m_nodeCaps, &m_processedFrame,
                                          dimension};
  OutgoingTags tags(requestId);
  // Without a base these identifiers would be those of the platform's first tags, and the framework
  // would refuse the whole record.
  for (uint32_t i = 0; i < kOwnTagCount && g_vendorTagBase != 0; ++i) {
    tags.Add(g_vendorTagBase + i, own_values[i], kOwnTags[i].count);
  }
  const uint32_t result_tag = QueryVendorTagBase("brodax.faceAnalyzeResult", "result");
  if (result_tag != 0) {
    tags.Add(result_tag, &m_faceInfoResult, sizeof(m_faceInfoResult));
  } else {
    LogNodeFailure("UpdateMetaData", kLineResultTagMissing,
                   "get faceAnalyzeResult tagBase failed\n");
  }
  const FaceInfoResult& result = m_faceInfoResult;
  __android_log_print(kLogInfo, kNodeLogTag,
                      "%s():%d set m_faceInfoResult faceNum: %d gender %f age %f prop %f\n",
                      "UpdateMetaData", kLineResultRecord, result.faceNum, result.gender[0],
                      result.age[0], result.prop[0]);
  tags.Publish(m_hChiSession);
}
