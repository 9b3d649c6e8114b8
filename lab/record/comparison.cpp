// SPDX-License-Identifier: Apache-2.0
#include "record/comparison.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>

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
  Returned returned = {request.number, request.digest, request.out.values};
  returned.values.push_back({"outcome", false, {NameOf(request.outcome)}});
  NamedValues& why = returned.values.emplace_back(NamedValues{"why", true, {}});
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    const std::string text = request.WhyText(slot);
    why.values.push_back(text.empty() ? Value() : text);
  }
  return returned;
}

void Comparison::Add(const Returned* run, const Returned* other) {
  const int64_t number = (run != nullptr ? run : other)->number;
  if (run == nullptr || other == nullptr) {
    const std::string& lacks = run == nullptr ? options_.run : options_.other;
    return AddDifference(number, "missing in " + lacks);
  }
  if (!run->digest.empty() && !other->digest.empty() && run->digest != other->digest) {
    if (++other_pixels_ == 1) first_other_pixels_ = number;
  }
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

std::string Comparison::Text() const {
  std::string text;
  if (other_pixels_ != 0) {
    text = Counted(other_pixels_, "request") + " with other pixels than " + options_.other_name +
           ", the first is " + std::to_string(first_other_pixels_) + "\n";
  }
  return text + lines_ + Counted(count_, "difference") + "\n";
}

}  // namespace record
