// SPDX-License-Identifier: Apache-2.0
#include "record/json_lines.h"

#include <utility>
#include <vector>

#include "record/json.h"
#include "record/recording.h"

namespace record {
namespace {

Json JsonOf(const Value& value) {
  if (const auto* number = std::get_if<int64_t>(&value)) return *number;
  if (const auto* figure = std::get_if<double>(&value)) return *figure;
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  return nullptr;
}

Json JsonOf(const std::vector<Value>& values) {
  Json json = Json::array();
  for (const Value& value : values) json.push_back(JsonOf(value));
  return json;
}

template <typename T>
Json JsonOf(const T& plain) {
  return plain;
}

template <typename T>
Json JsonOf(const std::optional<T>& value) {
  return value ? Json(*value) : Json();
}

Json JsonOf(const common::Size& size) { return {size.width, size.height}; }
Json JsonOf(const std::optional<common::Rect>& rect) {
  return rect ? ListOf(*rect) : Json::array();
}

template <typename T>
Json JsonOf(const std::vector<std::pair<std::string, T>>& members) {
  Json json = Json::object();
  for (const auto& [name, value] : members) json[name] = JsonOf(value);
  return json;
}

Json InOf(const RequestRecord& request) {
  Json in;
  ForEachTag([&in](const char* name, const auto& value) { in[name] = JsonOf(value); }, request.in);
  in["faces"] = Json::array();
  for (const common::Rect& face : request.faces) in["faces"].push_back(ListOf(face));
  return in;
}

// Returns a model's answer by the names of a record's figures.
Json AnswerOf(const ModelCall& call) {
  const auto figure = [&call](std::size_t i) { return JsonOf(ValueOf(call.answer[i])); };
  if (call.model == Model::kFaceGrade) return {{"score", figure(0)}};
  return {{"age", figure(0)}, {"prop", figure(1)}, {"gender", figure(2)}};
}

}  // namespace

Json OutOf(const RequestRecord& request) {
  Json out = Json::object();
  for (const NamedValues& tag : request.out.values) {
    out[tag.name] = tag.is_list ? JsonOf(tag.values) : JsonOf(tag.values.at(0));
  }
  return out;
}

Json WhyOf(const RequestRecord& request) { return JsonOf(request.WhyValues()); }

std::string LineOf(const RunHeader& header) {
  Json json = {{"recording", kRecordingVersion}};
  ForEachKey(header, [&json](const char* key, const auto& member) { json[key] = JsonOf(member); });
  return TextOf(json) + "\n";
}

std::string LineOf(const Event& event) {
  const Json settings = event.kind == Event::kPipeline ? "restart" : JsonOf(event.settings);
  return TextOf({{kEventNames[event.kind], settings}}) + "\n";
}

std::string LineOf(const RequestRecord& request, bool is_timed) {
  Json json;
  json["request"] = request.number;
  json["frame"] = {{"index", request.frame_index}, {"digest", request.digest}};
  json["in"] = InOf(request);
  json["out"] = OutOf(request);
  json["outcome"] = NameOf(request.outcome);
  json["why"] = WhyOf(request);
  json["figures_age"] = JsonOf(request.figures_age);
  if (is_timed) {
    json["at_us"] = request.time.at;
    json["took_us"] = request.time.took;
  }
  return TextOf(json) + "\n";
}

std::string LineOf(const PassRecord& pass) {
  Json calls = Json::array();
  for (const ModelCall& call : pass.calls) {
    calls.push_back({{"model", NameOf(call.model)},
                     {"slot", JsonOf(call.slot)},
                     {"face", ListOf(call.face)},
                     {"answer", AnswerOf(call)},
                     {"at_us", call.time.at},
                     {"took_us", call.time.took}});
  }
  const Json json = {{"request", pass.request},
                     {"worker", pass.worker},
                     {"at_us", pass.time.at},
                     {"took_us", pass.time.took},
                     {"calls", calls}};
  return TextOf({{"pass", json}}) + "\n";
}

std::string TextOf(const Value& value) { return TextOf(JsonOf(value)); }

void JsonLines::Begin(const RunHeader& header) {
  is_timed_ = header.realtime;
  Write(LineOf(header));
}

common::Failure JsonLines::OnRequest(const RequestRecord& request, const media::Nv12Frame&) {
  const std::string line = LineOf(request, is_timed_);
  if (line.size() > kMaxLine) {
    return common::Fail("request " + std::to_string(request.number) +
                        ": its line of the recording is longer than " + std::to_string(kMaxLine) +
                        " bytes");
  }
  Write(line);
  return std::nullopt;
}

void JsonLines::Write(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), to_);
  std::fflush(to_);
}

}  // namespace record
