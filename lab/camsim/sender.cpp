// SPDX-License-Identifier: Apache-2.0
#include "camsim/sender.h"

#include <chrono>

#include "framework/worker_watch.h"

namespace camsim {
namespace {

// A pass that never ends ends the program.
constexpr std::chrono::hours kEver{24 * 365};

}  // namespace

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
