// SPDX-License-Identifier: Apache-2.0
// Records that a framework should not send: none, without a session, too short.
#include <algorithm>
#include <cstring>

#include "nodecheck/nodecheck.h"

namespace nodecheck {
namespace {

// What a node must be able to read of any record: its size and its session.
constexpr uint32_t kLeast = 16;

template <typename Visit>
void ForEachAnsweringCallback(const ChiNodeCallbacks& node, Visit visit) {
  visit("create", node.pCreate);
  visit("destroy", node.pDestroy);
  visit("query-buffer-info", node.pQueryBufferInfo);
  visit("set-buffer-info", node.pSetBufferInfo);
  visit("process-request", node.pProcessRequest);
}

template <typename Record>
constexpr uint32_t RecordSize(ChiResult (*)(Record*)) {
  return sizeof(Record);
}

// Calls with a record that holds as many bytes as it says, or up to seven more, for its alignment.
template <typename Record>
void ExpectRefusal(const std::string& call, ChiResult (*callback)(Record*), uint32_t size,
                   ChiHandle session) {
  framework::GuardedBytes record(std::max<std::size_t>(size + 7, kLeast) / 8 * 8);
  std::memcpy(record.data(), &size, sizeof(size));
  std::memcpy(record.data() + 8, &session, sizeof(session));
  const std::vector<uint8_t> before(record.data(), record.data() + record.size());
  const std::string what = call + (session == nullptr ? " without a session" : "") + " of " +
                           std::to_string(size) + " bytes";
  Doing(what);
  const ChiResult result = callback(reinterpret_cast<Record*>(record.data()));
  Require(result != kChiSuccess, what, "an error", "success");
  Require(std::equal(before.begin(), before.end(), record.data()), what, "the record as it was",
          "it changed");
}

std::string NullRecords(const Subject& subject) {
  const ChiNodeCallbacks& node = subject.Start();
  ForEachAnsweringCallback(node, [](const std::string& call, auto* callback) {
    Doing(call + " of a null record");
    Require(callback(nullptr) != kChiSuccess, call + " of a null record", "an error", "success");
  });
  Doing("a callback without an answer, of a null record");
  node.pGetCapabilities(nullptr);
  node.pQueryVendorTag(nullptr);
  node.pPostPipelineCreate(nullptr);
  node.pSetNodeInterface(nullptr);
  return "";
}

std::string NullSessions(const Subject& subject) {
  ForEachAnsweringCallback(subject.Start(), [](const std::string& call, auto* callback) {
    if (call != "create") ExpectRefusal(call, callback, RecordSize(callback), nullptr);
  });
  return "";
}

std::string ShortRecords(const Subject& subject) {
  const ChiNodeCallbacks& node = subject.Start();
  Camera camera(320, 240);
  ForEachAnsweringCallback(node, [&](const std::string& call, auto* callback) {
    for (const uint32_t size : {0u, kLeast - 1, kLeast, RecordSize(callback) - 1}) {
      if (size >= RecordSize(callback)) continue;
      ExpectRefusal(call, callback, size, camera.session.node());
    }
  });
  Doing("process-request");
  camera.Send(1);
  return "";
}

}  // namespace

const Checks kRecordChecks = {
    {"records.null", "Null records get an error where there is an answer.", NullRecords},
    {"records.session", "Records without a session get an error and stay as they are.",
     NullSessions},
    {"records.short", "Records below their size get an error and stay as they are.", ShortRecords},
};

}  // namespace nodecheck
