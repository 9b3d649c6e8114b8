// SPDX-License-Identifier: Apache-2.0
#include "camsim/pass_watch.h"

#include <algorithm>
#include <utility>

namespace camsim {

using record::ModelCall;
using record::PassRecord;
using record::Span;

void PassWatch::Told(const char* model, const ZyModelCall& call) {
  const int64_t now = clock_.Now();
  ++told_;
  std::lock_guard<std::mutex> lock(mutex_);
  const common::Rect face = {call.left, call.top, call.right - call.left, call.bottom - call.top};
  calls_.push_back({model, {now, 0}, face});
  if (!keeps_pictures_ || calls_.size() != 1) return;
  seen_ = media::MakePicture(call.width, call.height);
  for (std::size_t i = 0; i < seen_.rgb.size(); ++i) seen_.rgb[i] = call.rgb[i / 3 * 3 + 2 - i % 3];
}

void PassWatch::HandOver(const record::RequestRecord& request) {
  const Span time = request.time;
  pending_ = PassRecord{request.number, time, worker_, {time.at + time.took, 0}, {}, {}};
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

Span EvenTime(int64_t request, double fps) {
  const double period = 1e6 / fps;
  return {static_cast<int64_t>(static_cast<double>(request - 1) * period),
          static_cast<int64_t>(period / 5)};
}

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

}  // namespace camsim
