// SPDX-License-Identifier: Apache-2.0
// Prints our declarations of the framework's records, offset by offset, for comparison with the
// platform's own headers. docs/device.md carries the output.
#include <cstddef>
#include <cstdio>

#include "platform/chi_node.h"

namespace {

void PrintRecord(const char* record, std::size_t size) {
  std::printf("| **%s** | | %zu |\n", record, size);
}

void PrintMember(const char* member, std::size_t offset, std::size_t size) {
  std::printf("| %s | %zu | %zu |\n", member, offset, size);
}

}  // namespace

// A macro, because only the preprocessor can take a member's name and its text.
#define MEMBER(record, member) \
  PrintMember(#member, offsetof(record, member), sizeof(record::member))

int main() {
  std::printf("| record, member | offset | bytes |\n|---|---|---|\n");
  PrintRecord("ChiNodeCallbacks", sizeof(ChiNodeCallbacks));
  MEMBER(ChiNodeCallbacks, size);
  MEMBER(ChiNodeCallbacks, majorVersion);
  MEMBER(ChiNodeCallbacks, minorVersion);
  MEMBER(ChiNodeCallbacks, pGetCapabilities);
  MEMBER(ChiNodeCallbacks, pQueryVendorTag);
  MEMBER(ChiNodeCallbacks, pCreate);
  MEMBER(ChiNodeCallbacks, pDestroy);
  MEMBER(ChiNodeCallbacks, pQueryBufferInfo);
  MEMBER(ChiNodeCallbacks, pSetBufferInfo);
  MEMBER(ChiNodeCallbacks, pProcessRequest);
  MEMBER(ChiNodeCallbacks, pSetNodeInterface);
  MEMBER(ChiNodeCallbacks, pPostPipelineCreate);
  PrintRecord("ChiNodeCreateInfo", sizeof(ChiNodeCreateInfo));
  MEMBER(ChiNodeCreateInfo, size);
  MEMBER(ChiNodeCreateInfo, nodeId);
  MEMBER(ChiNodeCreateInfo, nodeCapsMask);
  MEMBER(ChiNodeCreateInfo, hChiSession);
  MEMBER(ChiNodeCreateInfo, hNodeSession);
  PrintRecord("ChiNodedestroyInfo", sizeof(ChiNodedestroyInfo));
  MEMBER(ChiNodedestroyInfo, size);
  MEMBER(ChiNodedestroyInfo, hNodeSession);
  PrintRecord("ChiNodeQueryBufferInfo", sizeof(ChiNodeQueryBufferInfo));
  MEMBER(ChiNodeQueryBufferInfo, size);
  MEMBER(ChiNodeQueryBufferInfo, hNodeSession);
  PrintRecord("ChiNodeSetBufferPropertiesInfo", sizeof(ChiNodeSetBufferPropertiesInfo));
  MEMBER(ChiNodeSetBufferPropertiesInfo, size);
  MEMBER(ChiNodeSetBufferPropertiesInfo, hNodeSession);
  MEMBER(ChiNodeSetBufferPropertiesInfo, pFormat);
  PrintRecord("ChiNodeProcessRequestInfo", sizeof(ChiNodeProcessRequestInfo));
  MEMBER(ChiNodeProcessRequestInfo, size);
  MEMBER(ChiNodeProcessRequestInfo, hNodeSession);
  MEMBER(ChiNodeProcessRequestInfo, frameNum);
  MEMBER(ChiNodeProcessRequestInfo, inputNum);
  MEMBER(ChiNodeProcessRequestInfo, outputNum);
  MEMBER(ChiNodeProcessRequestInfo, phInputBuffer);
  MEMBER(ChiNodeProcessRequestInfo, phOutputBuffer);
  PrintRecord("ChiNodeBuffer", sizeof(ChiNodeBuffer));
  MEMBER(ChiNodeBuffer, numImages);
  MEMBER(ChiNodeBuffer, format);
  MEMBER(ChiNodeBuffer, numPlanes);
  MEMBER(ChiNodeBuffer, planeStride);
  MEMBER(ChiNodeBuffer, pImages);
  PrintRecord("ChiImage", sizeof(ChiImage));
  MEMBER(ChiImage, pPlaneAddress);
  PrintRecord("ChiImageFormat", sizeof(ChiImageFormat));
  MEMBER(ChiImageFormat, width);
  MEMBER(ChiImageFormat, height);
  MEMBER(ChiImageFormat, format);
  PrintRecord("ChiNodeInterface", sizeof(ChiNodeInterface));
  MEMBER(ChiNodeInterface, size);
  MEMBER(ChiNodeInterface, pGetMetadata);
  MEMBER(ChiNodeInterface, pSetMetadata);
  MEMBER(ChiNodeInterface, pGetVendorTagBase);
  PrintRecord("ChiVendorTagBase", sizeof(ChiVendorTagBase));
  MEMBER(ChiVendorTagBase, size);
  MEMBER(ChiVendorTagBase, vendorTagBase);
  MEMBER(ChiVendorTagBase, pComponentName);
  MEMBER(ChiVendorTagBase, pTagName);
  PrintRecord("ChiMetadataSet", sizeof(ChiMetadataSet));
  MEMBER(ChiMetadataSet, size);
  MEMBER(ChiMetadataSet, tagCount);
  MEMBER(ChiMetadataSet, hChiSession);
  MEMBER(ChiMetadataSet, pTagList);
  MEMBER(ChiMetadataSet, pTagData);
  PrintRecord("ChiTagData", sizeof(ChiTagData));
  MEMBER(ChiTagData, size);
  MEMBER(ChiTagData, requestId);
  MEMBER(ChiTagData, pData);
  MEMBER(ChiTagData, count);
  PrintRecord("ChiVendorTagInfo", sizeof(ChiVendorTagInfo));
  MEMBER(ChiVendorTagInfo, pSections);
  MEMBER(ChiVendorTagInfo, numSections);
  PrintRecord("ChiVendorTagSectionData", sizeof(ChiVendorTagSectionData));
  MEMBER(ChiVendorTagSectionData, pSectionName);
  MEMBER(ChiVendorTagSectionData, firstVendorTag);
  MEMBER(ChiVendorTagSectionData, numTags);
  MEMBER(ChiVendorTagSectionData, visibility);
  MEMBER(ChiVendorTagSectionData, pTags);
  PrintRecord("ChiVendorTagData", sizeof(ChiVendorTagData));
  MEMBER(ChiVendorTagData, pTagName);
  MEMBER(ChiVendorTagData, type);
  MEMBER(ChiVendorTagData, count);
}
