// SPDX-License-Identifier: Apache-2.0
// The node through its callbacks: record checks, enablement, what it reads, what it publishes, and
// what a hostile framework gets.
#include <cmath>
#include <cstring>
#include <functional>

#include "node/gender_age_node.h"
#include "tests/device_testing.h"
#include "tests/kernel_testing.h"
#include "tests/node_testing.h"

class ChiGenderAgeNodePeer {
 public:
  static android::ZYPreview*& Worker(ChiHandle node) {
    return static_cast<ChiGenderAgeNode*>(node)->m_pPreview;
  }
  static int FaceNum(ChiHandle node) { return static_cast<ChiGenderAgeNode*>(node)->m_faceNum; }
};

namespace {

using testing_support::CountContaining;
using testing_support::DeviceTest;
using testing_support::TagId;
using Lines = std::vector<std::string>;

constexpr uint32_t kNoTag = 0;

// Framework functions that a test puts before the real ones.
std::function<ChiResult(ChiVendorTagBase*)> g_tag_base;
std::function<ChiResult(ChiMetadataGet*)> g_metadata;

// A node in a pipeline of 1920x1440, on a sensor of 4000x3000.
class NodeTest : public DeviceTest {
 protected:
  NodeTest() {
    EXPECT_FALSE(framework::Framework::Get().Start(ChiNodeEntry));
    g_tag_base = framework::Framework::Interface().pGetVendorTagBase;
    g_metadata = framework::Framework::Interface().pGetMetadata;
  }

  const ChiNodeCallbacks& Callbacks() { return framework::Framework::Get().Callbacks(); }

  void Start() {
    ASSERT_FALSE(session_.Create(0, 1920, 1440));
    session_.PostPipelineCreate();
    AwaitWorkers();
  }

  void SetWords(const char* section, const char* name, const std::vector<uint32_t>& words) {
    testing_support::SetWords(session_.Input(), section, name, words);
  }

  void SetFaces(const std::vector<int32_t>& edges) {
    session_.Input().SetWords(kChiFaceRectanglesTag, edges);
  }

  // Everything on, one face that is wide enough to be analysed.
  void SetUsualMetadata() {
    session_.Input().Clear();
    testing_support::SetUsualMetadata(session_.Input(), {4000, 3000}, {800, 600, 3199, 2999});
  }

  void Send(uint64_t frame_number) {
    framework::CameraBuffer input(&frame_);
    framework::CameraBuffer output(&frame_);
    ASSERT_FALSE(session_.Process(frame_number, &input, &output));
  }

  // Hands over an interface that goes through the functions above.
  void Interpose() {
    ChiNodeInterface interface = framework::Framework::Interface();
    interface.pGetVendorTagBase = [](ChiVendorTagBase* query) { return g_tag_base(query); };
    interface.pGetMetadata = [](ChiMetadataGet* get) { return g_metadata(get); };
    Callbacks().pSetNodeInterface(&interface);
  }

  // Sends a raw request record.
  ChiResult Send(ChiNodeProcessRequestInfo info) {
    info.size = sizeof(info);
    info.hNodeSession = session_.node();
    return Callbacks().pProcessRequest(&info);
  }

  // The published value of a tag of the node's own.
  std::vector<uint8_t> OwnTag(const char* name) {
    const auto* value = session_.Output().Find(TagId("com.qti.node.brodaxgenderage", name));
    return value != nullptr ? value->bytes : std::vector<uint8_t>();
  }

  // The rectangles that the node logs for a request with this metadata.
  std::string LoggedRects(uint64_t frame_number) {
    log_.TakeOwn();
    Send(frame_number);
    std::string rects;
    for (const std::string& line : log_.TakeOwn()) {
      const size_t at = line.find("(x,y,w,h)");
      if (at != std::string::npos) rects += line.substr(at + 9, line.size() - at - 10);
    }
    return rects;
  }

