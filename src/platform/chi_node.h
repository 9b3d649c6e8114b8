// SPDX-License-Identifier: Apache-2.0
// The records that the camera framework and a node exchange. Only members that a node, the utility
// library or their fakes use have names; the rest is reserved. Most records begin with their own
// size in bytes. The assertions pin the layout for comparison with a platform's own headers.
#ifndef ZY_PLATFORM_CHI_NODE_H_
#define ZY_PLATFORM_CHI_NODE_H_

#include <cstddef>
#include <cstdint>

using ChiHandle = void*;

using ChiResult = int32_t;
inline constexpr ChiResult kChiSuccess = 0;
inline constexpr ChiResult kChiFailed = 1;
inline constexpr ChiResult kChiUnsupported = 2;
inline constexpr ChiResult kChiInvalidPointer = 5;

// ---- Metadata -----------------------------------------------------------------------------------

// Element types of a tag.
enum class ChiTagType : uint32_t { kByte = 0, kInt32 = 1, kFloat = 2, kInt64 = 3 };

enum class ChiMetadataType : uint32_t { kInput = 2 };

// Set in a tag's identifier to select the request's input metadata.
inline constexpr uint32_t kChiInputMetadataBit = 0x08000000;

// android.statistics.faceRectangles: int32, four per face: xmin, ymin, xmax, ymax in sensor pixels.
inline constexpr uint32_t kChiFaceRectanglesTag = 0x00110006;

struct ChiVendorTagData {
  const char* pTagName;
  ChiTagType type;
  uint32_t count;
};
static_assert(sizeof(ChiVendorTagData) == 16 && offsetof(ChiVendorTagData, type) == 8 &&
              offsetof(ChiVendorTagData, count) == 12);

struct ChiVendorTagSectionData {
  const char* pSectionName;
  uint32_t firstVendorTag;
  uint32_t numTags;
  uint32_t visibility;
  uint32_t reserved;
  const ChiVendorTagData* pTags;
};
static_assert(sizeof(ChiVendorTagSectionData) == 32 &&
              offsetof(ChiVendorTagSectionData, firstVendorTag) == 8 &&
              offsetof(ChiVendorTagSectionData, numTags) == 12 &&
              offsetof(ChiVendorTagSectionData, visibility) == 16 &&
              offsetof(ChiVendorTagSectionData, pTags) == 24);

struct ChiVendorTagInfo {
  const ChiVendorTagSectionData* pSections;
  uint32_t numSections;
  uint32_t reserved;
};
static_assert(sizeof(ChiVendorTagInfo) == 16 && offsetof(ChiVendorTagInfo, numSections) == 8);

struct ChiQueryVendorTag {
  uint32_t size;
  uint32_t reserved;
  const ChiVendorTagInfo* pVendorTagInfo;
};

// A query for the identifier of a tag and its result, 0 when the tag is unknown.
struct ChiVendorTagBase {
  uint32_t size;
  uint32_t vendorTagBase;
  const char* pComponentName;
  const char* pTagName;
};
static_assert(sizeof(ChiVendorTagBase) == 24 && offsetof(ChiVendorTagBase, vendorTagBase) == 4 &&
              offsetof(ChiVendorTagBase, pComponentName) == 8 &&
              offsetof(ChiVendorTagBase, pTagName) == 16);

// One value to publish; `count` is in elements of the tag's type.
struct ChiTagData {
  uint32_t size;
  uint32_t reserved;
  uint64_t requestId;
  const void* pData;
  uint64_t count;
  uint64_t reserved2[2];
};
static_assert(sizeof(ChiTagData) == 48 && offsetof(ChiTagData, requestId) == 8 &&
              offsetof(ChiTagData, pData) == 16 && offsetof(ChiTagData, count) == 24);

struct ChiMetadataSet {
  uint32_t size;
  uint32_t tagCount;
  ChiHandle hChiSession;
  const uint32_t* pTagList;
  const ChiTagData* pTagData;
};
static_assert(sizeof(ChiMetadataSet) == 32 && offsetof(ChiMetadataSet, tagCount) == 4 &&
              offsetof(ChiMetadataSet, hChiSession) == 8 &&
              offsetof(ChiMetadataSet, pTagList) == 16 && offsetof(ChiMetadataSet, pTagData) == 24);

