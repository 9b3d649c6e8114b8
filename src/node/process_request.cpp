// SPDX-License-Identifier: Apache-2.0
// Processes one request.
#include <algorithm>

#include "base/wrapping.h"
#include "image/zy_image_buffer.h"
#include "node/gender_age_node.h"
#include "node/node_log.h"

namespace {

constexpr char kProcessRequest[] = "ProcessRequest";

// Input buffers that one request describes; further ones are ignored.
constexpr uint32_t kMaxInputs = 12;

// One request in six hands a frame over: 4, 10, 16 and so on.
constexpr uint64_t kHandOverPeriod = 6;

// The record of a request without a face, and of a face without a result.
constexpr float kDefaultAge = 20.0f;
constexpr float kDefaultScore = 80.0f;
constexpr float kNoFaceProp = 0.7f;

const ChiNodeBuffer* BufferAt(ChiNodeBuffer* const* buffers, uint32_t count, uint32_t index) {
  return buffers != nullptr && index < count ? buffers[index] : nullptr;
}

ChiImageFormat FormatOf(const ChiNodeBuffer* buffer) {
  return buffer != nullptr ? buffer->format : ChiImageFormat{};
}

ZyImageBuffer Describe(const ChiNodeBuffer& buffer) {
  ZyImageBuffer image = {};
  image.format = kZyFormatYuv420SemiPlanar;
  image.width = static_cast<int32_t>(buffer.format.width);
  image.height = static_cast<int32_t>(buffer.format.height);
  if (buffer.pImages == nullptr || buffer.numImages == 0) return image;
  for (uint32_t plane = 0; plane < std::min(buffer.numPlanes, kChiMaxPlanes); ++plane) {
    image.stride[plane] = static_cast<int32_t>(buffer.planeStride);
    image.plane[plane] = buffer.pImages[0].pPlaneAddress[plane];
  }
  return image;
}

// Describes and logs up to kMaxInputs input buffers. Returns the first, which may be analysed, or
// an empty record without any.
ZyImageBuffer DescribeInputs(const ChiNodeProcessRequestInfo& info) {
  ZyImageBuffer first = {};
  for (uint32_t i = 0; i < std::min(info.inputNum, kMaxInputs); ++i) {
    const ChiNodeBuffer* buffer = BufferAt(info.phInputBuffer, info.inputNum, i);
    if (buffer == nullptr) continue;
    const ZyImageBuffer image = Describe(*buffer);
    if (i == 0) first = image;
    __android_log_print(kLogInfo, kNodeLogTag,
                        "%s():%d ChiGenderAgeNode frameNum %lu, i %d, format: %d, width %d, "
                        "height %d, planeStride: %d\n",
                        kProcessRequest, kLineInputBuffer, info.frameNum, static_cast<int>(i),
                        static_cast<int>(buffer->format.format), image.width, image.height,
                        static_cast<int>(buffer->planeStride));
  }
  return first;
}

// Returns whether both planes exist with rows at least as long as the picture is wide.
bool HoldsPicture(const ZyImageBuffer& image) {
  return image.plane[0] != nullptr && image.plane[1] != nullptr && image.stride[0] >= image.width;
}

bool IsHandOverFrame(uint64_t frame_number) { return (frame_number + 2) % kHandOverPeriod == 0; }

}  // namespace

int ChiGenderAgeNode::ProcessRequest(const ChiNodeProcessRequestInfo* info) {
  const ChiImageFormat full = FormatOf(BufferAt(info->phInputBuffer, info->inputNum, 0));
  m_fullWidth = full.width;
  m_fullHeight = full.height;
  getMetaData(info->frameNum);
  m_faceInfoResult = {};
  __android_log_print(kLogInfo, kNodeLogTag, "%s():%d ChiGenderAgeNode frameNum %lu, inputNum %d\n",
                      kProcessRequest, kLineRequest, info->frameNum,
                      static_cast<int>(info->inputNum));
  if (m_cameraRoleFlag == 1 && (m_faceGenderAndAgeEnabled || m_faceScoreEnabled)) {
    if (m_faceNum == 0) {
      FillNoFace();
    } else {
      AnalyzeRequest(*info);
    }
  }
  UpdateMetaData(info->frameNum);
  return 0;
}