  pictures::Nv12Frame frame_ = testing_support::PatternFrame(1920, 1440, 1920);
  framework::Session session_;
};

// ---- Entry and callbacks ------------------------------------------------------------------------

TEST_F(NodeTest, EntryLeavesAnUnsuitableTableUntouched) {
  log_.TakeOwn();
  ChiNodeEntry(nullptr);
  for (const auto& [size, major] : {std::pair(144u, 1u), std::pair(143u, 0u)}) {
    ChiNodeCallbacks table = {};
    table.size = size;
    table.majorVersion = major;
    table.minorVersion = 9;
    const ChiNodeCallbacks before = table;
    ChiNodeEntry(&table);
    EXPECT_EQ(std::memcmp(&table, &before, sizeof(table)), 0);
  }
  const std::string text = testing_support::TextOf(log_.TakeOwn());
  EXPECT_EQ(text.rfind("6/CHIGENDERAGE/ChiNodeEntry():495 FACE ANALYZE Invalid Argument: ", 0), 0u);
  EXPECT_EQ(text.substr(text.find('\n')), R"(
6/CHIGENDERAGE/ChiNodeEntry():490 FACE ANALYZE Chi API major version doesn't match (1:9) vs (0:0)\n
6/CHIGENDERAGE/ChiNodeEntry():490 FACE ANALYZE Chi API major version doesn't match (0:9) vs (0:0)\n
)");
}

TEST_F(NodeTest, EntryFillsTheTableAndKeepsLaterMembers) {
  ChiNodeCallbacks table;
  std::memset(&table, 0x5a, sizeof(table));
  table.size = 200;
  table.majorVersion = 0;
  ChiNodeEntry(&table);
  EXPECT_EQ(table.minorVersion, 0u);
  EXPECT_EQ(table.size, 200u);
  EXPECT_EQ(table.pCreate, Callbacks().pCreate);
  EXPECT_EQ(table.pPostPipelineCreate, Callbacks().pPostPipelineCreate);
  ChiNodeCallbacks untouched;
  std::memset(&untouched, 0x5a, sizeof(untouched));
  EXPECT_EQ(std::memcmp(table.reserved2, untouched.reserved2, sizeof(table.reserved2)), 0);
}

// Sends null, a record without a session and one a byte too small.
template <typename Record>
void CheckBadRecords(ChiResult (*callback)(Record*), ChiHandle node, uint32_t size) {
  EXPECT_EQ(callback(nullptr), kChiInvalidPointer);
  Record record = {};
  record.size = size;
  EXPECT_EQ(callback(&record), kChiInvalidPointer);
  record.hNodeSession = node;
  record.size = size - 1;
  EXPECT_EQ(callback(&record), kChiFailed);
}

TEST_F(NodeTest, BadRecordsGetTheirCodesAndLines) {
  Start();
  log_.TakeOwn();
  const ChiNodeCallbacks& node = Callbacks();
  EXPECT_EQ(node.pGetCapabilities(nullptr), kChiFailed);
  EXPECT_EQ(node.pQueryVendorTag(nullptr), kChiInvalidPointer);
  EXPECT_EQ(node.pCreate(nullptr), kChiInvalidPointer);
  ChiNodeCreateInfo create = {};
  create.size = 79;
  EXPECT_EQ(node.pCreate(&create), kChiFailed);
  EXPECT_EQ(create.hNodeSession, nullptr);
  CheckBadRecords(node.pDestroy, session_.node(), 16);
  CheckBadRecords(node.pQueryBufferInfo, session_.node(), 48);
  CheckBadRecords(node.pSetBufferInfo, session_.node(), 32);
  CheckBadRecords(node.pProcessRequest, session_.node(), 88);
  ChiNodeSetBufferPropertiesInfo set = {sizeof(set), 0, session_.node(), nullptr, 0};
  EXPECT_EQ(node.pSetBufferInfo(&set), kChiInvalidPointer);
  node.pPostPipelineCreate(nullptr);
  node.pSetNodeInterface(nullptr);

  EXPECT_EQ(
      testing_support::TextOf(log_.TakeOwn()),
      R"(6/CHIGENDERAGE/GenderAgeNodeGetCaps():117 FACE ANALYZE Invalid argument: pCapsInfo is NULL\n
6/CHIGENDERAGE/GenderAgeNodeGetCaps():128 FACE ANALYZE CHINODECAPSINFO is smaller than expected\n
4/CHIGENDERAGE/GenderAgeNodeCreate():168 TPX GenderAgeNodeCreate\n
6/CHIGENDERAGE/GenderAgeNodeCreate():172 FACE ANALYZE Invalid argument: pTagTypeInfo is NULL\n
4/CHIGENDERAGE/GenderAgeNodeCreate():168 TPX GenderAgeNodeCreate\n
6/CHIGENDERAGE/GenderAgeNodeCreate():177 FACE ANALYZE CHINODECREATEINFO is smaller than expected\n
6/CHIGENDERAGE/GenderAgeNodeDestroy():226 FACE ANALYZE Invalid argument: pDestroyInfo is NULL\n
6/CHIGENDERAGE/GenderAgeNodeDestroy():226 FACE ANALYZE Invalid argument: pDestroyInfo is NULL\n
6/CHIGENDERAGE/GenderAgeNodeDestroy():241 FACE ANALYZE CHINODEDESTROYINFO is smaller than expected\n
6/CHIGENDERAGE/GenderAgeNodeQueryBufferInfo():266 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeQueryBufferInfo():266 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeQueryBufferInfo():278 FACE ANALYZE   CHINODEQUERYBUFFERINFO is smaller than expected\n
6/CHIGENDERAGE/GenderAgeNodeSetBufferInfo():303 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeSetBufferInfo():303 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeSetBufferInfo():315 FACE ANALYZE CHINODESETBUFFERPROPERTIESINFO is smaller than expected\n
6/CHIGENDERAGE/GenderAgeNodeProcRequest():340 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeProcRequest():340 FACE ANALYZE Invalid argument\n
6/CHIGENDERAGE/GenderAgeNodeProcRequest():352 FACE ANALYZE CHINODEPROCESSREQUESTINFO is smaller than expected\n
6/CHIGENDERAGE/GenderAgeNodeSetBufferInfo():303 FACE ANALYZE Invalid argument\n
)");
}

TEST_F(NodeTest, CapabilitiesDecideOnNegotiation) {
  for (const uint32_t caps : {0u, 1u, 2u, 3u, 4u, 5u}) {
    framework::Session session;
    const uint64_t before = host::BufferNegotiations();
    const pictures::Failure failure = session.Create(caps, 640, 480);
    EXPECT_EQ(failure.has_value(), caps == 2 || caps == 4) << caps;
    EXPECT_EQ(host::BufferNegotiations() - before, failure ? 0u : 1u);
    if (failure) {
      EXPECT_EQ(failure->message, "query-buffer-info answered 2");
    }
  }
  ChiNodeCapsInfo caps = {0, 0x1234};
  EXPECT_EQ(Callbacks().pGetCapabilities(&caps), kChiSuccess);
  EXPECT_EQ(caps.nodeCapsMask, 0x1234u);
}

TEST_F(NodeTest, DescribesItsVendorTags) {
  ChiQueryVendorTag query = {sizeof(query), 0, nullptr};
  ASSERT_EQ(Callbacks().pQueryVendorTag(&query), kChiSuccess);
  ASSERT_EQ(query.pVendorTagInfo->numSections, 1u);
  const ChiVendorTagSectionData& section = query.pVendorTagInfo->pSections[0];
  EXPECT_STREQ(section.pSectionName, "com.qti.node.brodaxgenderage");
  EXPECT_EQ(section.firstVendorTag, 0u);
  EXPECT_EQ(section.visibility, 0xFFFFFFFF);
  EXPECT_EQ(section.reserved + query.pVendorTagInfo->reserved, 0u);
  ASSERT_EQ(section.numTags, 4u);
  std::string tags;
  for (uint32_t i = 0; i < section.numTags; ++i) {
    tags += std::string(section.pTags[i].pTagName) + ":" +
            std::to_string(static_cast<uint32_t>(section.pTags[i].type)) + ":" +
            std::to_string(section.pTags[i].count) + " ";
  }
  EXPECT_EQ(tags,
            "SupportedFeature:1:1 CurrentMode:0:1 ProcessedFrameNumber:3:1 FrameDimension:1:2 ");
}

TEST_F(NodeTest, PropertiesDecideWhetherAWorkerRuns) {
  struct Case {
    const char* text;
    bool runs;
    const char* logged;
  };
  for (const Case& test :
       {Case{"0xFFFFFB", false, "fffffb"}, Case{"4", true, "4"}, Case{"fB", false, "fb"},
        Case{" 0x4", true, "4"}, Case{"-1", true, "ffffffff"}, Case{"0xFFFFFFFF", true, "ffffffff"},
        Case{"none", false, "0"}, Case{"", false, "0"}, Case{"0x", false, "0"}}) {
    for (const char* property :
         {"persist.vendor.camera.zynode_conf", "persist.vendor.camera.operationMask"}) {
      host::ClearProperties();
      host::SetProperty(property, test.text);
      log_.TakeOwn();
      framework::Session session;
      ASSERT_FALSE(session.Create(0, 640, 480));
      session.PostPipelineCreate();
      EXPECT_EQ(ChiGenderAgeNodePeer::Worker(session.node()) != nullptr, test.runs) << test.text;
      const Lines lines = log_.TakeOwn();
      EXPECT_EQ(CountContaining(lines,
                                "6/CHIGENDERAGE/PostPipelineCreate():529 "
                                "PostPipelineCreate:529: NOT-AVAILABLE \n"),
                test.runs ? 0u : 1u);
      const bool first = std::strstr(property, "conf") != nullptr;
      EXPECT_EQ(CountContaining(
                    lines, std::string("AvailableNodes=") + (first ? test.logged : "ffffff") + ","),
                1u)
          << test.text;
    }
  }
}

// ---- What the node reads ------------------------------------------------------------------------

TEST_F(NodeTest, RectanglesScaleToTheFrame) {
  Start();
  struct Case {
    std::vector<uint32_t> sensor;
    int quad_cfa;  // below 0: absent
    uint32_t camera;
    std::vector<int32_t> edges;
    const char* logged;
  };
  const std::vector<int32_t> usual = {800, 600, 1199, 999};
  const char* halved = "[192,144,96,96]";
  const char* whole = "[384,288,192,192]";
  for (const Case& test :
       {Case{{4000, 3000}, -1, 0, usual, halved}, Case{{4000, 3000}, 0, 0, usual, halved},
        Case{{4000, 3000}, 1, 0, usual, whole}, Case{{4000, 3000}, 1, 7, usual, halved},
        Case{{4000, 3000}, 0, 7, usual, halved},
        // More faces than slots, and a last rectangle that is cut short.
        Case{{4000, 3000},
             -1,
             0,
             {0, 0, 1, 1, 0, 0, 3, 3, 0, 0, 9, 9, 8, 8, 9, 9, 8, 8, 9, 9, 1},
             "[0,0,1,1][0,0,1,1][0,0,2,2]"},
        // A frame larger than the sensor in either direction, or no sensor: rectangles stay.
        Case{{1919, 3000}, -1, 0, usual, ""}, Case{{4000, 1439}, -1, 0, usual, ""},
        Case{{0, 3000}, -1, 0, usual, ""}, Case{{4000, 0}, -1, 0, usual, ""},
        Case{{1920, 1440}, 1, 0, {-1, -8, 0, 0}, nullptr},
        // Right of left, and products beyond 32 bits.
        Case{{4000, 3000}, -1, 0, {1199, 999, 800, 600}, "[287,239,-94,-94]"},
        Case{{1920, 1440}, 1, 0, {0, 0, 0x40000000, 0x40000000}, "[0,0,1,1]"}}) {
    SetUsualMetadata();
    SetWords("com.qti.chi.multicamerainfo", "MultiCameraIdRole", {0, 1, test.camera});
    SetWords("brodax.sensorSize", "size", test.sensor);
    if (test.quad_cfa >= 0) {
      const auto value = static_cast<uint8_t>(test.quad_cfa);
      session_.Input().Set(TagId("brodax.quadcfa", "enabled"), &value, 1, 1);
    }
    SetFaces(test.edges);
    const std::string logged = LoggedRects(5);
    if (test.logged != nullptr) {
      EXPECT_EQ(logged, test.logged);
    }
    const int count = static_cast<int>(test.edges.size() / 4);
    EXPECT_EQ(ChiGenderAgeNodePeer::FaceNum(session_.node()), std::min(count, 3));
  }
}

TEST_F(NodeTest, AsksTheSameQuestionsInTheSameOrderForEveryRequest) {
  Lines asked;
  g_tag_base = [&](ChiVendorTagBase* query) {
    const char* tag = query->pTagName != nullptr ? query->pTagName : "";
    asked.push_back(std::string(query->pComponentName) + "/" + tag);
    return framework::Framework::Interface().pGetVendorTagBase(query);
  };
  g_metadata = [&](ChiMetadataGet* get) {
    asked.push_back(std::to_string(get->tag & ~kChiInputMetadataBit) + " of " +
                    std::to_string(get->requestId));
    return framework::Framework::Interface().pGetMetadata(get);
  };
  Interpose();
  Start();
  Lines expected = {"com.qti.node.brodaxgenderage/SupportedFeature"};
  for (const auto& [section, tag] : std::vector<std::pair<const char*, const char*>>{
           {"com.qti.chi.multicamerainfo", "MultiCameraIdRole"},
           {"brodax.faceGenderAndAge", "enabled"},
           {"brodax.faceScore", "enabled"},
           {"brodax.sensorSize", "size"},
           {"brodax.quadcfa", "enabled"},
           {"brodax.device", "orientation"},
           {"brodax.faceAnalyzeResult", "result"}}) {
    expected.push_back(std::to_string(TagId(section, tag)) + " of 7");
  }
  expected.push_back(std::to_string(kChiFaceRectanglesTag) + " of 7");
  expected.push_back("brodax.faceAnalyzeResult/result");
  SetUsualMetadata();
  asked.clear();
  Send(7);
  EXPECT_EQ(asked, expected);
}

TEST_F(NodeTest, WithoutARoleNothingIsAnalysedAndWithoutAnOrientationTheImageLies) {
  host::RecordAgeGender(true);
  Start();
  SetUsualMetadata();
  framework::Metadata& input = session_.Input();
  const uint32_t role = TagId("com.qti.chi.multicamerainfo", "MultiCameraIdRole");
  input.Find(TagId("brodax.device", "orientation"))->present = false;
  input.Find(role)->present = false;
  Send(4);
  EXPECT_EQ(session_.Result().face_count, 0);
  input.SetWords<uint32_t>(role, {0, 1, 0});
  Send(10);
  AwaitWorkers();
  ASSERT_EQ(host::AgeGenderCalls().size(), 1u);
  EXPECT_EQ(host::AgeGenderCalls()[0].width, 720);
}

TEST_F(NodeTest, QuadSensorCountsOnlyTogetherWithASensorSize) {
  Start();
  SetUsualMetadata();
  Send(1);
  session_.Input().Clear();
  const uint8_t on = 1;
  session_.Input().Set(TagId("brodax.quadcfa", "enabled"), &on, 1, 1);
  SetFaces({800, 600, 1199, 999});
  EXPECT_EQ(LoggedRects(5), "[192,144,96,96]");  // the sensor's size was kept
}

TEST_F(NodeTest, FaceCountIsTruncatedToAByteAndBounded) {
  Start();
  SetUsualMetadata();
  // 257 faces count as one.
  SetFaces(std::vector<int32_t>(4 * 257, 100));
  EXPECT_EQ(LoggedRects(4), "[24,24,1,1]");
  EXPECT_EQ(session_.Result().face_count, 1);
  // 256 count as none.
  SetFaces(std::vector<int32_t>(4 * 256, 100));
  Send(10);
  EXPECT_EQ(session_.Result().face_count, 0);
  EXPECT_EQ(session_.Result().age[2], 20.0f);
}

TEST_F(NodeTest, SwitchesWaitForAWorker) {
  ASSERT_FALSE(session_.Create(0, 1920, 1440));
  SetUsualMetadata();
  Send(4);
  EXPECT_EQ(session_.Result().score[0], 0.0f);  // both off: nothing but zeros
  session_.PostPipelineCreate();
  AwaitWorkers();
  session_.Input().Clear();
  SetFaces({800, 600, 3199, 2999});
  Send(10);
  EXPECT_EQ(session_.Result().score[0], 0.0f);
  SetUsualMetadata();
  Send(16);
  EXPECT_EQ(session_.Result().score[0], 80.0f);
  const auto& worker = *ChiGenderAgeNodePeer::Worker(session_.node());
  EXPECT_TRUE(worker.mFaceGenderAndAgeEnabled);
  EXPECT_TRUE(worker.mFaceScoreEnabled);
  // Absent switches keep their state, present ones change it one by one.
  session_.Input().Clear();
  SetWords("brodax.faceScore", "enabled", {0});
  Send(17);
  EXPECT_TRUE(worker.mFaceGenderAndAgeEnabled);
  EXPECT_FALSE(worker.mFaceScoreEnabled);
  // A second worker replaces the first and takes over the switches.
  for (const uint32_t score : {0u, 1u}) {
    SetWords("brodax.faceGenderAndAge", "enabled", {1 - score});
    SetWords("brodax.faceScore", "enabled", {score});
    Send(18);
    session_.PostPipelineCreate();
    const auto& second = *ChiGenderAgeNodePeer::Worker(session_.node());
    EXPECT_EQ(second.mFaceGenderAndAgeEnabled, score == 0);
    EXPECT_EQ(second.mFaceScoreEnabled, score == 1);
  }
  EXPECT_EQ(host::FaceGradeCounters().created - host::FaceGradeCounters().destroyed, 1u);
}

TEST_F(NodeTest, ReadsValuesAtAnyAddressAndNothingBehindThem) {
  testing_support::GuardedBytes memory(64);
  size_t gap = 0;  // between the value's end and memory that nobody may touch
  g_metadata = [&](ChiMetadataGet* get) {
    const ChiResult result = framework::Framework::Interface().pGetMetadata(get);
    if (result != kChiSuccess) return result;
    const size_t size = session_.Input().Find(get->tag & ~kChiInputMetadataBit)->bytes.size();
    get->pData = std::memcpy(memory.data() + memory.size() - gap - size, get->pData, size);
    return result;
  };
  Interpose();
  Start();
  SetUsualMetadata();
  const uint8_t off = 0;
  session_.Input().Set(TagId("brodax.quadcfa", "enabled"), &off, 1, 1);
  for (; gap < 4; ++gap) EXPECT_EQ(LoggedRects(5), "[192,144,576,576]");
}

TEST_F(NodeTest, ANodeThatWasToldNothingAnswersAndIsDestroyed) {
  ASSERT_FALSE(session_.Create(0, 64, 48));
  session_.Input().Clear();
  Send(4);
  ChiNodeCreateInfo create = {};
  create.size = sizeof(create);
  create.hChiSession = &session_;
  ASSERT_EQ(Callbacks().pCreate(&create), kChiSuccess);
  ChiNodeProcessRequestInfo info = {};
  info.size = sizeof(info);
  info.hNodeSession = create.hNodeSession;
  info.frameNum = 4;
  ASSERT_EQ(Callbacks().pProcessRequest(&info), kChiSuccess);
  EXPECT_EQ(OwnTag("FrameDimension"), std::vector<uint8_t>(8, 0));
  ChiNodedestroyInfo destroy = {8, 0, create.hNodeSession};
  EXPECT_EQ(Callbacks().pDestroy(&destroy), kChiFailed);
  EXPECT_EQ(destroy.hNodeSession, create.hNodeSession);
  destroy.size = sizeof(destroy);
  log_.TakeOwn();
  EXPECT_EQ(Callbacks().pDestroy(&destroy), kChiSuccess);
  EXPECT_EQ(destroy.hNodeSession, nullptr);
  EXPECT_EQ(log_.TakeOwn(), Lines({"6//~ZyNodeBase: [Eeee] CurrentNodeType=0"}));
}

TEST_F(NodeTest, AGraderThatThrowsLeavesTheNodeWithoutAnalysis) {
  host::ThrowFromFaceGrade(true);
  Start();
  SetUsualMetadata();
  Send(4);
  AwaitWorkers();
  EXPECT_EQ(session_.Result().face_count, 1);
  EXPECT_EQ(host::AgeGenderCounters().analyses, 0u);
}

// ---- What the node publishes --------------------------------------------------------------------

TEST_F(NodeTest, PublishesItsOwnTags) {
  ASSERT_FALSE(session_.Create(0x101, 1920, 1440));
  session_.Input().Clear();
  Send(1);
  EXPECT_EQ(OwnTag("SupportedFeature"), (std::vector<uint8_t>{1, 0, 0, 0}));
  EXPECT_EQ(OwnTag("CurrentMode"), (std::vector<uint8_t>{1}));
  EXPECT_EQ(OwnTag("ProcessedFrameNumber"), std::vector<uint8_t>(8, 0));
  EXPECT_EQ(OwnTag("FrameDimension"), (std::vector<uint8_t>{0x80, 7, 0, 0, 0xa0, 5, 0, 0}));
  const auto* result = session_.Output().Find(TagId("brodax.faceAnalyzeResult", "result"));
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result->bytes, std::vector<uint8_t>(52, 0));
}

