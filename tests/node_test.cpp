// SPDX-License-Identifier: Apache-2.0
// The node: random scripts compared with its model, one life with all its log lines, and cases that
// need a worker alone or time.
#include <array>
#include <cstring>
#include <mutex>
#include <random>

#include "analysis/zy_preview.h"
#include "framework/device_state.h"
#include "platform/android_clock.h"
#include "platform/android_log.h"
#include "platform/android_properties.h"
#include "tests/device_testing.h"
#include "tests/node_model.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size);

namespace {

// The numbers of the platform that the library and its fakes share.
static_assert(kChiSuccess == 0 && kChiFailed == 1 && kChiUnsupported == 2);
static_assert(kChiInvalidPointer == 5 && SYSTEM_TIME_MONOTONIC == 1);
static_assert(kLogInfo == 4 && kLogError == 6 && kPropertyValueMax == 92);
static_assert(static_cast<int>(ChiMetadataType::kInput) == 2);
static_assert(kChiInputMetadataBit == 0x08000000 && kChiFaceRectanglesTag == 0x00110006);

const char kTranscript[] =
#include "tests/golden/node_transcript.txt"
    ;

using framework::Framework;

// Writes notes to the log, between the lines of the node.
template <typename... Values>
void Note(const char* format, Values... values) {
  __android_log_print(0, "", format, values...);
}

ChiNodeInterface TalkativeInterface() {
  ChiNodeInterface interface = Framework::Interface();
  interface.pGetVendorTagBase = [](ChiVendorTagBase* query) {
    Note("look up %s/%s", query->pComponentName, query->pTagName != nullptr ? query->pTagName : "");
    return Framework::Interface().pGetVendorTagBase(query);
  };
  interface.pGetMetadata = [](ChiMetadataGet* get) {
    const ChiResult result = Framework::Interface().pGetMetadata(get);
    if (get->requestId == 40 && get->tag == 0x08110006) {
      get->pData = nullptr;
      get->count = 20;
    }
    Note("read %x of %d: %zu", get->tag, static_cast<int>(get->requestId), get->count);
    return result;
  };
  interface.pSetMetadata = [](ChiMetadataSet* set) {
    for (uint32_t i = 0; i < set->tagCount; ++i) {
      const ChiTagData& data = set->pTagData[i];
      Note("publish %x: %d", set->pTagList[i], static_cast<int>(data.count));
    }
    return Framework::Interface().pSetMetadata(set);
  };
  return interface;
}

class NodeTest : public testing_support::DeviceTest {
 protected:
  NodeTest() { EXPECT_FALSE(Framework::Get().Start(ChiNodeEntry)); }

  void Send(uint64_t frame_number, const std::vector<int32_t>& faces) {
    framework::SetInput(framework::UsualState(4000, 3000, faces), &session_.Input());
    SendAgain(frame_number);
  }
  // Sends a request with the tags of the last one.
  void SendAgain(uint64_t frame_number) {
    framework::CameraBuffer input(&frame_), output(&output_);
    ASSERT_FALSE(session_.Process(frame_number, &input, &output));
  }
  // Passes null, a record without a session and one that is a byte too small.
  template <typename Record>
  void TryBadRecords(const char* name, ChiResult (*callback)(Record*), uint32_t size) {
    Record record = {};
    record.size = size;
    Note("%s: %d, without a session: %d", name, callback(nullptr), callback(&record));
    record.hNodeSession = session_.node();
    record.size = size - 1;
    Note("%s with %d bytes: %d", name, record.size, callback(&record));
  }
  void Tell(const std::string& step) {
    AwaitWorkers();
    text_ += "\n== " + step + "\n" + testing_support::TextOf(log_.TakeOwn());
    const std::string worker = testing_support::TextOf(log_.TakeOthers());
    if (!worker.empty()) text_ += "-- the worker\n" + worker;
  }