// One value to read; the framework fills `pData` and `count`, null and 0 when the tag is absent.
struct ChiMetadataGet {
  uint32_t size;
  uint32_t tag;
  ChiMetadataType type;
  uint32_t reserved;
  ChiHandle hChiSession;
  uint64_t requestId;
  void* pData;
  std::size_t count;
};

// The functions that the framework offers to a node. The node copies this record during
// set-node-interface and may look up tags with pGetVendorTagBase from then on. It calls
// pGetMetadata and pSetMetadata during process-request only, on the thread of that call, with its
// own session and that request's number. A value's `pData` is the framework's: the node does not
// change it, nor use it after process-request. pSetMetadata copies the values to publish.
struct ChiNodeInterface {
  uint32_t size;
  uint32_t majorVersion;
  uint32_t minorVersion;
  uint32_t reserved;
  ChiResult (*pGetMetadata)(ChiMetadataGet*);
  ChiResult (*pSetMetadata)(ChiMetadataSet*);
  ChiResult (*pGetVendorTagBase)(ChiVendorTagBase*);
  void* reserved2[10];
};
static_assert(sizeof(ChiNodeInterface) == 120 && offsetof(ChiNodeInterface, pGetMetadata) == 16 &&
              offsetof(ChiNodeInterface, pSetMetadata) == 24 &&
              offsetof(ChiNodeInterface, pGetVendorTagBase) == 32);

// ---- Images -------------------------------------------------------------------------------------

inline constexpr uint32_t kChiMaxPlanes = 4;

struct ChiImageFormat {
  uint32_t width;
  uint32_t height;
  uint32_t format;
  uint32_t reserved;
};
static_assert(sizeof(ChiImageFormat) == 16 && offsetof(ChiImageFormat, height) == 4 &&
              offsetof(ChiImageFormat, format) == 8);

struct ChiImage {
  uint32_t size;
  uint32_t reserved;
  uint8_t* pPlaneAddress[kChiMaxPlanes];
};
static_assert(sizeof(ChiImage) == 40 && offsetof(ChiImage, pPlaneAddress) == 8);

// The image behind a buffer handle. The planes share the pitch `planeStride` (bytes).
struct ChiNodeBuffer {
  uint32_t size;
  uint32_t numImages;
  ChiImageFormat format;
  uint32_t numPlanes;
  uint32_t planeStride;
  const ChiImage* pImages;
};
static_assert(sizeof(ChiNodeBuffer) == 40 && offsetof(ChiNodeBuffer, numImages) == 4 &&
              offsetof(ChiNodeBuffer, format) == 8 && offsetof(ChiNodeBuffer, numPlanes) == 24 &&
              offsetof(ChiNodeBuffer, planeStride) == 28 && offsetof(ChiNodeBuffer, pImages) == 32);

// ---- Node callbacks -----------------------------------------------------------------------------

struct ChiNodeCapsInfo {
  uint32_t size;
  uint32_t nodeCapsMask;
};

struct ChiNodeCreateInfo {
  uint32_t size;
  uint32_t nodeId;
  uint32_t nodeCapsMask;
  uint32_t reserved;
  ChiHandle hChiSession;
  ChiHandle hNodeSession;
  uint64_t reserved2[6];
};
static_assert(sizeof(ChiNodeCreateInfo) == 80 && offsetof(ChiNodeCreateInfo, nodeId) == 4 &&
              offsetof(ChiNodeCreateInfo, nodeCapsMask) == 8 &&
              offsetof(ChiNodeCreateInfo, hChiSession) == 16 &&
              offsetof(ChiNodeCreateInfo, hNodeSession) == 24);

struct ChiNodedestroyInfo {
  uint32_t size;
  uint32_t reserved;
  ChiHandle hNodeSession;
};
static_assert(sizeof(ChiNodedestroyInfo) == 16 && offsetof(ChiNodedestroyInfo, hNodeSession) == 8);

struct ChiNodeQueryBufferInfo {
  uint32_t size;
  uint32_t reserved;
  ChiHandle hNodeSession;
  uint64_t reserved2[4];
};
static_assert(sizeof(ChiNodeQueryBufferInfo) == 48 &&
              offsetof(ChiNodeQueryBufferInfo, hNodeSession) == 8);