TEST_F(NodeTest, HandsOverOneRequestInSix) {
  Start();
  SetUsualMetadata();
  std::vector<uint64_t> with_faces;
  for (uint64_t frame = 0; frame < 24; ++frame) {
    Send(frame);
    const framework::ResultRecord result = session_.Result();
    if (result.face_count != 0) with_faces.push_back(frame);
    if (result.face_count == 0) {
      EXPECT_EQ(result.age[0], 0.0f);
    }
  }
  EXPECT_EQ(with_faces, (std::vector<uint64_t>{4, 10, 16, 22}));
  // The arithmetic is that of 64 bits: the last frame of all is 2 before a multiple of 6.
  for (const auto& [frame, count] : std::vector<std::pair<uint64_t, int>>{
           {(uint64_t{1} << 32) + 4, 0}, {(uint64_t{1} << 32), 1}, {~uint64_t{1}, 1}}) {
    Send(frame);
    EXPECT_EQ(session_.Result().face_count, count) << frame;
  }
}

TEST_F(NodeTest, RecordsWithoutAnalysis) {
  Start();
  struct Case {
    uint32_t role, gender_age, score;
    bool faces;
    float age, grade, prop;
  };
  for (const Case& test :
       {Case{1, 1, 0, false, 20.0f, 80.0f, 0.7f}, Case{1, 0, 9, false, 20.0f, 80.0f, 0.7f},
        Case{1, 0, 0, false, 0.0f, 0.0f, 0.0f}, Case{1, 0, 0, true, 0.0f, 0.0f, 0.0f},
        Case{0, 1, 1, false, 0.0f, 0.0f, 0.0f}, Case{2, 1, 1, true, 0.0f, 0.0f, 0.0f}}) {
    SetUsualMetadata();
    SetWords("com.qti.chi.multicamerainfo", "MultiCameraIdRole", {1, test.role, 1});
    SetWords("brodax.faceGenderAndAge", "enabled", {test.gender_age});
    SetWords("brodax.faceScore", "enabled", {test.score});
    if (!test.faces) SetFaces({});
    Send(4);
    const framework::ResultRecord result = session_.Result();
    EXPECT_EQ(result.face_count, 0);
    for (int slot = 0; slot < 3; ++slot) {
      EXPECT_EQ(result.gender[slot], 0.0f);
      EXPECT_EQ(result.age[slot], test.age);
      EXPECT_EQ(result.score[slot], test.grade);
      EXPECT_EQ(result.prop[slot], test.prop);
    }
  }
}