  media::Nv12Frame frame_ = testing_support::PatternFrame(1920, 1440, 2048);
  media::Nv12Frame output_ = testing_support::PatternFrame(640, 480);
  framework::Session session_;
  const ChiNodeCallbacks& node_ = Framework::Get().Callbacks();
  std::string text_;
};

// Must be the first test: it needs a library that is not set up.
TEST(AFreshLibrary, QueriesNoTagBeforeSetUp) {
  ChiNodeCallbacks node = {};
  node.size = sizeof(node);
  ChiNodeEntry(&node);
  static int publications = 0;
  ChiNodeInterface interface = {};
  interface.size = sizeof(interface);
  interface.pSetMetadata = [](ChiMetadataSet*) -> ChiResult { return ++publications, 0; };
  node.pSetNodeInterface(&interface);
  ChiNodeCreateInfo create = {sizeof(create), 0, 0, 0, nullptr, nullptr, {}};
  ASSERT_EQ(node.pCreate(&create), 0);
  ChiNodeProcessRequestInfo request = {88, 0, create.hNodeSession, 4, 0, 0, nullptr, nullptr, {}};
  EXPECT_EQ(node.pProcessRequest(&request), 0);
  EXPECT_EQ(publications, 0);
  ChiNodedestroyInfo destroy = {sizeof(destroy), 0, create.hNodeSession};
  EXPECT_EQ(node.pDestroy(&destroy), 0);
}

TEST_F(NodeTest, SurvivesASensorAndAFrameOfNoSize) {
  ASSERT_FALSE(session_.Create(0, 1, 1));
  framework::CameraBuffer camera(&frame_);
  for (const uint32_t side : {0u, 1u}) {
    camera.handle()->format = {side, 1 - side, 0, 0};
    framework::SetInput(framework::UsualState(side, 1 - side, {2, 2, 4, 4}), &session_.Input());
    EXPECT_FALSE(session_.Process(4, &camera, &camera));
  }
}

TEST_F(NodeTest, MatchesItsModel) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    std::vector<uint8_t> script(1400);
    for (uint8_t& byte : script) byte = static_cast<uint8_t>(random());
    LLVMFuzzerTestOneInput(script.data(), script.size());
  }
}

class NodeLife : public NodeTest {
 protected:
  // Lets a model fail once and give figures that are easy to recognise.
  void SetUpModels() {
    device::AgeGender().SetScript([](auto&) {
      return device::AgeGenderAnswer{31.5f, 0.25f, 0.75f};
    });
    device::FaceGrade().SetScript([](auto&) {
      return device::FaceGradeAnswer{130.0f, {1.0f, 2.0f, 3.0f}};
    });
    device::AgeGender().Set(&device::ModelSettings::failing_inits, 1);
    device::AgeGender().Set(&device::ModelSettings::version,
                            "1234567890123456789");  // the longest possible
    ChiNodeInterface interface = TalkativeInterface();
    node_.pSetNodeInterface(&interface);
  }

  void EnterWithOddTables() {
    ChiNodeEntry(nullptr);
    for (const auto& [size, major] : {std::pair(144, 1), std::pair(143, 0), std::pair(200, 0)}) {
      ChiNodeCallbacks table = {};
      std::memcpy(&table, std::array<int, 4>{size, major, 9, 7}.data(), 16);
      table.reserved2[0] = &table;
      ChiNodeEntry(&table);
      Note("%d bytes, version %d.%d, rest kept: %d, filled: %d", table.size, table.majorVersion,
           table.minorVersion, table.reserved == 7 && table.reserved2[0] == &table,
           std::memcmp(reinterpret_cast<char*>(&table) + 16,
                       reinterpret_cast<const char*>(&node_) + 16, 72) == 0);
    }
    ChiQueryVendorTag query = {sizeof(query), 0, nullptr};
    Note("tags: %d, null: %d", node_.pQueryVendorTag(&query), node_.pQueryVendorTag(nullptr));
    const ChiVendorTagSectionData& section = *query.pVendorTagInfo->pSections;
    Note("%d section %s: %d, %x", query.pVendorTagInfo->numSections, section.pSectionName,
         section.firstVendorTag, section.visibility);
    for (uint32_t i = 0; i < section.numTags; ++i) {
      const ChiVendorTagData& tag = section.pTags[i];
      Note("%s: type %d, count %d", tag.pTagName, static_cast<int>(tag.type), tag.count);
    }
  }

  void RefuseBadRecords() {
    Note("get-capabilities: %d", node_.pGetCapabilities(nullptr));
    ChiNodeCreateInfo create = {79, 0, 0, 0, nullptr, nullptr, {}};
    Note("create: %d", node_.pCreate(nullptr));
    Note("create: %d, %d", node_.pCreate(&create), create.hNodeSession != nullptr);
    TryBadRecords("destroy", node_.pDestroy, 16);
    TryBadRecords("query-buffer-info", node_.pQueryBufferInfo, 48);
    TryBadRecords("set-buffer-info", node_.pSetBufferInfo, 32);
    ChiNodeSetBufferPropertiesInfo sizeless = {32, 0, session_.node(), nullptr, 0};
    Note("set-buffer-info without a format: %d", node_.pSetBufferInfo(&sizeless));
    TryBadRecords("process-request", node_.pProcessRequest, 88);
    node_.pPostPipelineCreate(nullptr);
  }

