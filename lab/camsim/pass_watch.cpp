// SPDX-License-Identifier: Apache-2.0
#include "camsim/pass_watch.h"

#include <algorithm>
#include <map>
#include <utility>

namespace camsim {

using record::ModelCall;
using record::PassRecord;
using record::Span;

namespace {

// Assigns slots to calls: each model gets the faces of the slots in order.
void SetSlots(PassRecord* pass) {
  std::map<record::Model, std::size_t> seen;
  for (ModelCall& call : pass->calls) {
    const std::size_t index = seen[call.model]++;
    if (index < pass->slots.size()) call.slot = pass->slots[index];
  }
}

// Puts a pass between two requests.
void SetEvenTimes(PassRecord* pass) {
  const int64_t fifth = pass->handed_over.took;
  pass->time = {pass->handed_over.at + 2 * fifth, 2 * fifth};
  const auto count = static_cast<int64_t>(pass->calls.size());
  int64_t at = pass->time.at;
  for (ModelCall& call : pass->calls) {
    call.time = {at, pass->time.took / count};
    at += call.time.took;
  }
}

}  // namespace

void PassWatch::OnCall(record::Model model, const ZyModelCall& call) {
  const int64_t now = clock_.Now();
  ++call_count_;
  std::lock_guard<std::mutex> lock(mutex_);
  const common::Rect face = {call.left, call.top, call.right - call.left, call.bottom - call.top};
  const float* const answer = call.answer;
  calls_.push_back({model, {now, 0}, face, {answer[0], answer[1], answer[2], answer[3]}, {}});
  if (!keeps_pictures_ || calls_.size() != 1) return;
  seen_ = media::MakePicture(call.width, call.height);
  for (std::size_t i = 0; i < seen_.rgb.size(); ++i) seen_.rgb[i] = call.rgb[i / 3 * 3 + 2 - i % 3];
}

void PassWatch::HandOver(const record::RequestRecord& request, std::vector<int> slots) {
  const Span time = request.time;
  const Span pass = {time.at + time.took, 0};
  pending_ = PassRecord{request.number, time, worker_, pass, std::move(slots), {}, {}};
}

void PassWatch::EndPipeline() {
  TakeEnded();
  analysed_ = 0;
  ++worker_;
}

std::optional<PassRecord> PassWatch::TakeEnded() {
  if (!pending_) return std::nullopt;
  PassRecord pass = *std::exchange(pending_, std::nullopt);
  analysed_ = pass.request;
  std::lock_guard<std::mutex> lock(mutex_);
  pass.calls = std::exchange(calls_, {});
  pass.seen = std::exchange(seen_, {});
  SetSlots(&pass);
  int64_t begin = pass.time.at;
  for (ModelCall& call : pass.calls) {
    const int64_t end = std::max(begin, call.time.at);
    call.time = {begin, end - begin};
    begin = end;
  }
  pass.time.took = (pass.calls.empty() ? clock_.Now() : begin) - pass.time.at;
  if (!is_timed_) SetEvenTimes(&pass);
  return pass;
}

}  // namespace camsim