TEST_F(NodeTest, GenderChoosesTheAgeOfTheSlotWhicheverSlotMatched) {
  Start();
  SetUsualMetadata();
  Send(1);
  android::ZYPreview& worker = *ChiGenderAgeNodePeer::Worker(session_.node());
  // The face of slot 0 lies where slot 2 was analysed.
  Send(4);
  AwaitWorkers();
  for (int edge = 0; edge < 4; ++edge) {
    worker.mAnalyzedRects[2][edge] = worker.mAnalyzedRects[0][edge].load();
    worker.mAnalyzedRects[0][edge] = 0;
  }
  worker.mFaceAnalyzeNum = 3;
  worker.mAgeWhenGenderHigh[0] = 41.0f;
  worker.mAgeWhenGenderLow[0] = 17.0f;
  uint64_t frame = 10;
  for (const auto& [gender, age] :
       std::vector<std::pair<float, float>>{{0.6f, 17.0f}, {0.61f, 41.0f}, {NAN, 17.0f}}) {
    worker.mGender[0] = gender;
    Send(frame);
    EXPECT_EQ(session_.Result().age[0], age) << gender;
    EXPECT_EQ(std::isnan(session_.Result().gender[0]), std::isnan(gender));
    frame += 6;
  }
}

TEST_F(NodeTest, EveryFaceGetsTheResultsOfItsSlot) {
  host::ScriptAgeGender([](const host::AgeGenderCall& call) {
    const auto left = static_cast<float>(call.left);
    return host::AgeGenderAnswer{left, left + 0.25f, left + 0.5f};
  });
  host::ScriptFaceGrade([](const host::FaceGradeCall& call) {
    return host::FaceGradeAnswer{50.0f + static_cast<float>(call.x) / 100.0f, {}};
  });
  Start();
  SetUsualMetadata();
  SetWords("brodax.sensorSize", "size", {1920, 1440});
  SetFaces({0, 0, 1199, 1199, 1200, 0, 2399, 1199, 2400, 1200, 3599, 2399});
  Send(4);
  AwaitWorkers();
  // The second face has gone elsewhere since.
  SetFaces({0, 0, 1199, 1199, 1200, 1200, 2399, 2399, 2400, 1200, 3599, 2399});
  Send(10);
  const framework::ResultRecord result = session_.Result();
  EXPECT_EQ(result.face_count, 3);
  const float lefts[3] = {0.0f, 0.0f, 600.0f};
  for (const int slot : {0, 2}) {
    EXPECT_EQ(result.age[slot], lefts[slot]);
    EXPECT_EQ(result.prop[slot], lefts[slot] + 0.25f);
    EXPECT_EQ(result.gender[slot], lefts[slot] + 0.5f);
    EXPECT_EQ(result.score[slot], 50.0f + lefts[slot] / 100.0f);
  }
  EXPECT_EQ(result.gender[1], 0.0f);
  EXPECT_EQ(result.age[1], 20.0f);
  EXPECT_EQ(result.score[1], 80.0f);
  EXPECT_EQ(result.prop[1], 0.0f);
}

