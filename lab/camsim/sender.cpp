// SPDX-License-Identifier: Apache-2.0
#include "camsim/sender.h"

#include <time.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "common/interrupts.h"
#include "framework/worker_watch.h"

namespace camsim {
namespace {

// A pass that never ends ends the program.
constexpr std::chrono::hours kEver{24 * 365};

// Returns the synthetic time of a request for runs that are not paced.
record::Span EvenTime(int64_t request, double fps) {
  const double period = 1e6 / fps;
  return {static_cast<int64_t>(static_cast<double>(request - 1) * period),
          static_cast<int64_t>(period / 5)};
}

}  // namespace

Pace::Pace(double requests_a_second)
    : rate_(requests_a_second), period_(static_cast<int64_t>(1e9 / requests_a_second)) {}

void Pace::AwaitNext() {
  if (sent_ == 0) first_ = std::chrono::steady_clock::now();
  const Time due = first_ + sent_ * period_;
  const int64_t at = due.time_since_epoch() / std::chrono::nanoseconds(1);
  const timespec until = {static_cast<time_t>(at / 1'000'000'000),
                          static_cast<long>(at % 1'000'000'000)};
  while (!common::Interrupted() &&
         clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
  // After an interrupt the request is sent but does not count for the rate.
  if (common::Interrupted()) return;
  last_ = std::chrono::steady_clock::now();
  late_ += last_ > due + period_ / 2;
  ++sent_;
}

std::string Pace::Text() {
  if (took_us_.empty()) return "";
  std::sort(took_us_.begin(), took_us_.end());
  const auto at = [this](std::size_t percent) {
    return static_cast<double>(took_us_[(took_us_.size() - 1) * percent / 100]) / 1000.0;
  };
  const double seconds = std::chrono::duration<double>(last_ - first_).count();
  const double reached = sent_ > 1 && seconds > 0 ? (sent_ - 1) / seconds : rate_;
  char line[256];
  std::snprintf(line, sizeof(line),
                "%.1f requests a second asked, %.1f reached; %d late by more than half a period; a "
                "request took %.2f ms in the median, %.2f ms at the 99th percentile",
                rate_, reached, late_, at(50), at(99));
  return line;
}

Sender::Sender(const Options& options, const Clock& clock, const PassWatch& passes,
               framework::OutcomeWatch* outcomes)
    : options_(options), clock_(clock), passes_(passes), outcomes_(outcomes), pace_(options.fps) {}

common::Failure Sender::Start(Size buffer) {
  output_frame_.width = buffer.width;
  output_frame_.height = buffer.height;
  if (common::Failure failure =
          session_.Create(options_.node_caps, static_cast<uint32_t>(output_frame_.width),
                          static_cast<uint32_t>(output_frame_.height))) {
    return failure;
  }
  session_.PostPipelineCreate();
  AwaitWorker();
  return std::nullopt;
}

void Sender::AwaitWorker() const {
  if (!options_.realtime) framework::WaitForIdleWorkers(kEver);
}

// Counts signs of work of any node: signals that wake workers and, if each pass is awaited, model
// calls.
uint64_t Sender::CountWakes() const {
  return framework::CountWorkers().signals + (options_.realtime ? 0 : passes_.Calls());
}

void Sender::AwaitTurn() {
  if (options_.realtime) pace_.AwaitNext();
}

common::Failure Sender::Send(const framework::DeviceState& tags, media::Nv12Frame* frame,
                             record::RequestRecord* request) {
  framework::SetInput(tags, &session_.Input());
  framework::CameraBuffer input(frame);
  framework::CameraBuffer output(&output_frame_);
  request->time = EvenTime(request->number, options_.fps);
  // The worker might finish before the node collects the results. Holding its signals makes the
  // order independent of the machine.
  const uint64_t wakes = CountWakes();
  framework::HoldSignals(!options_.realtime);
  const int64_t at = clock_.Now();
  const common::Failure failure =
      session_.Process(static_cast<uint64_t>(request->number), &input, &output);
  const int64_t took = clock_.Now() - at;
  framework::HoldSignals(false);
  if (failure) return failure;
  if (options_.realtime) {
    request->time = {at, took};
    pace_.Note(took);
  }
  AwaitWorker();
  request->outcome = outcomes_->Take(CountWakes() != wakes);
  request->digest = media::PixelDigest(*frame);
  request->in = framework::ReadInput(session_.Input());
  request->out = record::ReadOutput(session_.Output());
  return std::nullopt;
}

}  // namespace camsim
