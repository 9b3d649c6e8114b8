// SPDX-License-Identifier: Apache-2.0
// The whole life of a node through its callbacks, with every line that it and its worker log.
#include "tests/device_testing.h"
#include "tests/node_testing.h"

namespace {

using testing_support::DeviceTest;
using Lines = std::vector<std::string>;

class NodeLifeTest : public DeviceTest {
 protected:
  // Sends a request that carries the faces.
  void Send(uint64_t frame_number) {
    testing_support::SetUsualMetadata(session_.Input(), {4000, 3000}, faces_);
    sim::CameraBuffer buffer(&frame_);
    sim::CameraBuffer output(&output_);
    host::HoldSignals(true);  // until the request has looked at the results
    ASSERT_FALSE(session_.Process(frame_number, &buffer, &output));
    host::HoldSignals(false);
    AwaitWorkers();
  }

  sim::Nv12Frame frame_ = testing_support::PatternFrame(1920, 1440, 2048);
  sim::Nv12Frame output_ = testing_support::PatternFrame(640, 480);
  std::vector<int32_t> faces_ = {800, 600, 3199, 2999};
  sim::Session session_;
};

TEST_F(NodeLifeTest, EveryLineOfALife) {
  host::ScriptAgeGender([](const host::AgeGenderCall&) {
    return host::AgeGenderAnswer{31.5f, 0.25f, 0.75f};
  });
  host::ScriptFaceGrade([](const host::FaceGradeCall&) {
    return host::FaceGradeAnswer{130.0f, {1.0f, 2.0f, 3.0f}};
  });
  host::FailAgeGenderInit(1);

  ASSERT_FALSE(sim::Framework::Get().Start(ChiNodeEntry));
  EXPECT_EQ(log_.TakeOwn(), Lines());

  ASSERT_FALSE(session_.Create(0, 1920, 1440));
  EXPECT_EQ(log_.TakeOwn(), Lines({"4/CHIGENDERAGE/GenderAgeNodeCreate():168 TPX "
                                   "GenderAgeNodeCreate\n"}));

  session_.PostPipelineCreate();
  AwaitWorkers();
  EXPECT_EQ(log_.TakeOwn(),
            Lines({"6/CHIGENDERAGE/PostPipelineCreate():526 PostPipelineCreate:526: (IN)\n",
                   "6//[Eeee] AvailableNodes=ffffff, CurrentNodeType=4",
                   "6/CHIGENDERAGE/PostPipelineCreate():534 PostPipelineCreate:534: (OUT)\n"}));
  EXPECT_EQ(log_.TakeOthers(),
            Lines({"6/ZYPreview/AnalyzeCurrentFrame: FaceInit failed",
                   "6/ZYPreview/AnalyzeCurrentFrame: FaceInit Success",
                   "6/ZYPreview/AnalyzeCurrentFrame: zyGenderVer=host-1.0, fitCountry=0(CHINA 1, "
                   "INDIAN 2)"}));

  const Lines before_hand_over = {
      "4/CHIGENDERAGE/getMetaData():916 getMetaData GenderAge face "
      "info[0](x,y,w,h)[192,144,576,576]\n",
      "4/CHIGENDERAGE/ProcessRequest():642 ChiGenderAgeNode frameNum 4, inputNum 1\n",
      "4/CHIGENDERAGE/ProcessRequest():661 ChiGenderAgeNode frameNum 4, i 0, format: 0, width "
      "1920, "
      "height 1440, planeStride: 2048\n",
      "4/CHIGENDERAGE/ProcessRequest():673 get face num: 1, size:640, 480, full size 1920 1440\n"};
  Lines expected = before_hand_over;
  expected.insert(
      expected.end(),
      {"6/ZYPreview/ProcessBuffer++,   mAnalyzingEnabled:1, mIsAnalyzing:0, mFaceAnalyzeNum:0",
       "4/CHIGENDERAGE/ProcessRequest():679 m_faceNum 1\n",
       "4/CHIGENDERAGE/ProcessRequest():704 ChiGenderAgeNode process face[0] gender: 0.000000, "
       "age: "
       "20.000000, score: 80.000000, prop: 0.000000 [x 192 y 144] line: 704\n",
       "4/CHIGENDERAGE/UpdateMetaData():1019 set m_faceInfoResult faceNum: 1 gender 0.000000 age "
       "20.000000 prop 0.000000\n"});
  Send(4);
  EXPECT_EQ(log_.TakeOwn(), expected);
  EXPECT_EQ(
      log_.TakeOthers(),
      Lines({"6/ZYPreview/AnalyzeCurrentFrame: size changed, re-alloc memory 0*0 -> 1920*1440",
             "6/ZYPreview/checkValidFaceSize, check res:1",
             "6/ZYPreview/AnalyzeCurrentFrame 207: DoAgeGender ZyGender time: ms, "
             "result:0.250000, 0.750000, 31.500000, 31.500000",
             "6/ZYPreview/AnalyzeCurrentFrame 215:  DoAgeGender ZyGender time: ms, "
             "result:0.250000, 0.750000, 31.500000, 31.500000",
             "6/ZYPreview/checkValidFaceSize, check res:1",
             "6/ZYPreview/AnalyzeCurrentFrame:  DoFaceBeautyRank face grade:130.000000 "
             "(1.000000, 2.000000, 3.000000)",
             "6/ZYPreview/AnalyzeCurrentFrame:  time:, face grade result:100.000000"}));

  Send(10);
  Lines matched = before_hand_over;
  for (std::string& line : matched) {
    const size_t number = line.find("frameNum 4");
    if (number != std::string::npos) line.replace(number, 10, "frameNum 10");
  }
  matched.insert(
      matched.end(),
      {"4/CHIGENDERAGE/ProcessRequest():679 m_faceNum 1\n",
       "4/CHIGENDERAGE/ProcessRequest():696 ChiGenderAgeNode process face[0] gender: 0.750000, "
       "age: "
       "31.500000, score: 100.000000, prop: 0.250000 [x 192 y 144] line 696\n",
       "4/CHIGENDERAGE/UpdateMetaData():1019 set m_faceInfoResult faceNum: 1 gender 0.750000 age "
       "31.500000 prop 0.250000\n"});
  EXPECT_EQ(log_.TakeOwn(), matched);
  const sim::ResultRecord result = session_.Result();
  EXPECT_EQ(result.face_count, 1);
  EXPECT_EQ(result.score[0], 100.0f);

  faces_ = {};
  Send(16);
  EXPECT_EQ(log_.TakeOwn(),
            Lines({"4/CHIGENDERAGE/ProcessRequest():642 ChiGenderAgeNode frameNum 16, inputNum 1\n",
                   "4/CHIGENDERAGE/ProcessRequest():709 ChiGenderAgeNode process m_faceNum 0 line: "
                   "709\n",
                   "4/CHIGENDERAGE/UpdateMetaData():1019 set m_faceInfoResult faceNum: 0 gender "
                   "0.000000 age 20.000000 prop 0.700000\n"}));

  faces_ = {800, 600, 1199, 999};  // 96 pixels wide, where 240 is too small
  for (const uint64_t frame : {22u, 28u}) Send(frame);
  EXPECT_EQ(log_.TakeOthers(), Lines());
  Send(34);
  EXPECT_EQ(log_.TakeOthers(),
            Lines({"6/ZYPreview/checkValidFaceSize, check res:0",
                   "6/ZYPreview/AnalyzeCurrentFrame 215:  DoAgeGender ZyGender time: ms, "
                   "result:0.000000, 0.000000, 0.000000, 0.000000",
                   "6/ZYPreview/checkValidFaceSize, check res:0",
                   "6/ZYPreview/AnalyzeCurrentFrame:  time:, face grade result:0.000000"}));
  log_.TakeOwn();

  ASSERT_FALSE(session_.Destroy());
  EXPECT_EQ(log_.TakeOwn(), Lines({"6//~ZyNodeBase: [Eeee] CurrentNodeType=4"}));
  EXPECT_EQ(log_.TakeOthers(), Lines());
  EXPECT_EQ(host::AgeGenderCounters().clears, 1u);
  EXPECT_EQ(host::FaceGradeCounters().created, 1u);
  EXPECT_EQ(host::FaceGradeCounters().destroyed, 1u);
}

}  // namespace