struct ChiNodeSetBufferPropertiesInfo {
  uint32_t size;
  uint32_t portId;
  ChiHandle hNodeSession;
  const ChiImageFormat* pFormat;
  uint64_t reserved;
};
static_assert(sizeof(ChiNodeSetBufferPropertiesInfo) == 32 &&
              offsetof(ChiNodeSetBufferPropertiesInfo, hNodeSession) == 8 &&
              offsetof(ChiNodeSetBufferPropertiesInfo, pFormat) == 16);

struct ChiNodeProcessRequestInfo {
  uint32_t size;
  uint32_t reserved;
  ChiHandle hNodeSession;
  uint64_t frameNum;
  uint32_t inputNum;
  uint32_t outputNum;
  ChiNodeBuffer** phInputBuffer;
  ChiNodeBuffer** phOutputBuffer;
  uint64_t reserved2[5];
};
static_assert(sizeof(ChiNodeProcessRequestInfo) == 88 &&
              offsetof(ChiNodeProcessRequestInfo, hNodeSession) == 8 &&
              offsetof(ChiNodeProcessRequestInfo, frameNum) == 16 &&
              offsetof(ChiNodeProcessRequestInfo, inputNum) == 24 &&
              offsetof(ChiNodeProcessRequestInfo, outputNum) == 28 &&
              offsetof(ChiNodeProcessRequestInfo, phInputBuffer) == 32 &&
              offsetof(ChiNodeProcessRequestInfo, phOutputBuffer) == 40);

// The functions of a node library, which ChiNodeEntry fills in. First, in any order:
// pSetNodeInterface passes the framework's functions, pGetCapabilities asks for capabilities, and
// pQueryVendorTag for the library's constant tags. Then for each node, in this order: pCreate makes
// it and returns its hNodeSession; pQueryBufferInfo and pSetBufferInfo agree on its buffers;
// pPostPipelineCreate starts its threads; pProcessRequest handles one frame, whose planes the node
// may not touch afterwards; pDestroy ends the threads and frees the node. Calls for one node never
// overlap; those for several nodes may.
struct ChiNodeCallbacks {
  uint32_t size;
  uint32_t majorVersion;
  uint32_t minorVersion;
  uint32_t reserved;
  ChiResult (*pGetCapabilities)(ChiNodeCapsInfo*);
  ChiResult (*pQueryVendorTag)(ChiQueryVendorTag*);
  ChiResult (*pCreate)(ChiNodeCreateInfo*);
  ChiResult (*pDestroy)(ChiNodedestroyInfo*);
  ChiResult (*pQueryBufferInfo)(ChiNodeQueryBufferInfo*);
  ChiResult (*pSetBufferInfo)(ChiNodeSetBufferPropertiesInfo*);
  ChiResult (*pProcessRequest)(ChiNodeProcessRequestInfo*);
  void (*pSetNodeInterface)(ChiNodeInterface*);
  void (*pPostPipelineCreate)(ChiHandle hNodeSession);
  void* reserved2[7];
};
static_assert(sizeof(ChiNodeCallbacks) == 144 && offsetof(ChiNodeCallbacks, majorVersion) == 4 &&
              offsetof(ChiNodeCallbacks, minorVersion) == 8 &&
              offsetof(ChiNodeCallbacks, pGetCapabilities) == 16 &&
              offsetof(ChiNodeCallbacks, pQueryVendorTag) == 24 &&
              offsetof(ChiNodeCallbacks, pCreate) == 32 &&
              offsetof(ChiNodeCallbacks, pDestroy) == 40 &&
              offsetof(ChiNodeCallbacks, pQueryBufferInfo) == 48 &&
              offsetof(ChiNodeCallbacks, pSetBufferInfo) == 56 &&
              offsetof(ChiNodeCallbacks, pProcessRequest) == 64 &&
              offsetof(ChiNodeCallbacks, pSetNodeInterface) == 72 &&
              offsetof(ChiNodeCallbacks, pPostPipelineCreate) == 80);

#endif  // ZY_PLATFORM_CHI_NODE_H_
