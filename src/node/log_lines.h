// SPDX-License-Identifier: Apache-2.0
// The fixed numbers of the node's log lines. Log readers filter by them, so a number stays with its
// line wherever the code moves.
#ifndef ZY_NODE_LOG_LINES_H_
#define ZY_NODE_LOG_LINES_H_

// In the order of the numbers, grouped by the function that logs them.
enum NodeLogLine : int {
  // GenderAgeNodeGetCaps
  kLineCapsNull = 117,
  kLineCapsTooSmall = 128,
  // GenderAgeNodeCreate
  kLineCreate = 168,
  kLineCreateNull = 172,
  kLineCreateTooSmall = 177,
  // GenderAgeNodeDestroy
  kLineDestroyNull = 226,
  kLineDestroyTooSmall = 241,
  // GenderAgeNodeQueryBufferInfo
  kLineQueryBufferNull = 266,
  kLineQueryBufferTooSmall = 278,
  // GenderAgeNodeSetBufferInfo
  kLineSetBufferNull = 303,
  kLineSetBufferTooSmall = 315,
  // GenderAgeNodeProcRequest
  kLineRequestNull = 340,
  kLineRequestTooSmall = 352,
  // ChiNodeEntry
  kLineEntryVersion = 490,
  kLineEntryNull = 495,
  // PostPipelineCreate
  kLinePipelineBegin = 526,
  kLinePipelineNotAvailable = 529,
  kLinePipelineEnd = 534,
  // ProcessRequest
  kLineRequest = 642,
  kLineInputBuffer = 661,
  kLineFacesAndSizes = 673,
  kLineHandOver = 679,
  kLineFaceMatched = 696,
  kLineFaceUnmatched = 704,
  kLineNoFace = 709,
  // getMetaData
  kLineFaceRectangle = 916,
  // UpdateMetaData
  kLineResultTagMissing = 1016,
  kLineResultRecord = 1019,
};

#endif  // ZY_NODE_LOG_LINES_H_
