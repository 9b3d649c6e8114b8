// SPDX-License-Identifier: Apache-2.0
#include "record/published.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "common/escape.h"

namespace record {
namespace {

using framework::Metadata;

template <typename T>
T ElementAt(const uint8_t* bytes, std::size_t index) {
  T value;
  std::memcpy(&value, bytes + index * sizeof(T), sizeof(T));
  return value;
}

Value Element(ChiTagType type, const uint8_t* bytes, std::size_t index) {
  switch (type) {
    case ChiTagType::kByte:
      return int64_t{bytes[index]};
    case ChiTagType::kInt32:
      return int64_t{ElementAt<int32_t>(bytes, index)};
    case ChiTagType::kFloat:
      return ValueOf(ElementAt<float>(bytes, index));
    case ChiTagType::kInt64:
      return ElementAt<int64_t>(bytes, index);
  }
  return {};
}

std::vector<NamedValues> FieldsOf(const framework::ResultRecord& result) {
  std::vector<NamedValues> fields = {{"faceNum", false, {int64_t{result.face_count}}}};
  for (const Figure& figure : kFigures) {
    NamedValues& field = fields.emplace_back(NamedValues{figure.name, true, {}});
    for (const float value : result.*figure.of) field.values.push_back(ValueOf(value));
  }
  return fields;
}

}  // namespace

Value ValueOf(float figure) {
  if (std::isnan(figure)) return "nan";
  if (std::isinf(figure)) return figure > 0 ? "inf" : "-inf";
  char text[64] = {};
  std::to_chars(text, text + sizeof(text) - 1, figure);
  return std::strtod(text, nullptr);
}

Published ReadOutput(const Metadata& metadata) {
  const framework::VendorTags& tags = framework::Framework::Get().Tags();
  const uint32_t result = tags.Id("brodax.faceAnalyzeResult", "result");
  Published published;
  std::vector<NamedValues> record;
  for (const Metadata::Value& value : metadata.Values()) {
    const framework::VendorTags::Tag* const known = tags.Find(value.tag);
    if (!value.present || known == nullptr) continue;
    if (value.tag == result) {
      published.result = ElementAt<framework::ResultRecord>(value.bytes.data(), 0);
      record = FieldsOf(published.result);
      continue;
    }
    const std::string name = common::Escaped(known->FullName());  // a recording holds text
    NamedValues& tag = published.values.emplace_back(NamedValues{name, known->count != 1, {}});
    for (std::size_t i = 0; i < value.count; ++i) {
      tag.values.push_back(Element(known->type, value.bytes.data(), i));
    }
  }
  published.values.insert(published.values.begin(), record.begin(), record.end());
  return published;
}

}  // namespace record
