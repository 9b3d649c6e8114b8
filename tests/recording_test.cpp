// SPDX-License-Identifier: Apache-2.0
#include "record/recording_file.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>

#include "record/json_lines.h"
#include "record/trace.h"

namespace record {
namespace {

std::string MessageOf(const common::Failure& failure) {
  return failure ? failure->message : "success";
}

// A file that holds the text.
int FileWith(const std::string& text) {
  const int file = memfd_create("recording", 0);
  EXPECT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  return file;
}

std::string ParseMessage(const std::string& text) {
  RecordingFile file;
  const std::string message = MessageOf(file.Take(FileWith(text), ""));
  return message.substr(message[0] == ':' ? 2 : 0);
}

std::vector<Step> Parsed(const std::string& text) {
  RecordingFile file;
  EXPECT_EQ(MessageOf(file.Take(FileWith(text), "")), "success") << text;
  StepReader reader(file);
  std::vector<Step> steps;
  for (std::optional<Step> step; !reader.Next(&step) && step;) steps.push_back(*step);
  return steps;
}

std::string Differences(const std::string& run, const std::string& other, double tolerance,
                        std::size_t limit) {
  RecordingFile files[2];
  EXPECT_EQ(MessageOf(files[0].Take(FileWith(run), "")), "success");
  EXPECT_EQ(MessageOf(files[1].Take(FileWith(other), "")), "success");
  Comparison comparison({tolerance, limit, "recorded"});
  EXPECT_EQ(MessageOf(CompareRecordings(files[0], files[1], &comparison)), "success");
  return comparison.Text();
}

constexpr char kHeader[] = R"({"recording":1,"program":"camsim 1.0","size":[64,48]})"
                           "\n";

TEST(Recording, EveryErrorNamesLineAndKey) {
  const std::pair<std::string, std::string> cases[] = {
      {"", "success"},
      {R"({"request":1})", "line 1: is cut short"},
      {R"({"request":1}
{"request":)",
       "line 2: is cut short"},
      {"\n", "line 1: is not a JSON object"},
      {"{}\n", "line 1: is not a JSON object"},
      {"[1]\n", "line 1: is not a JSON object"},
      {std::string(500'000, '[') + "\n", "line 1: is nested deeper than 8 levels"},
      {std::string(kMaxLine + 1, ' ') + "\n", "line 1: is longer than 1048576 bytes"},
      {"{\"recording\":2,\"news\":1}\n",
       "line 1: recording: is of version 2, this program reads version 1"},
      {std::string(kHeader) + kHeader, "line 2: recording: belongs in the first line only"},
      {"{\"recording\":1,\"size\":[64,0]}\n", "line 1: size: must be 1..16384"},
      {"{\"recording\":1,\"size\":[64]}\n", "line 1: size: must be a list of 2"},
      {"{\"wait\":1}\n", "line 1: wait: is unknown"},
      {"{\"pipeline\":\"stop\"}\n", "line 1: pipeline: must be restart"},
      {"{\"pipeline\":\"restart\",\"device\":{}}\n", "line 1: device: is unknown"},
      {"{\"device\":{\"model_delay_ms\":\"80\"}}\n",
       "line 1: device.model_delay_ms: must be 0..60000"},
      {"{\"property\":{\"a\":1}}\n", "line 1: property.a: must be null or text"},
      {"{\"request\":0}\n", "line 1: request: must be 1..100000000"},
      {"{\"request\":18446744073709551615}\n", "line 1: request: must be 1..100000000"},
      {"{\"request\":1.0}\n", "line 1: request: must be 1..100000000"},
      {"{\"request\":2}\n{\"request\":2}\n", "line 2: request: must increase"},
      {"{\"request\":2,\"faceNum\":1}\n", "line 1: faceNum: is unknown"},
      {"{\"request\":2,\"frame\":3}\n", "line 1: frame: must be an object"},
      {"{\"request\":2,\"in\":{\"orientation\":90}}\n", "line 1: in.orientation: is unknown"},
      {"{\"request\":2,\"in\":{\"brodax.device.orientation\":[90]}}\n",
       "line 1: in.brodax.device.orientation: must be -2147483648..2147483647"},
      {"{\"request\":2,\"in\":{\"brodax.quadcfa.enabled\":256}}\n",
       "line 1: in.brodax.quadcfa.enabled: must be 0..255"},
      {"{\"request\":2,\"in\":{\"brodax.sensorSize.size\":[1,2,3]}}\n",
       "line 1: in.brodax.sensorSize.size: must be a list of 2"},
      {"{\"request\":2,\"in\":{\"faces\":[[1,2,3]]}}\n", "line 1: in.faces: must be a list of 4"},
      {"{\"request\":2,\"in\":{\"faces\":null,\"brodax.quadcfa.enabled\":null}}\n", "success"},
      {"{\"request\":2,\"out\":{\"age\":[[1]]}}\n", "line 1: out.age: must be a tag's value"},
      {"{\"request\":2,\"outcome\":\"lost\"}\n",
       "line 1: outcome: must be not offered|skipped|dropped|taken|?"},
      {"{\"request\":2,\"why\":[null,\"off\"]}\n", "line 1: why: must be a list of 3"},
  };
  for (const auto& [text, message] : cases) EXPECT_EQ(ParseMessage(text), message) << text;
}

TEST(Recording, EveryCutLineIsAFailure) {
  const std::string line =
      R"({"request":7,"frame":{"index":6,"digest":"0123456789abcdef"},"in":{"faces":[[1,2,3,4]]},)"
      R"("out":{"faceNum":1,"age":[31.2,0.0,"nan"]},"outcome":"taken","why":[null,"off","?"]})"
      "\n";
  EXPECT_EQ(Parsed(line).size(), 1U);
  for (std::size_t size = 1; size < line.size(); ++size) {
    EXPECT_NE(ParseMessage(line.substr(0, size)), "success") << size;
    EXPECT_NE(ParseMessage(line.substr(0, size - 1) + "\n"), "success") << size;
  }
}

// A request and an event are parsed to the values that were written.
TEST(Recording, LinesKeepTheirValues) {
  RequestRecord request;
  request.number = 7;
  request.frame_index = 6;
  request.digest = "0123456789abcdef";
  request.in.camera_role = {0, -1, 7};
  request.in.quad_cfa = 255;
  request.in.face_rectangles = {{1, 2, 3, 4}};
  request.faces = {{1, 2, 3, 4}};
  request.out.values = {{"faceNum", false, {int64_t{1}}},
                        {"age", true, {ValueOf(31.2f), ValueOf(NAN), ValueOf(-INFINITY)}}};
  request.outcome = Outcome::kDropped;
  request.why.emplace();
  (*request.why)[1] = {Why::kIsFigure, Why::kTooSmall};
  const std::string restart = LineOf(Event{Event::kPipeline, {}});
  const std::string property = LineOf(Event{Event::kProperty, {{"a", "b"}, {"c", {}}}});
  const std::vector<Step> read = Parsed(restart + property + LineOf(request, true));
  ASSERT_EQ(read.size(), 3U);
  EXPECT_EQ(LineOf(std::get<Event>(read[0].what)), restart);
  EXPECT_EQ(LineOf(std::get<Event>(read[1].what)), property);
  EXPECT_EQ(read[0].request, 7);
  const auto& step = std::get<RequestStep>(read[2].what);
  EXPECT_EQ(step.frame_index, 6);
  EXPECT_EQ(step.in.camera_role, request.in.camera_role);
  EXPECT_EQ(step.in.quad_cfa, request.in.quad_cfa);
  EXPECT_EQ(step.in.face_rectangles, request.in.face_rectangles);
  EXPECT_EQ(step.in.score, Change<int32_t>(std::optional<int32_t>()));  // explicitly absent
  EXPECT_EQ(step.faces, request.faces);
  const Returned returned = ReturnedWith(request);
  Comparison comparison({});
  comparison.Add(&returned, &step);
  EXPECT_EQ(comparison.Text(), "0 differences\n");
}

TEST(Recording, ReadsFacesAndRawRectangles) {
  const auto step = [](const std::string& in) {
    return std::get<RequestStep>(Parsed("{\"request\":1,\"in\":" + in + "}\n")[0].what);
  };
  EXPECT_EQ(step(R"({"faces":[[1,2,3,4],[5,6,7,8]]})").faces->size(), 2U);
  const RequestStep both = step(R"({"faces":[[1,2,3,4]],"android.statistics.faceRectangles":[9]})");
  EXPECT_EQ(both.faces->size(), 1U);  // for whom overrides the rectangles
  EXPECT_EQ((*both.in.face_rectangles)->size(), 1U);
  const RequestStep none = step(R"({"faces":null})");
  EXPECT_FALSE(none.faces);
  EXPECT_TRUE(none.in.face_rectangles && !*none.in.face_rectangles);
}

TEST(Published, HasNoRecordWithoutItsTag) {
  framework::VendorTags& tags = framework::Framework::Get().Tags();
  tags.Add({"brodax", "faceAnalyzeResult.result", ChiTagType::kByte, 1});
  framework::Metadata metadata;
  metadata.Set(tags.Id("brodax", ""), "\7", 1, 1);
  const std::vector<NamedValues> values = ReadOutput(metadata).values;
  ASSERT_EQ(values.size(), 1u);
  EXPECT_EQ(values[0].values, std::vector<Value>{int64_t{7}});
}

TEST(Comparison, ListsDifferencesAndCountsTheRest) {
  const std::string run =
      "{\"recording\":1,\"build_id\":\"a1\",\"device\":{\"log.so\":\"log.so\",\"m.so\":\"x/"
      "m.so\"}}\n"
      "{\"property\":{\"a\":null}}\n"
      R"({"request":4,"frame":{"index":3,"digest":"a"},"in":{"brodax.faceScore.enabled":1},)"
      R"("out":{"faceNum":2,"age":[31.2,26.6,0.0],"x.Mode":1},"outcome":"taken",)"
      R"("why":[null,null,"no face"]})"
      "\n{\"request\":5,\"out\":{\"age\":[1.04,\"nan\",1e39]}}\n{\"request\":6}\n";
  const std::string recorded =
      "{\"recording\":1,\"build_id\":\"b2\",\"device\":{\"log.so\":\"log.so\",\"m.so\":\"m.so\"}}\n"
      "{\"property\":{\"a\":\"\"}}\n"
      R"({"request":4,"frame":{"index":3,"digest":"b"},"in":{"brodax.faceScore.enabled":0},)"
      R"("out":{"faceNum":3,"age":[31.2000001,31.2,0.0]},"outcome":"dropped",)"
      R"("why":[null,"too small","no face"]})"
      "\n{\"request\":5,\"out\":{\"age\":[1.0,1.0,1e39]}}\n{\"request\":7}\n";
  const auto text = [&](double tolerance, std::size_t limit) {
    return Differences(run, recorded, tolerance, limit);
  };
  const std::string sent =
      "another node than in the recording: build a1, not b2\n"
      "other device libraries than in the recording: x/m.so\n"
      "other properties than in the recording\n"
      "1 request with other pixels than in the recording, the first is 4\n"
      "1 request with other brodax.faceScore.enabled than in the recording, the first is 4\n"
      "request 4: faceNum 2, recorded 3\n"
      "request 4: slot 1 age 26.6, recorded 31.2\n";
  const std::string differences =
      "request 4: x.Mode 1, recorded none\n"
      "request 4: outcome \"taken\", recorded \"dropped\"\n"
      "request 4: slot 1 why none, recorded \"too small\"\n"
      "request 5: slot 1 age \"nan\", recorded 1.0\n"
      "request 6: missing in the recording\n"
      "request 7: missing in the run\n";
  EXPECT_EQ(text(0.05, 20), sent + differences + "8 differences, with other inputs\n");
  EXPECT_EQ(text(0, 2), sent + "9 differences, with other inputs\n");
  EXPECT_EQ(Differences(run, run, 0, 20), "0 differences\n");
}

// A pass from 20 us on ends before, during or after the request from 100 to 150 us.
TEST(Trace, FiguresNeverGoBackInTime) {
  const struct {
    int64_t end, from, to;
  } rows[] = {{90, 89, 100}, {121, 120, 120}, {190, 149, 149}};
  for (const auto& row : rows) {
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const file = open_memstream(&text, &size);
    const auto trace = MakeTrace(file);
    PassRecord pass;
    pass.time = {20, row.end - 20};
    RequestRecord request;
    request.time = {100, 50};
    request.figures_age = 0;
    trace->OnPass(pass);
    EXPECT_EQ(MessageOf(trace->OnRequest(request, {})), "success");
    std::fclose(file);
    for (const auto& [phase, at] : {std::pair("s", row.from), std::pair("f", row.to)}) {
      const std::string begin = std::string("{\"ph\":\"") + phase + "\",\"pid\":1,\"tid\":";
      const std::string end = "\"ts\":" + std::to_string(at) + ",\"name\":\"figures\"";
      const std::string all = text;
      EXPECT_NE(all.find(begin + (*phase == 's' ? "2," : "1,") + end), all.npos) << all;
    }
    std::free(text);
  }
}

}  // namespace
}  // namespace record
