// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_NODE_GENDER_AGE_NODE_H_
#define ZY_NODE_GENDER_AGE_NODE_H_

#include <cstdint>

#include "analysis/zy_preview.h"
#include "node/log_lines.h"
#include "node/zy_node_base.h"
#include "platform/chi_node.h"

// ---- The library's globals ----------------------------------------------------------------------
// The set-node-interface callback writes them once, before any request. A tag identifier of 0 means
// that the platform does not know the tag.

extern ChiNodeInterface g_ChiNodeInterface;
extern uint32_t g_vendorTagBase;
extern uint32_t g_faceScoreEnabledTag;
extern uint32_t g_faceGenderAndAgeEnabledTag;
extern uint32_t g_orientationTag;
extern uint32_t g_sensorSizeTag;
extern uint32_t g_quadCfaEnabledTag;
extern uint32_t g_multiCameraIdRoleTag;
extern uint32_t g_faceAnalyzeResultTag;
extern uint32_t g_faceNumTag;  // looked up with the others, although no request reads it

inline constexpr char kNodeSection[] = "com.qti.node.brodaxgenderage";

// The node's own vendor tags: tag k has the identifier g_vendorTagBase + k.
enum OwnTag {
  kSupportedFeature,
  kCurrentMode,
  kProcessedFrameNumber,
  kFrameDimension,
  kOwnTagCount
};
extern const ChiVendorTagData kOwnTags[kOwnTagCount];

// Fills the globals above from the framework's interface. Request thread, before any request.
void SetNodeInterface(ChiNodeInterface* pNodeInterface);

// Returns the identifier of a vendor tag, 0 when it is unknown or there is no interface. Request
// thread.
uint32_t QueryVendorTagBase(const char* section, const char* tag);

// ---- The published record -----------------------------------------------------------------------

// The value of "brodax.faceAnalyzeResult"/"result". Slot i belongs to face i of the request.
struct FaceInfoResult {
  int32_t faceNum;  // 0 to 3
  float gender[android::kMaxFaces];
  float age[android::kMaxFaces];
  float score[android::kMaxFaces];
  float prop[android::kMaxFaces];
};
static_assert(sizeof(FaceInfoResult) == 52);

// ---- The node -----------------------------------------------------------------------------------

// One node of a pipeline. It reads a request's metadata, offers its frame to the worker and
// publishes the result record. It takes no lock; all its functions run on the request thread.
class ChiGenderAgeNode final : public ZyNodeBase {
 public:
  explicit ChiGenderAgeNode(const ChiNodeCreateInfo& info);
  // Stops and deletes the worker.
  ~ChiGenderAgeNode() override;

  uint32_t CurrentNodeType() const override { return 4; }

  // Returns the capability mask that the framework created the node with.
  uint32_t NodeCaps() const { return m_nodeCaps; }
  // Stores the size (pixels) that the framework negotiated.
  void SetBufferSize(uint32_t width, uint32_t height);
  // Creates the worker, replacing an earlier one; the new one takes over both switches. Without
  // memory for it the node still answers requests.
  void StartPreview();
  // Handles one request; never waits for analysis. `info` and everything it points to stay the
  // framework's. Returns 0.
  int ProcessRequest(const ChiNodeProcessRequestInfo* info);

 private:
  void getMetaData(uint64_t requestId);
  void UpdateMetaData(uint64_t requestId);

  // Returns the value of a tag in the request's input metadata, or null. It stays the framework's.
  const void* FindTag(uint64_t requestId, uint32_t tag) const;
  template <typename T>
  bool ReadTag(uint64_t requestId, uint32_t tag, T* value) const;
  uint32_t ReadCameraRole(uint64_t requestId);
  void ReadSwitches(uint64_t requestId);
  bool ReadSensorSize(uint64_t requestId);
  void ReadFaces(uint64_t requestId, bool halve);
  bool SensorCoversFrame() const;
  android::_FaceLocation ScaleToFrame(const int32_t (&rect)[4], bool halve) const;

  // Returns the faces for loops, the hand-over and the record, at most 3. m_faceNum may be larger:
  // metadata can give a count without rectangles.
  int FaceCount() const;
  void AnalyzeRequest(const ChiNodeProcessRequestInfo& info);
  void CollectResults();
  void FillNoFace();
  void FillFromWorker(int slot);
  void FillUnmatched(int slot);
  void LogFace(int slot, NodeLogLine line, const char* label) const;

  ChiHandle m_hChiSession;
  uint32_t m_nodeId;
  uint32_t m_nodeCaps;
  uint32_t m_bufferWidth = 0;
  uint32_t m_bufferHeight = 0;
  uint64_t m_processedFrame = 0;
  android::ZYPreview* m_pPreview = nullptr;
  android::_FaceLocation m_faceLocation[android::kMaxFaces] = {};
  uint8_t m_faceNum = 0;
  uint32_t m_orientation = 0;
  FaceInfoResult m_faceInfoResult = {};
  bool m_faceGenderAndAgeEnabled = false;
  bool m_faceScoreEnabled = false;
  uint32_t m_fullWidth = 0;
  uint32_t m_fullHeight = 0;
  uint32_t m_sensorWidth = 0;
  uint32_t m_sensorHeight = 0;
  uint32_t m_cameraRoleFlag = 0;
};

#endif  // ZY_NODE_GENDER_AGE_NODE_H_