TEST_F(NodeTest, TheRoleIsTheMirrorFlagAndOutlivesAnAbsentTag) {
  host::RecordAgeGender(true);
  Start();
  SetUsualMetadata();
  SetWords("brodax.device", "orientation", {0});
  Send(1);
  session_.Input().Clear();  // role, switches, sensor size and orientation stay
  SetFaces({800, 600, 3199, 2999});
  Send(4);
  AwaitWorkers();
  ASSERT_EQ(host::AgeGenderCalls().size(), 1u);
  const host::AgeGenderCall call = host::AgeGenderCalls()[0];
  EXPECT_EQ((std::vector<int>{call.left, call.top, call.right, call.bottom}),
            (std::vector<int>{360, 576, 648, 864}));
}

TEST_F(NodeTest, AnalysesTheFirstOfSeveralInputs) {
  host::RecordAgeGender(true);
  Start();
  SetUsualMetadata();
  Send(4);
  AwaitWorkers();
  pictures::Nv12Frame other = testing_support::PatternFrame(1920, 1440);
  std::fill(other.bytes.begin(), other.bytes.end(), uint8_t{77});
  framework::CameraBuffer first(&frame_), second(&other);
  ChiNodeBuffer* inputs[] = {first.handle(), second.handle()};
  ChiNodeProcessRequestInfo info = {};
  info.inputNum = 2;
  info.phInputBuffer = inputs;
  info.frameNum = 4;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Send(info), kChiSuccess);
  AwaitWorkers();
  ASSERT_EQ(host::AgeGenderCalls().size(), 2u);
  EXPECT_EQ(host::AgeGenderCalls()[0].rgb_digest, host::AgeGenderCalls()[1].rgb_digest);
}

