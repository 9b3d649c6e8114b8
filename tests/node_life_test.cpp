// SPDX-License-Identifier: Apache-2.0
// The whole life of a node through its callbacks, with every line that it and its worker log.
#include "tests/device_testing.h"
#include "tests/node_testing.h"

namespace {

const char kLifeLog[] =
#include "tests/golden/life_log.txt"
    ;

class NodeLifeTest : public testing_support::DeviceTest {
 protected:
  // Sends a request that carries the faces.
  void Send(uint64_t frame_number) {
    testing_support::SetUsualMetadata(session_.Input(), {4000, 3000}, faces_);
    framework::CameraBuffer buffer(&frame_);
    framework::CameraBuffer output(&output_);
    host::HoldSignals(true);  // until the request has looked at the results
    ASSERT_FALSE(session_.Process(frame_number, &buffer, &output));
    host::HoldSignals(false);
    Note("request " + std::to_string(frame_number));
  }

  // Adds to the log: what was done, and the lines of the request thread and of the worker.
  void Note(const std::string& step) {
    AwaitWorkers();
    log_text_ += "\n== " + step + "\n" + testing_support::TextOf(log_.TakeOwn());
    const std::string of_worker = testing_support::TextOf(log_.TakeOthers());
    if (!of_worker.empty()) log_text_ += "-- the worker\n" + of_worker;
  }

  pictures::Nv12Frame frame_ = testing_support::PatternFrame(1920, 1440, 2048);
  pictures::Nv12Frame output_ = testing_support::PatternFrame(640, 480);
  std::vector<int32_t> faces_ = {800, 600, 3199, 2999};
  framework::Session session_;
  std::string log_text_;
};

TEST_F(NodeLifeTest, EveryLineOfALife) {
  host::ScriptAgeGender([](const host::AgeGenderCall&) {
    return host::AgeGenderAnswer{31.5f, 0.25f, 0.75f};
  });
  host::ScriptFaceGrade([](const host::FaceGradeCall&) {
    return host::FaceGradeAnswer{130.0f, {1.0f, 2.0f, 3.0f}};
  });
  host::FailAgeGenderInit(1);
  ASSERT_FALSE(framework::Framework::Get().Start(ChiNodeEntry));
  Note("entry");
  ASSERT_FALSE(session_.Create(0, 1920, 1440));
  Note("create");
  session_.PostPipelineCreate();
  Note("post-pipeline-create");
  Send(4);
  Send(10);
  EXPECT_EQ(session_.Result().face_count, 1);
  EXPECT_EQ(session_.Result().score[0], 100.0f);
  faces_ = {};
  Send(16);
  faces_ = {800, 600, 1199, 999};  // 96 pixels wide, where 240 is too small
  for (const uint64_t frame : {22u, 28u, 34u}) Send(frame);
  ASSERT_FALSE(session_.Destroy());
  Note("destroy");
  EXPECT_EQ(log_text_, kLifeLog);
  EXPECT_EQ(host::AgeGenderCounters().clears, 1u);
  EXPECT_EQ(host::FaceGradeCounters().created, 1u);
  EXPECT_EQ(host::FaceGradeCounters().destroyed, 1u);
}

}  // namespace
