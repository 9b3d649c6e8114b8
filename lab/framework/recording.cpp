// SPDX-License-Identifier: Apache-2.0
#include "framework/recording.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "media/byte_reader.h"

namespace framework {
namespace {

// recording_form.json, with a form for each kind of line by its first key ("request" may stand
// elsewhere). An object names its keys ("*" for any), a list its element and their number (0 for
// any); LOWEST..HIGHEST is an integer, a text that begins with = lists what it may be.
const Json& Form() {
  static const Json form = Json::parse(
#include "framework/recording_form.inc"
  );
  return form;
}

media::Failure Wrong(const std::string& key, const std::string& what) {
  return media::Fail((key.empty() ? "" : key + ": ") + what);
}

bool IsInteger(const Json& value, const std::string& range) {
  long long lowest = 0, highest = 0;
  if (std::sscanf(range.c_str(), "%lld..%lld", &lowest, &highest) != 2) return false;
  if (!value.is_number_integer() || value > highest) return false;
  return value.get<int64_t>() >= lowest;
}

// What a tag may hold: a number, a text, or a list of such.
bool IsTagValue(const Json& value) {
  const auto is_plain = [](const Json& v) { return v.is_number() || v.is_string(); };
  return is_plain(value) || (value.is_array() && std::all_of(value.begin(), value.end(), is_plain));
}

bool Fits(const Json& value, const std::string& form) {
  if (form == "text") return value.is_string();
  if (form == "a tag's value") return IsTagValue(value);
  if (form[0] != '=') return IsInteger(value, form);
  const std::string text = value.is_string() ? value.get<std::string>() : "";
  const std::string choice = value.is_boolean() ? value.dump() : text;
  return !choice.empty() && ("|" + form.substr(1) + "|").find("|" + choice + "|") != form.npos;
}

media::Failure Check(const std::string& key, const Json& value, const Json& form) {
  if (form.is_string()) {
    const auto text = form.get<std::string>();
    const bool may_be_null = text.rfind("null or ", 0) == 0;
    if (may_be_null ? value.is_null() || Fits(value, text.substr(8)) : Fits(value, text)) return {};
    return Wrong(key, "must be " + text.substr(text[0] == '=' ? 1 : 0));
  }
  if (form.is_array()) {
    const auto count = form[1].get<std::size_t>();
    if (!value.is_array() || (count != 0 && value.size() != count)) {
      return Wrong(key, "must be a list" + (count == 0 ? "" : " of " + std::to_string(count)));
    }
    for (const Json& element : value) {
      if (media::Failure failure = Check(key, element, form[0])) return failure;
    }
    return std::nullopt;
  }
  if (!value.is_object()) return Wrong(key, "must be an object");
  for (const auto& [name, member] : value.items()) {
    const std::string path = key.empty() ? name : key + "." + name;
    const char* const known = form.contains(name) ? name.c_str() : "*";
    if (!form.contains(known)) return Wrong(path, "is unknown");
    // A tag that is absent.
    if (key == "in" && member.is_null()) continue;
    if (media::Failure failure = Check(path, member, form[known])) return failure;
  }
  return std::nullopt;
}

media::Failure CheckLine(const Json& json, bool is_first) {
  if (!json.is_object() || json.empty()) return media::Fail("is no JSON object");
  const std::string kind = json.contains("request") ? "request" : json.begin().key();
  if (!Form().contains(kind)) return Wrong(kind, "is unknown");
  if (kind == "recording") {
    if (!is_first) return Wrong(kind, "stands in the first line only");
    if (json[kind] != kRecordingVersion) {
      return Wrong(kind, "is of version " + json[kind].dump() + ", this program reads version " +
                             std::to_string(kRecordingVersion));
    }
  }
  return Check("", json, Form()[kind]);
}

// The identifier of a tag by its full name; 0 when it is unknown.
uint32_t IdOf(const std::string& name) {
  if (name == kFaceRectanglesName) return kChiFaceRectanglesTag;
  const std::size_t dot = name.rfind('.');
  if (dot == name.npos) return 0;
  return Framework::Get().Tags().Id(name.substr(0, dot), name.substr(dot + 1));
}

template <typename T>
T ElementAt(const uint8_t* bytes, std::size_t index) {
  T value;
  std::memcpy(&value, bytes + index * sizeof(T), sizeof(T));
  return value;
}

Json Figure(float figure) {
  if (std::isnan(figure)) return "nan";
  if (std::isinf(figure)) return figure > 0 ? "inf" : "-inf";
  char text[64] = {};
  std::to_chars(text, text + sizeof(text) - 1, figure);
  return std::strtod(text, nullptr);
}

Json Element(ChiTagType type, const uint8_t* bytes, std::size_t index) {
  switch (type) {
    case ChiTagType::kByte:
      return bytes[index];
    case ChiTagType::kInt32:
      return ElementAt<int32_t>(bytes, index);
    case ChiTagType::kFloat:
      return Figure(ElementAt<float>(bytes, index));
    case ChiTagType::kInt64:
      return ElementAt<int64_t>(bytes, index);
  }
  return nullptr;
}

// A list, but for a tag that is declared with one element.
Json TagValue(const Metadata::Value* value, ChiTagType type, uint32_t declared_count) {
  if (value == nullptr) return nullptr;
  if (declared_count == 1 && value->count == 1) return Element(type, value->bytes.data(), 0);
  Json list = Json::array();
  for (std::size_t i = 0; i < value->count; ++i) {
    list.push_back(Element(type, value->bytes.data(), i));
  }
  return list;
}

Json RecordFields(const Metadata::Value& value) {
  Json out;
  out["faceNum"] = ElementAt<int32_t>(value.bytes.data(), 0);
  std::size_t index = 1;
  for (const char* name : {"gender", "age", "score", "prop"}) {
    for (int slot = 0; slot < 3; ++slot) {
      out[name].push_back(Figure(ElementAt<float>(value.bytes.data(), index++)));
    }
  }
  return out;
}

}  // namespace

std::string LineOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

media::Failure ParseRecording(std::string_view text, Recording* recording) {
  *recording = {};
  int64_t last = 0;
  for (int line = 1; !text.empty(); ++line) {
    const std::string about = "line " + std::to_string(line);
    const std::size_t length = text.find('\n');
    if (std::min(length, text.size()) > kMaxLine) {
      return media::Fail(about + ": is longer than " + std::to_string(kMaxLine) + " bytes");
    }
    if (length == text.npos) return media::Fail(about + ": is cut short");
    Step step = {line, Json::parse(text.substr(0, length), nullptr, false), INT64_MAX};
    text.remove_prefix(length + 1);
    if (media::Failure failure = CheckLine(step.json, line == 1)) {
      return media::FailAbout(about, failure);
    }
    if (step.IsRequest()) {
      step.request = step.json["request"];
      if (step.request <= last) return media::Fail(about + ": request: does not rise");
      last = step.request;
    }
    if (step.json.contains("recording")) {
      recording->header = std::move(step.json);
    } else {
      recording->steps.push_back(std::move(step));
    }
  }
  for (std::size_t i = recording->steps.size(); i-- > 1;) {
    Step& before = recording->steps[i - 1];
    if (!before.IsRequest()) before.request = recording->steps[i].request;
  }
  return std::nullopt;
}

media::Failure ReadRecording(const std::string& path, Recording* recording) {
  std::unique_ptr<media::ByteReader> reader;
  std::vector<uint8_t> bytes;
  media::Failure failure = media::OpenFile(path, &reader);
  if (!failure) failure = media::ReadToEnd(*reader, kMaxRecording, &bytes);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (!failure) failure = ParseRecording(text, recording);
  if (failure) return media::FailAbout(path == "-" ? "standard input" : path, failure);
  return std::nullopt;
}

std::string PixelDigest(const media::Nv12Frame& frame) {
  uint64_t digest = 0xcbf29ce484222325;
  const auto add = [&digest](uint64_t word) {
    digest = (digest ^ word) * 0x100000001b3;
    digest ^= digest >> 32;
  };
  const auto add_rows = [&](const uint8_t* row, int rows, int width) {
    for (; rows > 0; --rows, row += frame.stride) {
      int x = 0;
      for (; x + 8 <= width; x += 8) add(ElementAt<uint64_t>(row + x, 0));
      for (; x < width; ++x) add(row[x]);
    }
  };
  add_rows(frame.Luma(), frame.height, frame.width);
  add_rows(frame.Chroma(), media::HalfUp(frame.height), 2 * media::HalfUp(frame.width));
  char text[17];
  std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(digest));
  return text;
}

