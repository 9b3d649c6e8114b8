// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstring>

#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

// ---- The library's entry and its callback table -------------------------------------------------

// Calls the entry with a table of `bytes` bytes, all set to a mark except its header; bytes from
// `kept` on must stay unchanged.
void CallEntry(Subject* subject, uint32_t bytes, uint32_t major, std::size_t kept) {
  const uint32_t header[4] = {bytes, major, 0, 0};
  std::vector<uint8_t> before(std::max<std::size_t>(bytes, sizeof(header)), 0x5a);
  std::memcpy(before.data(), header, sizeof(header));
  framework::LentBytes table("the table", before, framework::Margin::kGuardBehind);
  const framework::NodeEntry entry = subject->Entry();
  Doing("the entry");
  entry(reinterpret_cast<ChiNodeCallbacks*>(table.data()));
  Require(std::equal(before.begin() + static_cast<std::ptrdiff_t>(kept), before.end(),
                     table.data() + kept),
          "table of " + std::to_string(bytes) + " bytes, version " + std::to_string(major),
          "byte " + std::to_string(kept) + " and later as they were", "them changed");
}

constexpr uint32_t kSize = sizeof(ChiNodeCallbacks);

void NullTable(Subject* subject) {
  const framework::NodeEntry entry = subject->Entry();
  Doing("the entry with a null table");
  entry(nullptr);
}
const Check kNullTable("entry.null", "The entry takes a null table without harm.", NullTable,
                       {&kLoading});

void RefusedTables(Subject* subject) {
  for (const uint32_t size : {0u, 16u, 80u, kSize - 8}) CallEntry(subject, size, 0, 0);
  for (const uint32_t major : {1u, 0xffffffffu}) CallEntry(subject, kSize, major, 0);
}
const Check kRefusedTables("entry.refused",
                           "A smaller table, or another major version, stays unchanged.",
                           RefusedTables, {&kLoading});

void LongTable(Subject* subject) {
  CallEntry(subject, kSize + 64, 0, offsetof(ChiNodeCallbacks, reserved2));
}
const Check kLongTable("entry.table", "No member behind the callbacks is touched.", LongTable,
                       {&kEntryCallbacks});

// ---- Invalid records: null, without a session, too short ----------------------------------------

// The part of a record that every node may read: its size and its session.
constexpr uint32_t kLeast = 16;

template <typename Visit>
void ForEachAnsweringCallback(const ChiNodeCallbacks& node, Visit visit) {
  visit("create", node.pCreate, sizeof(ChiNodeCreateInfo));
  visit("destroy", node.pDestroy, sizeof(ChiNodedestroyInfo));
  visit("query-buffer-info", node.pQueryBufferInfo, sizeof(ChiNodeQueryBufferInfo));
  visit("set-buffer-info", node.pSetBufferInfo, sizeof(ChiNodeSetBufferPropertiesInfo));
  visit("process-request", node.pProcessRequest, sizeof(ChiNodeProcessRequestInfo));
}

// Calls with a record of exactly its stated size, or up to seven bytes more for its alignment.
template <typename Record>
void ExpectRefusal(const std::string& call, ChiResult (*callback)(Record*), uint32_t size,
                   ChiHandle session) {
  std::vector<uint8_t> bytes(std::max<std::size_t>(size + 7, kLeast) / 8 * 8);
  std::memcpy(bytes.data(), &size, sizeof(size));
  std::memcpy(bytes.data() + 8, &session, sizeof(session));
  framework::LentBytes record("the record", bytes, framework::Margin::kGuardBehind);
  const std::string what = call + (session == nullptr ? " without a session" : "") + " of " +
                           std::to_string(size) + " bytes";
  Doing(what);
  const ChiResult result = callback(reinterpret_cast<Record*>(record.data()));
  Require(result != kChiSuccess, what, "an error", "success");
  Require(!record.FirstChange(), what, "an unchanged record", "a change");
}

void NullRecords(Subject* subject) {
  const ChiNodeCallbacks& node = subject->Node();
  ForEachAnsweringCallback(node, [](const std::string& call, auto* callback, uint32_t) {
    Doing(call + " of a null record");
    Require(callback(nullptr) != kChiSuccess, call + " of a null record", "an error", "success");
  });
  Doing("a callback without an answer, of a null record");
  node.pGetCapabilities(nullptr);
  node.pQueryVendorTag(nullptr);
  node.pPostPipelineCreate(nullptr);
  node.pSetNodeInterface(nullptr);
}
const Check kNullRecords("records.null", "Null records get an error where there is an answer.",
                         NullRecords, {&kEntryCallbacks});

void NullSessions(Subject* subject) {
  ForEachAnsweringCallback(subject->Node(),
                           [](const std::string& call, auto* callback, uint32_t size) {
                             if (call != "create") ExpectRefusal(call, callback, size, nullptr);
                           });
}
const Check kSession("records.session",
                     "Records without a session get an error and stay unchanged.", NullSessions,
                     {&kEntryCallbacks});

void ShortRecords(Subject* subject) {
  Camera camera(subject, 320, 240);
  ForEachAnsweringCallback(subject->Node(),
                           [&](const std::string& call, auto* callback, uint32_t full) {
                             for (const uint32_t size : {0u, kLeast - 1, kLeast, full - 1}) {
                               if (size < full)
                                 ExpectRefusal(call, callback, size, camera.session.node());
                             }
                           });
  camera.Send(1);
}
const Check kShort("records.short", "Records below their size get an error and stay unchanged.",
                   ShortRecords);

// ---- Vendor tags and publications ---------------------------------------------------------------

void Declared(Subject* subject) {
  subject->Node();
  const std::string fault = framework::Framework::Get().Tags().Fault();
  if (!fault.empty()) Fail(fault);
}
const Check kDeclared("tags.declared",
                      "Every tag that the node declares can be looked up and described.", Declared,
                      {&kEntryCallbacks});

void Published(Subject* subject) {
  Camera camera(subject, 640, 480);
  for (uint32_t number = 1; number <= 60; ++number) {
    camera.Set(camera.Usual(number / 12));
    camera.Send(number, number >= 12 ? End::kAnswer : End::kAny);
  }
}
const Check kPublished("tags.published", "With any number of faces, tags match their declarations.",
                       Published);

void NoMetadata(Subject* subject) {
  Camera camera(subject, 640, 480);
  camera.Set({});
  for (uint64_t number = 1; number <= 12; ++number) camera.Send(number, End::kAny);
}
const Check kNoMetadata("tags.no_metadata", "A request without metadata ends.", NoMetadata);

void Refused(Subject* subject) {
  Camera camera(subject, 640, 480);
  camera.session.Options().refuses_publications = true;
  for (uint64_t number = 1; number <= 12; ++number) camera.Send(number, End::kAnswerOrError);
  camera.session.Options().refuses_publications = false;
  camera.Send(13);
}
const Check kRefusedTags("tags.refused", "The node does not repeat a publication that was refused.",
                         Refused);

// Values adjoin an inaccessible page at one end; the margin at the other end is compared.
void Values(Subject* subject) {
  for (const auto margin : {framework::Margin::kGuardBehind, framework::Margin::kGuardBefore}) {
    Camera camera(subject, 640, 480);
    camera.compares = true;
    camera.session.Options().margin_of_tags = margin;
    camera.SendSeries();
  }
}

}  // namespace

const Check kEntryCallbacks("entry.callbacks", "Every callback is filled, and the node starts.",
                            [](Subject* subject) { subject->Node(); }, {&kLoading});
const Check kTagsValues("tags.values", "Values are read within their bounds and stay unchanged.",
                        Values);

}  // namespace nodecheck
