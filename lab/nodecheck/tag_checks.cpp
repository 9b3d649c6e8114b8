// SPDX-License-Identifier: Apache-2.0
// Vendor tags, and what is published with each request.
#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

std::string Declared(const Subject& subject) {
  ChiQueryVendorTag query = {sizeof(query), 0, nullptr};
  const ChiResult result = subject.Start().pQueryVendorTag(&query);
  if (result != kChiSuccess || query.pVendorTagInfo == nullptr) Fail("query-vendor-tag: no tags");
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  for (uint32_t s = 0; s < query.pVendorTagInfo->numSections; ++s) {
    const ChiVendorTagSectionData& section = query.pVendorTagInfo->pSections[s];
    const uint32_t first = tags.Id(section.pSectionName, "");
    for (uint32_t t = 0; t < section.numTags; ++t) {
      const ChiVendorTagData& tag = section.pTags[t];
      const std::string name = section.pSectionName + std::string("/") + tag.pTagName;
      std::size_t element_bytes = 0;
      uint32_t count = 0;
      const uint32_t id = tags.Id(section.pSectionName, tag.pTagName);
      Require(id == first + t, name, "an identifier of its own", "another tag's");
      tags.Describe(id, &element_bytes, &count);
      Require(element_bytes != 0 && count != 0, name, "a known type and a count",
              std::to_string(static_cast<uint32_t>(tag.type)) + " and " + std::to_string(count));
    }
  }
  return "";
}

std::string Published(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  for (uint32_t number = 1; number <= 60; ++number) {
    camera.SetFaces(number / 12);
    camera.Send(number);
  }
  return "";
}

std::string NoMetadata(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  camera.session.Input().Clear();
  for (uint64_t number = 1; number <= 12; ++number) camera.Send(number);
  return "";
}

std::string Refused(const Subject& subject) {
  subject.Start();
  Camera camera(640, 480);
  camera.session.RefusePublications(true);
  for (uint64_t number = 1; number <= 12; ++number) camera.Send(number);
  camera.session.RefusePublications(false);
  camera.Send(13);
  return "";
}

}  // namespace

const Checks kTagChecks = {
    {"tags.declared", "Every tag that the node declares can be looked up and described.", Declared},
    {"tags.published", "Each request is published once: a record, and tags as they are declared.",
     Published},
    {"tags.no_metadata", "So is a request that carries no metadata at all.", NoMetadata},
    {"tags.refused", "A framework that refuses what is published is asked once.", Refused},
};

}  // namespace nodecheck