void ApplyInput(const Json& in, Metadata* metadata) {
  for (const auto& [name, value] : in.items()) {
    const uint32_t id = IdOf(name);
    if (id == 0) continue;
    if (value.is_null()) {
      metadata->Remove(id);
    } else if (name == "brodax.quadcfa.enabled") {
      const auto byte = value.get<uint8_t>();
      metadata->Set(id, &byte, 1, 1);
    } else {
      metadata->SetWords(id, value.is_array() ? value.get<std::vector<int32_t>>()
                                              : std::vector<int32_t>{value.get<int32_t>()});
    }
  }
}

Json ReadInput(Metadata& metadata, const std::vector<media::Rect>& faces) {
  Json in;
  for (const auto& [name, form] : Form()["request"]["in"].items()) {
    const bool is_byte = form == "0..255";
    in[name] = TagValue(metadata.Find(IdOf(name)), is_byte ? ChiTagType::kByte : ChiTagType::kInt32,
                        form.is_array() ? 0 : 1);
  }
  in["faces"] = Json::array();
  for (const media::Rect& face : faces) in["faces"].push_back({face.x, face.y, face.w, face.h});
  return in;
}

Json ReadOutput(const Metadata& metadata) {
  const VendorTags& tags = Framework::Get().Tags();
  Json record = Json::object(), others = Json::object();
  for (const Metadata::Value& value : metadata.Values()) {
    std::string name;
    ChiTagType type = ChiTagType::kByte;
    uint32_t count = 0;
    if (!value.present || !tags.Name(value.tag, &name, &type, &count)) continue;
    if (name == "brodax.faceAnalyzeResult.result") {
      record = RecordFields(value);
    } else {
      others[name] = TagValue(&value, type, count);
    }
  }
  record.update(others);
  return record;
}

void HeldInput::Change(const Json& in) {
  for (const auto& [name, value] : in.items()) {
    if (name != "faces") tags_[name] = value;
  }
  const auto faces = in.find("faces");
  if (in.contains(kFaceRectanglesName) || faces == in.end()) return;
  tags_.erase(kFaceRectanglesName);
  faces_.reset();
  if (faces->is_null()) {
    tags_[kFaceRectanglesName] = nullptr;
    return;
  }
  faces_.emplace();
  for (const Json& face : *faces) faces_->push_back({face[0], face[1], face[2], face[3]});
}

}  // namespace framework