void ChiGenderAgeNode::FillNoFace() {
  __android_log_print(kLogInfo, kNodeLogTag,
                      "%s():%d ChiGenderAgeNode process m_faceNum %d line: %d\n", kProcessRequest,
                      kLineNoFace, 0, kLineNoFace);
  std::fill_n(m_faceInfoResult.age, android::kMaxFaces, kDefaultAge);
  std::fill_n(m_faceInfoResult.score, android::kMaxFaces, kDefaultScore);
  std::fill_n(m_faceInfoResult.prop, android::kMaxFaces, kNoFaceProp);
}

void ChiGenderAgeNode::AnalyzeRequest(const ChiNodeProcessRequestInfo& info) {
  const ZyImageBuffer image = DescribeInputs(info);
  const ChiImageFormat output = FormatOf(BufferAt(info.phOutputBuffer, info.outputNum, 0));
  __android_log_print(kLogInfo, kNodeLogTag,
                      "%s():%d get face num: %d, size:%d, %d, full size %d %d\n", kProcessRequest,
                      kLineFacesAndSizes, m_faceNum, static_cast<int>(output.width),
                      static_cast<int>(output.height), static_cast<int>(m_fullWidth),
                      static_cast<int>(m_fullHeight));
  if (m_pPreview == nullptr || !IsHandOverFrame(info.frameNum)) return;
  if (HoldsPicture(image)) {
    m_pPreview->ProcessBuffer(&image, m_faceLocation, FaceCount(), static_cast<int>(m_orientation),
                              static_cast<int>(m_cameraRoleFlag));
  }
  CollectResults();
}

void ChiGenderAgeNode::CollectResults() {
  m_faceInfoResult.faceNum = FaceCount();
  __android_log_print(kLogInfo, kNodeLogTag, "%s():%d m_faceNum %d\n", kProcessRequest,
                      kLineHandOver, m_faceNum);
  for (int i = 0; i < FaceCount(); ++i) {
    const android::_FaceLocation& face = m_faceLocation[i];
    const int index = m_pPreview->getFaceIndex(false, face.x, base::WrappingSum(face.x, face.w),
                                               face.y, base::WrappingSum(face.y, face.h));
    // Only the existence of a match counts: face i takes the results of slot i, whichever slot
    // matched.
    if (index >= 0) {
      FillFromWorker(i);
    } else {
      FillUnmatched(i);
    }
  }
}

void ChiGenderAgeNode::FillFromWorker(int slot) {
  const android::SlotResult found = m_pPreview->ResultOf(slot);
  FaceInfoResult& result = m_faceInfoResult;
  result.gender[slot] = found.gender;
  result.age[slot] = found.age;
  result.score[slot] = found.grade;
  result.prop[slot] = found.prop;
  LogFace(slot, kLineFaceMatched, "line");
}

void ChiGenderAgeNode::FillUnmatched(int slot) {
  FaceInfoResult& result = m_faceInfoResult;
  result.gender[slot] = 0.0f;
  result.age[slot] = kDefaultAge;
  result.score[slot] = kDefaultScore;
  result.prop[slot] = 0.0f;
  LogFace(slot, kLineFaceUnmatched, "line:");
}

// Logs one face. The two lines differ in a colon, which readers of logs may rely on.
void ChiGenderAgeNode::LogFace(int slot, NodeLogLine line, const char* label) const {
  const FaceInfoResult& result = m_faceInfoResult;
  __android_log_print(kLogInfo, kNodeLogTag,
                      "%s():%d ChiGenderAgeNode process face[%d] gender: %f, age: %f, score: %f, "
                      "prop: %f [x %d y %d] %s %d\n",
                      kProcessRequest, line, slot, result.gender[slot], result.age[slot],
                      result.score[slot], result.prop[slot], m_faceLocation[slot].x,
                      m_faceLocation[slot].y, label, line);
}
