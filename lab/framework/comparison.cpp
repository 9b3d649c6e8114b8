// SPDX-License-Identifier: Apache-2.0
#include "framework/comparison.h"

#include <cmath>

namespace framework {
namespace {

// What came back with a request, every value by its path: "/age/1", "/outcome".
Json Returned(const Json& request) {
  Json returned = request.value("out", Json::object());
  returned["outcome"] = request.value("outcome", Json());
  returned["why"] = request.value("why", Json());
  return returned.flatten();
}

// "/age/1" becomes "slot 1 age": every list of a request but those of other tags has a slot each.
std::string NameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string list = slash == 0 ? "" : path.substr(1, slash - 1);
  if (list.empty()) return path.substr(1);
  const std::string element = path.substr(slash + 1);
  return list.find('.') == list.npos ? "slot " + element + " " + list : list + "[" + element + "]";
}

std::string TextOf(const Json& value) {
  if (value.is_null()) return "none";
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// Figures are floats, however many digits the file has.
bool AreEqual(const Json& a, const Json& b, double tolerance) {
  if (!a.is_number_float() || !b.is_number_float()) return a == b;
  return a.get<float>() == b.get<float>() ||
         std::abs(a.get<double>() - b.get<double>()) <= tolerance;
}

std::string Counted(std::size_t count, const std::string& thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

const Json* NextRequest(const Recording& recording, std::size_t* at) {
  const auto& steps = recording.steps;
  while (*at < steps.size() && !steps[*at].IsRequest()) ++*at;
  return *at < steps.size() ? &steps[*at].json : nullptr;
}

}  // namespace

void Comparison::Add(const Json* run, const Json* other) {
  const Json number = (run != nullptr ? *run : *other)["request"];
  if (run == nullptr || other == nullptr) {
    const auto text = [](const Json* request) { return request != nullptr ? "sent" : "missing"; };
    return AddDifference(number, "is", text(run), text(other));
  }
  const auto digest_of = [](const Json& request) {
    return request.value("frame", Json::object()).value("digest", Json());
  };
  const Json digest = digest_of(*run), other_digest = digest_of(*other);
  if (!digest.is_null() && !other_digest.is_null() && digest != other_digest) {
    if (++other_pixels_ == 1) first_other_pixels_ = number;
  }
  const Json mine = Returned(*run), others = Returned(*other);
  Json paths = mine;
  paths.update(others);
  for (const auto& [path, unused] : paths.items()) {
    const Json a = mine.value(path, Json()), b = others.value(path, Json());
    if (!AreEqual(a, b, options_.tolerance)) AddDifference(number, NameOf(path), a, b);
  }
}

void Comparison::AddDifference(const Json& number, const std::string& name, const Json& run,
                               const Json& other) {
  if (++count_ > options_.limit) return;
  lines_ += "request " + number.dump() + ": " + name + " " + TextOf(run) + ", " +
            options_.other_name + " " + TextOf(other) + "\n";
}

std::string Comparison::Text() const {
  std::string text;
  if (other_pixels_ != 0) {
    text = Counted(other_pixels_, "request") + " with other pixels than " + options_.other_name +
           ", the first is " + first_other_pixels_.dump() + "\n";
  }
  return text + lines_ + Counted(count_, "difference") + "\n";
}

void CompareRecordings(const Recording& run, const Recording& other, Comparison* comparison) {
  for (std::size_t i = 0, j = 0;;) {
    const Json* a = NextRequest(run, &i);
    const Json* b = NextRequest(other, &j);
    if (a == nullptr && b == nullptr) return;
    if (a != nullptr && b != nullptr && (*a)["request"] != (*b)["request"]) {
      ((*a)["request"] < (*b)["request"] ? b : a) = nullptr;
    }
    comparison->Add(a, b);
    i += a != nullptr ? 1 : 0;
    j += b != nullptr ? 1 : 0;
  }
}

}  // namespace framework
