// SPDX-License-Identifier: Apache-2.0
// For this folder alone: the JSON of a recording's lines.
#ifndef ZY_RECORD_JSON_H_
#define ZY_RECORD_JSON_H_

#include <nlohmann/json.hpp>
#include <string>

#include "record/request_record.h"

namespace record {

// Keeps the order of keys, so that equal runs give equal texts.
using Json = nlohmann::ordered_json;

inline std::string TextOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

inline Json ListOf(const common::Rect& rect) { return {rect.x, rect.y, rect.w, rect.h}; }
// Returns the values of "out" and "why" of a request's line.
Json OutOf(const RequestRecord& request);
Json WhyOf(const RequestRecord& request);

// Calls visit(key, member) for each key of a header except its version.
template <typename Header, typename Visit>
void ForEachKey(Header& header, const Visit& visit) {
  visit("program", header.program);
  visit("node", header.node);
  visit("build_id", header.build_id);
  visit("device", header.device);
  visit("input", header.input);
  visit("size", header.size);
  visit("raw", header.raw);
  visit("stride", header.stride);
  visit("upright", header.upright);
  visit("buffer", header.buffer);
  visit("node_caps", header.node_caps);
  visit("realtime", header.realtime);
  visit("fps", header.fps);
  visit("models", header.models);
  visit("command", header.command);
  visit("crop", header.crop);
}

}  // namespace record

#endif  // ZY_RECORD_JSON_H_
