// SPDX-License-Identifier: Apache-2.0
#include "camsim/recorder.h"

#include <utility>

namespace camsim {
namespace {

using framework::Json;

// In the order of the recording's keys.
Json JsonOf(const RequestReport& report, Json in, Json out) {
  Json json;
  json["request"] = report.frame_number;
  json["frame"] = {{"index", report.frame_index}, {"digest", report.digest}};
  json["in"] = std::move(in);
  json["out"] = std::move(out);
  json["outcome"] = NameOf(report.outcome);
  for (const SlotWhy why : report.why) {
    const std::string text = TextOf(why);
    json["why"].push_back(text.empty() ? Json() : Json(text));
  }
  json["figures_age"] = report.figures_age ? Json(*report.figures_age) : Json();
  return json;
}

}  // namespace

Recorder::Recorder(const Options& options, Outputs* outputs)
    : options_(options),
      outputs_(outputs),
      passes_(!options.report.empty()),
      comparison_({options.tolerance, options.differences, "recorded"}) {}

bool Recorder::Wants() const {
  return !options_.jsonl.empty() || !options_.replay.empty() || trace_ || page_;
}

void Recorder::Begin(const Json& header) {
  header_ = header;
  outputs_->WriteJson(framework::LineOf(header));
  if (outputs_->TraceFile() != nullptr) trace_.emplace(outputs_->TraceFile());
  if (!options_.report.empty()) page_.emplace();
}

void Recorder::AddEvent(const Json& event) { outputs_->WriteJson(framework::LineOf(event)); }

void Recorder::AddRequest(const RequestReport& report, Json in, Json out,
                          const media::Nv12Frame& frame, const Json* recorded) {
  const auto number = static_cast<int64_t>(report.frame_number);
  const Span time = report.time ? *report.time : EvenTime(number, options_.fps);
  if (Wants()) {
    Json json = JsonOf(report, std::move(in), std::move(out));
    if (report.time) json.update({{"at_us", time.at}, {"took_us", time.took}});
    outputs_->WriteJson(framework::LineOf(json));
    if (recorded != nullptr) comparison_.Add(&json, recorded);
    if (trace_) trace_->AddRequest(json, time);
    if (page_) page_->AddRequest(json, time);
  }
  if (report.outcome != Outcome::kTaken) return;
  if (passes_.IsPending()) EndPass();
  passes_.HandOver(number, time, worker_);
  if (page_) handed_over_ = DrawFaces(frame, report.faces);
}

int64_t Recorder::EndPass() {
  Pass pass = passes_.TakeEnded();
  const int64_t request = pass.request;
  if (!options_.realtime) SetEvenTimes(options_.fps, &pass);
  if (trace_) trace_->AddPass(pass);
  if (page_) page_->AddPass(std::move(pass), handed_over_);
  return request;
}

void Recorder::EndPipeline() {
  if (passes_.IsPending()) passes_.TakeEnded();
  ++worker_;
}

void Recorder::Finish(const std::string& summary) {
  if (trace_) trace_->Finish();
  if (page_) outputs_->WriteReport(page_->Html(header_, summary));
  if (!options_.replay.empty()) std::fputs(comparison_.Text().c_str(), outputs_->Text());
}

}  // namespace camsim
