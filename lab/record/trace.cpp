// SPDX-License-Identifier: Apache-2.0
#include "record/trace.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string>

#include "record/json.h"
#include "record/json_lines.h"

namespace record {
namespace {

constexpr int kRequestThread = 1;

int ThreadOf(int worker) { return kRequestThread + worker; }

// Returns the last microsecond of a slice, which has at least one to be visible.
int64_t LastOf(Span time) { return time.at + std::max<int64_t>(time.took, 1) - 1; }

const char* ReasonOf(Outcome outcome) {
  if (outcome == Outcome::kSkipped) return "the worker considers one offer in four";
  if (outcome == Outcome::kDropped) return "the worker is busy, or cannot take the frame";
  return nullptr;
}

// Writes events immediately.
class Trace : public RunListener {
 public:
  explicit Trace(std::FILE* to) : to_(to) {}
  void Begin(const RunHeader& header) override;
  common::Failure OnRequest(const RequestRecord& request, const media::Nv12Frame& picture) override;
  void OnPass(const PassRecord& pass) override;
  common::Failure Finish(const Summary& summary) override;

 private:
  void Event(const char* phase, int thread, int64_t at, const std::string& name, const Json& more);
  void Slice(int thread, Span time, const std::string& name, const Json& arguments);
  void Arrow(int from_thread, int64_t from, int to_thread, int64_t to, const char* name);
  void Name(const char* what, int thread, const std::string& name);

  std::FILE* const to_;
  std::string header_;
  bool is_first_ = true;
  int arrows_ = 0;
  int workers_ = 0;
  struct End {
    int worker;
    int64_t at;
  };
  std::map<int64_t, End> unseen_;  // of passes whose figures no record has had yet, by request
};

void Trace::Begin(const RunHeader& header) {
  header_ = LineOf(header);
  std::fputs("{\"traceEvents\":[\n", to_);
  Name("process_name", kRequestThread, header.program);
  Name("thread_name", kRequestThread, "requests");
}

void Trace::Event(const char* phase, int thread, int64_t at, const std::string& name,
                  const Json& more) {
  Json event = {{"ph", phase}, {"pid", 1}, {"tid", thread}, {"ts", at}, {"name", name}};
  event.update(more);
  std::fputs(((is_first_ ? "" : ",\n") + TextOf(event)).c_str(), to_);
  is_first_ = false;
}

void Trace::Slice(int thread, Span time, const std::string& name, const Json& arguments) {
  Event("X", thread, time.at, name, {{"dur", LastOf(time) + 1 - time.at}, {"args", arguments}});
}

void Trace::Arrow(int from_thread, int64_t from, int to_thread, int64_t to, const char* name) {
  Json id = {{"cat", "flow"}, {"id", ++arrows_}};
  Event("s", from_thread, from, name, id);
  id["bp"] = "e";
  Event("f", to_thread, to, name, id);
}

void Trace::Name(const char* what, int thread, const std::string& name) {
  Event("M", thread, 0, what, {{"args", {{"name", name}}}});
}

common::Failure Trace::OnRequest(const RequestRecord& request, const media::Nv12Frame&) {
  const std::string outcome = NameOf(request.outcome);
  const int64_t at = request.time.at;
  Slice(kRequestThread, request.time, "request " + std::to_string(request.number),
        {{"outcome", outcome}, {"out", OutOf(request)}, {"why", WhyOf(request)}});
  if (const char* reason = ReasonOf(request.outcome)) {
    Event("i", kRequestThread, at, outcome, {{"s", "t"}, {"args", {{"reason", reason}}}});
  }
  const auto count = [&](const char* name, const Json& value) {
    Event("C", kRequestThread, at, name, {{"args", {{"value", value}}}});
  };
  count("faces", request.faces.size());
  if (!request.figures_age) return std::nullopt;
  count("age of figures", *request.figures_age);
  const auto shown = unseen_.find(request.number - *request.figures_age);
  if (shown == unseen_.end()) return std::nullopt;
  // A pass may end while the request already runs, before the node reads the figures.
  const int64_t from = std::min(shown->second.at, LastOf(request.time));
  Arrow(ThreadOf(shown->second.worker), from, kRequestThread, std::max(at, from), "figures");
  unseen_.erase(unseen_.begin(), std::next(shown));
  return std::nullopt;
}

void Trace::OnPass(const PassRecord& pass) {
  const int thread = ThreadOf(pass.worker);
  for (; workers_ < pass.worker; ++workers_) {
    Name("thread_name", ThreadOf(workers_ + 1), "worker " + std::to_string(workers_ + 1));
  }
  Slice(thread, pass.time, "pass over " + std::to_string(pass.request), Json::object());
  for (const ModelCall& call : pass.calls) {
    Slice(thread, call.time, NameOf(call.model), {{"face", ListOf(call.face)}});
  }
  Arrow(kRequestThread, LastOf(pass.handed_over), thread, pass.time.at, "frame");
  unseen_[pass.request] = {pass.worker, LastOf(pass.time)};
}

common::Failure Trace::Finish(const Summary&) {
  std::fprintf(to_, "\n],\n\"metadata\":%s}\n", header_.c_str());
  return std::nullopt;
}

}  // namespace

std::unique_ptr<RunListener> MakeTrace(std::FILE* to) { return std::make_unique<Trace>(to); }

}  // namespace record
