// SPDX-License-Identifier: Apache-2.0
#include "record/comparison.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>

#include "common/digest.h"
#include "common/escape.h"
#include "record/json_lines.h"

namespace record {
namespace {

using Flat = std::vector<std::pair<std::string, Value>>;

// Names single values, such as "slot 1 age". Every list has one value per slot, except tags other
// than the record's.
Flat Flatten(const std::vector<NamedValues>& values) {
  Flat flat;
  for (const NamedValues& named : values) {
    const bool is_tag = named.name.find('.') != std::string::npos;
    for (std::size_t i = 0; i < named.values.size(); ++i) {
      const std::string at = std::to_string(i);
      flat.emplace_back(!named.is_list ? named.name
                        : is_tag       ? named.name + "[" + at + "]"
                                       : "slot " + at + " " + named.name,
                        named.values[i]);
    }
  }
  return flat;
}

// The values by their names; the first of equal names.
using ByName = std::map<std::string_view, const Value*>;
ByName IndexOf(const Flat& values) {
  ByName index;
  for (const auto& [name, value] : values) index.emplace(name, &value);
  return index;
}

// Compares figures as floats, however many digits the file has.
bool AreEqual(const Value& a, const Value& b, double tolerance) {
  const double* const x = std::get_if<double>(&a);
  const double* const y = std::get_if<double>(&b);
  if (x == nullptr || y == nullptr) return a == b;
  return static_cast<float>(*x) == static_cast<float>(*y) || std::abs(*x - *y) <= tolerance;
}

std::string TextOrNone(const Value& value) {
  return std::holds_alternative<std::monostate>(value) ? "none" : TextOf(value);
}

std::string Counted(std::size_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace

Returned ReturnedWith(const RequestRecord& request) {
  Returned returned = {request.number, request.digest, request.out.values, {}, request.faces};
  returned.values.push_back({"outcome", false, {NameOf(request.outcome)}});
  returned.values.push_back({"why", true, request.WhyValues()});
  ForEachTag([](const char*, const auto& value, auto& in) { in = value; }, request.in, returned.in);
  return returned;
}

void Comparison::Add(const Returned* run, const Returned* other) {
  const int64_t number = (run != nullptr ? run : other)->number;
  if (run == nullptr || other == nullptr) {
    const std::string& lacks = run == nullptr ? options_.run : options_.other;
    return AddDifference(number, "missing in " + lacks);
  }
  const auto compare_input = [this, number](const char* name, const auto& mine,
                                            const auto& theirs) {
    if (mine && theirs && mine != theirs) NoteInput(name, number);
  };
  if (run->digest != other->digest && !run->digest.empty() && !other->digest.empty()) {
    NoteInput("pixels", number);
  }
  ForEachTag(compare_input, run->in, other->in);
  compare_input("faces", run->faces, other->faces);
  const Flat mine = Flatten(run->values), others = Flatten(other->values);
  const auto compare = [&](const std::string& name, const Value& a, const Value& b) {
    if (AreEqual(a, b, options_.tolerance)) return;
    AddDifference(number,
                  name + " " + TextOrNone(a) + ", " + options_.other_name + " " + TextOrNone(b));
  };
  const ByName my_index = IndexOf(mine), their_index = IndexOf(others);
  for (const auto& [name, value] : mine) {
    const auto theirs = their_index.find(name);
    compare(name, value, theirs != their_index.end() ? *theirs->second : Value());
  }
  for (const auto& [name, value] : others) {
    if (my_index.count(name) == 0) compare(name, Value(), value);
  }
}

void Comparison::AddDifference(int64_t number, const std::string& text) {
  if (++count_ > options_.limit) return;
  lines_ += "request " + std::to_string(number) + ": " + common::Escaped(text) + "\n";
}

void Comparison::NoteInput(const std::string& name, int64_t number) {
  const auto is_it = [&name](const OtherInput& input) { return input.name == name; };
  auto found = std::find_if(other_inputs_.begin(), other_inputs_.end(), is_it);
  if (found == other_inputs_.end()) found = other_inputs_.insert(found, {name, number});
  ++found->count;
}

void Comparison::AddHeaders(const RunHeader& run, const RunHeader& other) {
  if (run.build_id != other.build_id && !run.build_id.empty() && !other.build_id.empty()) {
    headers_.push_back("another node than in " + options_.other + ": build " + run.build_id +
                       ", not " + other.build_id);
  }
  const std::map<std::string, std::string> theirs(other.device.begin(), other.device.end());
  std::string libraries;
  for (const auto& [name, path] : run.device) {
    const auto found = theirs.find(name);
    if (found != theirs.end() && found->second != path) libraries += " " + path;
  }
  if (libraries.empty()) return;
  headers_.push_back("other device libraries than in " + options_.other + ":" + libraries);
}

void Comparison::AddEvent(bool is_other, int64_t request, const Event& event) {
  const std::string text = std::to_string(request) + LineOf(event);
  uint64_t& digest = events_[is_other ? 1 : 0][event.kind];
  digest = common::Digest(reinterpret_cast<const uint8_t*>(text.data()), text.size(), digest);
}

std::vector<std::string> Comparison::Inputs() const {
  const std::string than = " than in " + options_.other;
  constexpr const char* kEvents[kEventKinds] = {"restarts", "device settings", "properties"};
  std::vector<std::string> lines = headers_;
  for (std::size_t kind = 0; kind < kEventKinds; ++kind) {
    if (events_[0][kind] != events_[1][kind]) lines.push_back("other " + (kEvents[kind] + than));
  }
  for (const OtherInput& input : other_inputs_) {
    lines.push_back(Counted(input.count, "request") + " with other " + input.name + than +
                    ", the first is " + std::to_string(input.first));
  }
  return lines;
}

std::string Comparison::Text() const {
  const std::vector<std::string> inputs = Inputs();
  std::string text;
  for (const std::string& line : inputs) text += common::Escaped(line) + "\n";
  return text + lines_ + Counted(count_, "difference") +
         (inputs.empty() ? "\n" : ", with other inputs\n");
}

}  // namespace record