TEST_F(NodeTest, AResultTagThatIsGoneLeavesTheOwnTags) {
  Interpose();
  Start();
  SetUsualMetadata();
  g_tag_base = [](ChiVendorTagBase* query) {
    const bool known = query->pTagName == nullptr || std::strcmp(query->pTagName, "result") != 0;
    return known ? framework::Framework::Interface().pGetVendorTagBase(query) : kChiFailed;
  };
  log_.TakeOwn();
  Send(4);
  EXPECT_EQ(CountContaining(log_.TakeOwn(),
                            "6/CHIGENDERAGE/UpdateMetaData():1016 get faceAnalyzeResult tagBase "
                            "failed\n"),
            1u);
  EXPECT_EQ(session_.Output().Find(TagId("brodax.faceAnalyzeResult", "result")), nullptr);
  for (const char* name :
       {"SupportedFeature", "CurrentMode", "ProcessedFrameNumber", "FrameDimension"}) {
    EXPECT_NE(session_.Output().Find(TagId("com.qti.node.brodaxgenderage", name)), nullptr) << name;
  }
}

TEST_F(NodeTest, AFrameworkThatKnowsNoTagIsHarmless) {
  Start();
  framework::Framework::Get().Tags().Clear();
  ChiNodeInterface interface = framework::Framework::Interface();
  Callbacks().pSetNodeInterface(&interface);
  log_.TakeOwn();
  SetUsualMetadata();  // every identifier is 0 here: all tags go to identifier 0 of the platform
  Send(4);
  EXPECT_EQ(session_.Output().Find(kNoTag), nullptr);
  const auto& worker = *ChiGenderAgeNodePeer::Worker(session_.node());
  EXPECT_FALSE(worker.mFaceScoreEnabled);  // an unknown tag counts as absent
}

