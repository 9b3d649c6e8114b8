// SPDX-License-Identifier: Apache-2.0
// A hostile framework: the calls of the node's interface in any order, with any arguments.
#include "fuzz/hostile_camera.h"
#include "host/control.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);
using namespace fuzz;

static void SetDevice(Script& script) {
  constexpr const char* kMasks[] = {"4", "0xfffffb", "4,", "none", "ffffffffffffffffffffffffffff"};
  host::SetProperty("persist.vendor.camera.zynode_conf", script.Pick(kMasks));
  host::SetProperty("persist.vendor.camera.operationMask", script.Pick(kMasks));
  host::FailAgeGenderInit(script.Between(-1, 5));
  host::SkipFaceGradeResult(script.OneIn(4));
  const auto answer = script.Raw<float>();
  host::ScriptAgeGender([=](auto&) { return host::AgeGenderAnswer{answer, answer, answer}; });
  host::ScriptFaceGrade([=](auto&) { return host::FaceGradeAnswer{answer, {}}; });
}

static void Process(const ChiNodeCallbacks& node, ChiHandle session, Script& script) {
  const uint64_t records = Metadata::Instance().records();
  const bool done = node.pProcessRequest(Request(script, session).get()) == kChiSuccess;
  Require(Metadata::Instance().records() == records + done, "every request gets its record");
}

static void CallNode(const ChiNodeCallbacks& node, ChiHandle* session, Script& script) {
  const ChiHandle handle = script.OneIn(32) ? nullptr : *session;
  const ChiImageFormat format = {script.Word(), script.Word(), 0, 0};
  auto size = OfNode<ChiNodeSetBufferPropertiesInfo>(handle);
  size.pFormat = script.OneIn(8) ? nullptr : &format;
  Record create(script, ChiNodeCreateInfo{0, 0, script.Byte() % 8u, 0, nullptr, nullptr, {}});
  Record query(script, OfNode<ChiNodeQueryBufferInfo>(handle));
  Record end(script, OfNode<ChiNodedestroyInfo>(handle));
  const int call = script.Byte() % 8;
  if (call < 4 && *session == nullptr && node.pCreate(create.get()) == kChiSuccess) {
    *session = create.Read().hNodeSession;
  }
  if (call < 4) node.pPostPipelineCreate(handle);
  if (call == 4) node.pQueryBufferInfo(query.get());
  if (call == 5) node.pSetBufferInfo(Record(script, size).get());
  if (call == 6 && node.pDestroy(end.get()) == kChiSuccess) *session = nullptr;
}

static void CallLibrary(const ChiNodeCallbacks& node, Script& script) {
  ChiNodeCallbacks callbacks = {};
  callbacks.majorVersion = script.Byte() % 2;
  ChiNodeEntry(Record(script, callbacks).get());
  node.pGetCapabilities(Record(script, ChiNodeCapsInfo{}).get());
  node.pQueryVendorTag(Record(script, ChiQueryVendorTag{}).get());
  node.pSetNodeInterface(Record(script, Metadata::Instance().Interface(&script)).get());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  Script script(bytes, size);
  framework::Framework::Get().Start(ChiNodeEntry);
  const ChiNodeCallbacks node = framework::Framework::Get().Callbacks();
  ChiNodeInterface interface = Metadata::Instance().Interface(&script);
  node.pSetNodeInterface(&interface);
  host::ClearProperties();
  host::ResetAgeGender();
  host::ResetFaceGrade();
  host::SetLogSink([](auto&) {});  // lines are formatted
  ChiHandle sessions[2] = {};
  while (!script.AtEnd()) {
    ChiHandle& session = sessions[script.Byte() % 2];
    const int call = script.Byte() % 8;
    if (call == 0) CallLibrary(node, script);
    if (call == 1) SetDevice(script);
    if (call == 2) CallNode(node, &session, script);
    const Script request = script;
    if (call > 2) Process(node, session, script);
    if (call > 4) host::WaitForRestingWorkers(std::chrono::seconds(10));
    if (call > 6) Process(node, session, script = request);  // the same again, with results
  }
  for (ChiHandle session : sessions) {
    node.pDestroy(Record(script, OfNode<ChiNodedestroyInfo>(session)).get());
  }
  return 0;
}
