// SPDX-License-Identifier: Apache-2.0
#include "record/recording.h"

#include <algorithm>
#include <array>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "record/json.h"
#include "record/json_lines.h"

namespace record {
namespace {

// ---- The form of a line -------------------------------------------------------------------------

// Returns the form of a tag of this type.
template <typename T>
Json FormOf() {
  const char* const integer = "-2147483648..2147483647";
  if constexpr (std::is_same_v<T, uint8_t>) return "0..255";
  if constexpr (std::is_same_v<T, int32_t>) return integer;
  if constexpr (std::is_same_v<T, std::vector<int32_t>>)
    return {integer, "0.." + std::to_string(4 * kMaxFaces)};
  if constexpr (std::is_class_v<T>) return {integer, sizeof(T) / sizeof(int32_t)};
}

// Returns recording_form.json, with one form for each kind of line by its first key ("request" may
// come later). An object lists its keys ("*" for any), a list its element and their number, which
// may be a range. LOWEST..HIGHEST is an integer; a text that begins with = lists the allowed
// values. Tags and outcomes come from the program.
Json MakeForm() {
  Json form = Json::parse(
#include "record/recording_form.json.inc"
  );
  Json& request = form["request"];
  for (const char* name : framework::kOutcomeNames) {
    const bool is_first = request["outcome"] == "=";
    request["outcome"] = request["outcome"].get<std::string>() + (is_first ? "" : "|") + name;
  }
  const DeviceState tags;
  ForEachTag(
      [&request](const char* name, const auto& value) {
        using Tag = typename std::decay_t<decltype(value)>::value_type;
        request["in"][name] = FormOf<Tag>();
      },
      tags);
  return form;
}

const Json& Form() {
  static const Json form = MakeForm();
  return form;
}

common::Failure Wrong(const std::string& key, const std::string& what) {
  return common::Fail((key.empty() ? "" : key + ": ") + what);
}

bool IsInt64(const Json& value) {
  return value.is_number_integer() &&
         (!value.is_number_unsigned() || value.get<uint64_t>() <= INT64_MAX);
}

bool IsInteger(const Json& value, const std::string& range) {
  long long lowest = 0, highest = 0;
  if (std::sscanf(range.c_str(), "%lld..%lld", &lowest, &highest) != 2) return false;
  return IsInt64(value) && value.get<int64_t>() >= lowest && value.get<int64_t>() <= highest;
}

// Returns whether a tag may have the value: a number, a text, or a list of them.
bool IsTagValue(const Json& value) {
  const auto is_plain = [](const Json& v) {
    return IsInt64(v) || v.is_number_float() || v.is_string();
  };
  return is_plain(value) || (value.is_array() && std::all_of(value.begin(), value.end(), is_plain));
}

bool Fits(const Json& value, const std::string& form) {
  if (form == "text") return value.is_string();
  if (form == "a number") return value.is_number();
  if (form == "a tag's value") return IsTagValue(value);
  if (form[0] != '=') return IsInteger(value, form);
  const std::string text = value.is_string() ? value.get<std::string>() : "";
  const std::string choice = value.is_boolean() ? value.dump() : text;
  return !choice.empty() && ("|" + form.substr(1) + "|").find("|" + choice + "|") != form.npos;
}

common::Failure Check(const std::string& key, const Json& value, const Json& form) {
  if (form.is_string()) {
    const auto text = form.get<std::string>();
    const bool may_be_null = text.rfind("null or ", 0) == 0;
    if (may_be_null ? value.is_null() || Fits(value, text.substr(8)) : Fits(value, text)) return {};
    return Wrong(key, "must be " + text.substr(text[0] == '=' ? 1 : 0));
  }
  if (form.is_array()) {
    const std::string count = form[1].is_string() ? form[1].get<std::string>() : form[1].dump();
    const std::string range = form[1].is_string() ? count : count + ".." + count;
    if (!value.is_array() || !IsInteger(value.size(), range)) {
      return Wrong(key, "must be a list of " + count);
    }
    for (const Json& element : value) {
      if (common::Failure failure = Check(key, element, form[0])) return failure;
    }
    return std::nullopt;
  }
  if (!value.is_object()) return Wrong(key, "must be an object");
  for (const auto& [name, member] : value.items()) {
    const std::string path = key.empty() ? name : key + "." + name;
    const char* const known = form.contains(name) ? name.c_str() : "*";
    if (!form.contains(known)) return Wrong(path, "is unknown");
    if (key == "in" && member.is_null()) continue;  // an absent tag
    if (common::Failure failure = Check(path, member, form[known])) return failure;
  }
  return std::nullopt;
}

common::Failure CheckLine(const Json& json, bool is_first) {
  if (!json.is_object() || json.empty()) return common::Fail("is not a JSON object");
  const std::string kind = json.contains("request") ? "request" : json.begin().key();
  if (!Form().contains(kind)) return Wrong(kind, "is unknown");
  if (kind == "recording") {
    if (!is_first) return Wrong(kind, "belongs in the first line only");
    if (json[kind] != kRecordingVersion) {
      return Wrong(kind, "is of version " + json[kind].dump() + ", this program reads version " +
                             std::to_string(kRecordingVersion));
    }
  }
  if (common::Failure failure = Check("", json, Form()[kind])) return failure;
  const Json crop = json.value("crop", Json::array());  // only a header may have one
  const bool is_crop = crop.empty() || (crop.size() == 4 && crop[0].get<int>() % 2 == 0 &&
                                        crop[1].get<int>() % 2 == 0);
  if (is_crop) return std::nullopt;
  return Wrong("crop", "must be empty, or x, y, width and height with even x and y");
}

// ---- The content of a checked line --------------------------------------------------------------

Value ValueOf(const Json& json) {
  if (json.is_string()) return json.get<std::string>();
  if (json.is_number_float()) return json.get<double>();
  return json.is_null() ? Value() : Value(json.get<int64_t>());
}

NamedValues ValuesOf(const std::string& name, const Json& json) {
  NamedValues named = {name, json.is_array(), {}};
  const Json list = json.is_array() ? json : Json::array({json});
  for (const Json& element : list) named.values.push_back(ValueOf(element));
  return named;
}

common::Rect RectOf(const Json& list) {
  return common::ClampedRect(list[0], list[1], list[2], list[3]);
}

RequestStep RequestOf(const Json& json) {
  RequestStep step;
  const Json none = Json::object();
  const Json frame = json.value("frame", none), in = json.value("in", none);
  step.number = json["request"];
  step.digest = frame.value("digest", "");
  if (frame.contains("index")) step.frame_index = frame["index"].get<int64_t>();
  step.is_recorded = json.contains("out");
  const Json out = json.value("out", none);
  for (const auto& [name, value] : out.items()) step.values.push_back(ValuesOf(name, value));
  for (const char* name : {"outcome", "why"}) {
    if (json.contains(name)) step.values.push_back(ValuesOf(name, json[name]));
  }
  ForEachTag(
      [&in](const char* name, auto& change) {
        if (!in.contains(name)) return;
        auto& field = change.emplace();
        using Tag = typename std::decay_t<decltype(field)>::value_type;
        if (!in[name].is_null()) field = in[name].template get<Tag>();
      },
      step.in);
  if (!in.contains("faces")) return step;
  if (in["faces"].is_null()) {
    if (!step.in.face_rectangles) step.in.face_rectangles.emplace();
    return step;
  }
  step.faces.emplace();
  for (const Json& face : in["faces"]) step.faces->push_back(RectOf(face));
  return step;
}

Event EventOf(const Json& json) {
  Event event = {Event::kPipeline, {}};
  for (const Event::Kind kind : {Event::kDevice, Event::kProperty}) {
    if (!json.contains(kEventNames[kind])) continue;
    event.kind = kind;
    for (const auto& [name, value] : json[kEventNames[kind]].items()) {
      event.settings.emplace_back(name, ValueOf(value));
    }
  }
  return event;
}

template <typename T>
void Read(const Json& json, T* to) {
  *to = json.get<T>();
}
void Read(const Json& json, std::optional<bool>* to) { *to = json.get<bool>(); }
void Read(const Json& json, common::Size* to) { *to = {json[0], json[1]}; }
void Read(const Json& json, std::optional<common::Rect>* to) {
  if (!json.empty()) *to = RectOf(json);
}
void Read(const Json& json, std::vector<std::pair<std::string, std::string>>* to) {
  for (const auto& [name, text] : json.items()) to->emplace_back(name, text);
}

RunHeader HeaderOf(const Json& json) {
  RunHeader header;
  ForEachKey(header, [&json](const char* key, auto& member) {
    if (json.contains(key)) Read(json[key], &member);
  });
  return header;
}

// Parses a text, with the limits of a line for depth and for keys of an object, which the library
// searches one by one.
common::Failure ParseJson(std::string_view text, Json* json) {
  // The library would take it for the end.
  if (text.find('\0') != text.npos) return common::Fail("contains a NUL byte");
  constexpr int kMaxDepth = 8, kMaxKeys = 1000;
  int keys[kMaxDepth + 2] = {};  // of the open object at each depth
  const auto check = [&keys](int depth, Json::parse_event_t event, const Json&) {
    if (depth > kMaxDepth) {
      throw common::Fail("is nested deeper than " + std::to_string(kMaxDepth) + " levels");
    }
    if (event == Json::parse_event_t::object_start) keys[depth + 1] = 0;
    if (event == Json::parse_event_t::key && ++keys[depth] > kMaxKeys) {
      throw common::Fail("has an object of more than " + std::to_string(kMaxKeys) + " keys");
    }
    return true;
  };
  try {
    *json = Json::parse(text, check, false);
    return std::nullopt;
  } catch (const common::Failure& failure) {
    return failure;
  }
}

}  // namespace

common::Failure ParseLine(std::string_view text, bool is_first, Line* line) {
  Json json;
  common::Failure failure = ParseJson(text, &json);
  if (!failure) failure = CheckLine(json, is_first);
  if (failure) return failure;
  if (json.contains("request")) {
    *line = RequestOf(json);
  } else if (json.contains("recording")) {
    *line = HeaderOf(json);
  } else if (json.contains("pass")) {
    *line = std::monostate();  // no run can repeat a pass
  } else {
    *line = EventOf(json);
  }
  return std::nullopt;
}

}  // namespace record