TEST_F(NodeTest, ASlowModelNeverHoldsARequestUp) {
  Start();
  SetUsualMetadata();
  host::SetAgeGenderDelay(std::chrono::milliseconds(500));
  std::chrono::duration<double> longest{1};
  uint64_t frame = 4;
  // Another program may hold a request up, though not in every round.
  for (int round = 0; round < 3 && longest.count() >= 0.1; ++round) {
    longest = longest.zero();
    for (const uint64_t end = frame + 400; frame < end; frame += 6) {
      const auto start = std::chrono::steady_clock::now();
      Send(frame);
      longest = std::max<decltype(longest)>(longest, std::chrono::steady_clock::now() - start);
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  EXPECT_LT(longest.count(), 0.1);
  EXPECT_GE(host::AgeGenderCounters().analyses, 1u);
  RecordProperty("longest_request_us", static_cast<int>(longest.count() * 1e6));
}

const uint32_t kBaseAtLoad = g_vendorTagBase;

TEST_F(NodeTest, AnUnknownOwnSectionDoesNotTakeTheRecordAlong) {
  EXPECT_EQ(kBaseAtLoad, 0u);  // the failing look-up leaves it so
  const uint32_t base = std::exchange(g_vendorTagBase, 0u);
  g_tag_base = [](ChiVendorTagBase* query) {
    const bool own = std::strcmp(query->pComponentName, "com.qti.node.brodaxgenderage") == 0;
    return own ? kChiFailed : framework::Framework::Interface().pGetVendorTagBase(query);
  };
  Interpose();
  ASSERT_EQ(g_vendorTagBase, 0u);
  Start();
  SetUsualMetadata();
  Send(4);
  EXPECT_EQ(session_.Result().face_count, 1);
  g_vendorTagBase = base;
}

// ---- A hostile framework ------------------------------------------------------------------------

TEST_F(NodeTest, OddRequestsStillPublish) {
  Start();
  SetUsualMetadata();
  Send(4);
  AwaitWorkers();
  ChiImage image = {};
  image.pPlaneAddress[0] = frame_.Luma();
  ChiNodeBuffer buffer = *framework::CameraBuffer(&frame_).handle();
  buffer.pImages = &image;
  std::vector<ChiNodeBuffer*> many(40, &buffer), nulls(40, nullptr);
  ChiNodeProcessRequestInfo info = {};
  const auto send = [&](uint32_t inputs, ChiNodeBuffer** handles, uint32_t planes,
                        uint32_t stride) {
    buffer.numPlanes = planes;
    buffer.planeStride = stride;
    info.inputNum = inputs;
    info.phInputBuffer = handles;
    info.frameNum = 4;  // the session answers metadata of request 4
    log_.TakeOwn();
    // The worker looks at one frame in four.
    for (int i = 0; i < 4; ++i) EXPECT_EQ(Send(info), kChiSuccess);
    EXPECT_EQ(session_.Result().face_count, 1);
    const Lines lines = log_.TakeOwn();
    EXPECT_EQ(CountContaining(lines, "UpdateMetaData():1019"), 4u);
    EXPECT_EQ(CountContaining(lines, "ProcessBuffer"), 0u);
    return CountContaining(lines, "ProcessRequest():661") / 4;
  };
  ChiNodeBuffer* wild = reinterpret_cast<ChiNodeBuffer*>(1);
  info.phOutputBuffer = &wild;
  EXPECT_EQ(send(0, &wild, 2, 1984), 0u);
  EXPECT_EQ(send(1, nullptr, 2, 1984), 0u);
  EXPECT_EQ(send(40, nulls.data(), 2, 1984), 0u);
  EXPECT_EQ(send(40, many.data(), 1000, 1984), 12u);  // plane 1 is missing
  image.pPlaneAddress[1] = frame_.Chroma();
  EXPECT_EQ(send(1, many.data(), 1, 1984), 1u);
  EXPECT_EQ(send(1, many.data(), 2, 1919), 1u);
  EXPECT_EQ(send(1, many.data(), 2, 0x80000000), 1u);
  buffer.numImages = 0;
  EXPECT_EQ(send(1, many.data(), 2, 1984), 1u);
  buffer.numImages = 1;
  buffer.pImages = nullptr;
  EXPECT_EQ(send(1, many.data(), 2, 1984), 1u);
  buffer.pImages = &image;
  image.pPlaneAddress[0] = nullptr;
  EXPECT_EQ(send(1, many.data(), 2, 1984), 1u);
}

TEST_F(NodeTest, ARequestWithoutInputsOnASensorOfUnknownSize) {
  Start();
  SetUsualMetadata();
  Send(4);
  for (const auto& [width, height] :
       std::vector<std::pair<uint32_t, uint32_t>>{{0, 0}, {0, 9}, {9, 0}}) {
    SetWords("brodax.sensorSize", "size", {width, height});
    ChiNodeProcessRequestInfo info = {};
    info.frameNum = 4;
    log_.TakeOwn();
    EXPECT_EQ(Send(info), kChiSuccess);
    EXPECT_EQ(CountContaining(log_.TakeOwn(), "(x,y,w,h)"), 0u);
  }
}

TEST_F(NodeTest, CountWithoutRectanglesIsBoundedWhereItIsUsed) {
  Start();
  SetUsualMetadata();
  Send(4);
  AwaitWorkers();
  g_metadata = [](ChiMetadataGet* get) {
    get->pData = nullptr;
    get->count = 4 * 255;
    return kChiSuccess;
  };
  Interpose();
  Send(10);
  EXPECT_EQ(ChiGenderAgeNodePeer::FaceNum(session_.node()), 255);
  EXPECT_EQ(session_.Result().face_count, 3);
}

TEST_F(NodeTest, AnInterfaceThatLacksFunctionsIsHarmless) {
  Start();
  ChiNodeInterface none = {}, no_tags = framework::Framework::Interface();
  none.size = sizeof(none);
  no_tags.pGetVendorTagBase = nullptr;
  for (ChiNodeInterface* interface : {&none, &no_tags}) {
    Callbacks().pSetNodeInterface(interface);
    SetUsualMetadata();
    log_.TakeOwn();
    Send(4);
    EXPECT_EQ(session_.Output().Find(TagId("brodax.faceAnalyzeResult", "result")), nullptr);
    EXPECT_EQ(CountContaining(log_.TakeOwn(), "get faceAnalyzeResult tagBase failed"), 1u);
  }
}

}  // namespace
