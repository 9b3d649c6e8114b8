// SPDX-License-Identifier: Apache-2.0
// Whatever camsim reads (Y4M, NV12, PNG, JPEG) gives frames or a message; the JSON that it writes.
#include <cmath>
#include <nlohmann/json.hpp>

#include "apps/camsim/report.h"
#include "fuzz/png_checksums.h"
#include "fuzz/script.h"
#include "pictures/frame_source.h"
#include "pictures/picture.h"

using fuzz::Require;

static void ReadFrames(fuzz::Script& script) {
  pictures::FrameSourceOptions options;
  options.input = "input";
  if (script.OneIn(2)) {
    options.width = script.Between(-1, 70);
    options.height = script.Between(-1, 70);
  }
  options.stride = script.OneIn(4) ? script.Between(-1, 300) : 0;
  std::vector<uint8_t> bytes = script.Rest();
  if (pictures::DetectPictureFormat(bytes.data(), bytes.size()) == pictures::PictureFormat::kPng) {
    fuzz::MendChecksums(&bytes);
  }
  std::unique_ptr<pictures::FrameSource> source;
  auto reader = std::make_unique<pictures::MemoryReader>(bytes.data(), bytes.size());
  pictures::Failure failure = pictures::OpenFrameSource(std::move(reader), options, &source);
  bool at_end = false;
  for (int i = 0; i < 3 && !failure && !at_end; ++i) {
    pictures::Nv12Frame frame;
    failure = source->Next(&frame, &at_end);
    if (failure || at_end) continue;
    Require(frame.width == source->Width() && frame.height == source->Height(), "frames fit");
    Require(frame.bytes.size() == frame.LumaSize() + frame.ChromaSize(), "planes are whole");
    const auto pixels = static_cast<std::size_t>(frame.width * frame.height);
    Require(pixels <= bytes.size() * 8256, "a small file is no large picture");
    if (frame.bytes.size() < 50'000)
      Require(!pictures::Nv12ToPicture(frame).rgb.empty(), "a picture");
  }
  const bool is_line = !failure || failure->message.find('\n') == std::string::npos;
  Require(is_line, "a failure is told in a line");
}

static void WriteJson(fuzz::Script& script) {
  camsim::RequestReport report;
  report.frame_number = script.Raw<uint64_t>();
  report.faces.resize(script.Byte() % 4, {script.Raw<int32_t>(), 0, script.Raw<int32_t>(), 0});
  report.outcome = script.Pick(std::array{camsim::Outcome::kTaken, camsim::Outcome::kSkipped});
  report.result = script.Raw<framework::ResultRecord>();
  const nlohmann::json json = nlohmann::json::parse(camsim::JsonLine(report));
  Require(json["request"] == report.frame_number, "the number of the request");
  Require(json["faces"].size() == report.faces.size(), "each face");
  for (const char* name : {"gender", "age", "score", "prop"}) Require(json[name].size() == 3, name);
  const float age = report.result.age[2];
  Require(std::isfinite(age) ? json["age"][2] == age : json["age"][2].is_null(), "each age");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  script.OneIn(16) ? WriteJson(script) : ReadFrames(script);
  return 0;
}
