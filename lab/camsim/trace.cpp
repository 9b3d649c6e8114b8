// SPDX-License-Identifier: Apache-2.0
#include "camsim/trace.h"

#include <algorithm>

namespace camsim {
namespace {

constexpr int kRequestThread = 1;

int ThreadOf(const Pass& pass) { return kRequestThread + pass.worker; }

// The last microsecond inside a slice. None is without length: it would not be seen.
int64_t LastOf(Span time) { return time.at + std::max<int64_t>(time.took, 1) - 1; }

const char* ReasonOf(const std::string& outcome) {
  if (outcome == "skipped") return "the worker considers one offer in four";
  if (outcome == "dropped") return "the worker is busy, or cannot take the frame";
  return nullptr;
}

}  // namespace

Trace::Trace(std::FILE* to) : to_(to) {
  std::fputs("{\"traceEvents\":[\n", to_);
  NameThread(kRequestThread, "requests");
}

void Trace::Event(const char* phase, int thread, int64_t at, const std::string& name, Json more) {
  Json event = {{"ph", phase}, {"pid", 1}, {"tid", thread}, {"ts", at}, {"name", name}};
  event.update(more);
  std::fputs(((is_first_ ? "" : ",\n") + event.dump()).c_str(), to_);
  is_first_ = false;
}

void Trace::Slice(int thread, Span time, const std::string& name, const Json& arguments) {
  Event("X", thread, time.at, name, {{"dur", LastOf(time) + 1 - time.at}, {"args", arguments}});
}

void Trace::Arrow(int from_thread, int64_t from, int to_thread, int64_t to,
                  const std::string& name) {
  const Json id = {{"cat", "flow"}, {"id", ++arrows_}};
  Event("s", from_thread, from, name, id);
  Json end = id;
  end["bp"] = "e";
  Event("f", to_thread, to, name, end);
}

void Trace::NameThread(int thread, const std::string& name) {
  Event("M", thread, 0, "thread_name", {{"args", {{"name", name}}}});
}

void Trace::AddRequest(const framework::Json& request, Span time) {
  const auto number = request["request"].get<int64_t>();
  const auto outcome = request["outcome"].get<std::string>();
  Slice(kRequestThread, time, "request " + std::to_string(number),
        {{"outcome", outcome}, {"out", request["out"]}, {"why", request["why"]}});
  if (const char* reason = ReasonOf(outcome)) {
    Event("i", kRequestThread, time.at, outcome, {{"s", "t"}, {"args", {{"reason", reason}}}});
  }
  const auto count = [&](const char* name, const Json& value) {
    Event("C", kRequestThread, time.at, name, {{"args", {{"value", value}}}});
  };
  count("faces", request["in"]["faces"].size());
  const Json& age = request["figures_age"];
  if (age.is_null()) return;
  count("age of figures", age);
  const auto shown = unseen_.find(number - age.get<int64_t>());
  if (shown == unseen_.end()) return;
  const Pass& pass = shown->second;
  Arrow(ThreadOf(pass), LastOf(pass.time), kRequestThread, time.at, "figures");
  unseen_.erase(unseen_.begin(), std::next(shown));
}

void Trace::AddPass(const Pass& pass) {
  for (; workers_ < pass.worker; ++workers_) {
    NameThread(kRequestThread + workers_ + 1, "worker " + std::to_string(workers_ + 1));
  }
  Slice(ThreadOf(pass), pass.time, "pass over " + std::to_string(pass.request), Json::object());
  for (const ModelCall& call : pass.calls) {
    const media::Rect& face = call.face;
    Slice(ThreadOf(pass), call.time, call.model, {{"face", {face.x, face.y, face.w, face.h}}});
  }
  Arrow(kRequestThread, LastOf(pass.handed_over), ThreadOf(pass), pass.time.at, "frame");
  unseen_[pass.request] = {pass.request, {}, pass.worker, pass.time, {}, {}};
}

void Trace::Finish() { std::fputs("\n]}\n", to_); }

}  // namespace camsim
