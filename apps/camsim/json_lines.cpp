// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <nlohmann/json.hpp>

#include "apps/camsim/report.h"
#include "apps/version.h"

namespace camsim {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;

const char* Name(Outcome outcome) {
  switch (outcome) {
    case Outcome::kUnknown:
      return "?";
    case Outcome::kNotOffered:
      return "not offered";
    case Outcome::kSkipped:
      return "skipped";
    case Outcome::kDropped:
      return "dropped";
    case Outcome::kTaken:
      return "taken";
  }
  return "";
}

Json ValueOf(const framework::PublishedTag& tag) {
  Json values = Json::array();
  for (const double value : tag.values) {
    const bool is_integer = std::abs(value) < 0x1p53 && std::trunc(value) == value;
    is_integer ? values.push_back(static_cast<int64_t>(value)) : values.push_back(value);
  }
  return tag.values.size() == 1 ? values[0] : values;
}

// A file's name may hold any bytes; those that are no text are replaced.
std::string Line(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

std::string JsonHeader(const std::string& input, int width, int height) {
  Json json;
  json["format"] = kFormat;
  json["camsim"] = apps::kVersion;
  json["input"] = input;
  json["width"] = width;
  json["height"] = height;
  return Line(json);
}

std::string JsonLine(const RequestReport& report) {
  const framework::ResultRecord& result = report.result;
  Json json;
  json["request"] = report.frame_number;
  json["faces"] = Json::array();
  for (const pictures::Rect& face : report.faces) {
    json["faces"].push_back({face.x, face.y, face.w, face.h});
  }
  json["outcome"] = Name(report.outcome);
  json["faceNum"] = result.face_count;
  json["gender"] = result.gender;
  json["age"] = result.age;
  json["score"] = result.score;
  json["prop"] = result.prop;
  json["why"] = Json::array();
  for (const SlotWhy why : report.why) json["why"].push_back(TextOf(why));
  json["own"] = Json::object();
  for (const framework::PublishedTag& tag : report.own_tags) json["own"][tag.name] = ValueOf(tag);
  if (report.took_us) json["took_us"] = *report.took_us;
  return Line(json);
}

}  // namespace camsim