  void SendRequests() {
    const std::vector<int32_t> small = {800, 600, 1199, 999};
    const std::vector<int32_t> two = {800, 600, 3199, 2999, 800, 600, 1199, 999};
    const std::vector<int32_t> requests[] = {two, two, {}, small, small, small};
    uint64_t frame = 4;
    for (const std::vector<int32_t>& faces : requests) {
      framework::HoldSignals(true);  // until the request has read the results
      Send(frame, faces);
      framework::HoldSignals(false);
      Tell("request " + std::to_string(frame));
      frame += 6;
    }
  }

  void SendRequestWithGap() {
    framework::CameraBuffer camera(&frame_);
    camera.handle()->format.format = 35;
    ChiNodeBuffer* inputs[] = {nullptr, camera.handle(), camera.handle()};
    ChiNodeProcessRequestInfo info = {88, 0, session_.node(), 34, 3, 0, inputs, nullptr, {}};
    EXPECT_EQ(session_.Process(&info), 0);
    ChiMetadataGet late = {48, 0x08110006, ChiMetadataType::kInput, 0, &session_, 34, {}, 0};
    EXPECT_NE(Framework::Interface().pGetMetadata(&late), kChiSuccess);
    Tell("a request with a gap, and no output");
  }

  void EndAndBeginLives() {
    ASSERT_FALSE(session_.Destroy());
    Tell("destroy");
    ASSERT_FALSE(session_.Create(0, 1, 1));
    ASSERT_FALSE(session_.Destroy());
    Tell("a node without a pipeline");
    zy_set_property("persist.vendor.camera.zynode_conf", "0xFFFFFB");
    ASSERT_TRUE(session_.Create(4, 1, 1));
    session_.PostPipelineCreate();
    Tell("a node that may not run");
  }
};

TEST_F(NodeLife, LogsItsSteps) {
  SetUpModels();
  Tell("set-up");
  EnterWithOddTables();
  Tell("entry");
  ASSERT_FALSE(session_.Create(0, 1920, 1440));
  Tell("create");
  RefuseBadRecords();
  Tell("bad records");
  session_.PostPipelineCreate();
  Tell("post-pipeline-create");
  SendRequests();
  SendRequestWithGap();
  Framework::Get().Tags().Clear();
  SendAgain(40);
  Tell("a result tag that is gone, and five faces without rectangles");
  EndAndBeginLives();
  EXPECT_EQ(text_, kTranscript);
}

// Covers every orientation and mirroring; a node uses only the mirrored ones.
TEST_F(NodeTest, AWorkerTurnsFramesLikeItsModel) {
  std::string seen, expected;
  std::mutex mutex;
  node_model::World world, model_world;
  world.trace = &seen;
  model_world.trace = &expected;
  const auto ask = [&](const auto& call) {
    std::lock_guard<std::mutex> lock(mutex);
    return world.Ask(call);
  };
  device::AgeGender().SetScript(ask);
  device::FaceGrade().SetScript(ask);
  media::Nv12Frame frame = testing_support::PatternFrame(95, 61, 96);
  const ZyImageBuffer image = media::ImageOf(frame);
  const android::_FaceLocation faces[] = {{9, 4, 33, 27}, {-7, 40, 60, 31}, {80, -3, 20, 50}};
  android::ZYPreview worker;
  node_model::Worker model(model_world);
  worker.mFaceGenderAndAgeEnabled = worker.mFaceScoreEnabled = true;
  model.gender_age_on = model.score_on = true;
  for (const int turn : {0, 90, 180, 270, 45}) {
    for (const int flip : {0, 1, 2, -1}) {
      for (int i = 0; i < 4; ++i) {
        worker.ProcessBuffer(&image, faces, 3, turn, flip);
        model.ProcessBuffer(image, faces, 3, turn, flip == 1);
      }
      AwaitWorkers();
      model.Work();
    }
  }
  std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(device::AgeGender().Counts().analyses, 60u);
}

}  // namespace
