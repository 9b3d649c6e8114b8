// SPDX-License-Identifier: Apache-2.0
// The values that a node published with a request.
#ifndef ZY_RECORD_PUBLISHED_H_
#define ZY_RECORD_PUBLISHED_H_

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "framework/own_node.h"

namespace record {

using framework::kSlots;

// An element of a tag as in a recording, or nothing. A figure is the number with the fewest digits
// that give the same float; "nan", "inf" and "-inf" are texts.
using Value = std::variant<std::monostate, int64_t, double, std::string>;
Value ValueOf(float figure);

struct NamedValues {
  std::string name;
  bool is_list;
  std::vector<Value> values;
};

struct Published {
  framework::ResultRecord result = {};  // all zero without a record
  std::vector<NamedValues> values;      // the record by its fields, then every other tag
};

// A figure of a record, one for each slot.
struct Figure {
  const char* name;
  float (framework::ResultRecord::*of)[kSlots];
};
inline constexpr Figure kFigures[] = {{"gender", &framework::ResultRecord::gender},
                                      {"age", &framework::ResultRecord::age},
                                      {"score", &framework::ResultRecord::score},
                                      {"prop", &framework::ResultRecord::prop}};

Published ReadOutput(const framework::Metadata& metadata);

}  // namespace record

#endif  // ZY_RECORD_PUBLISHED_H_
