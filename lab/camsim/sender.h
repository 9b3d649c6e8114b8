// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_CAMSIM_SENDER_H_
#define ZY_CAMSIM_SENDER_H_

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "camsim/options.h"
#include "camsim/pass_watch.h"
#include "common/failure.h"
#include "framework/framework.h"
#include "framework/own_node.h"
#include "media/nv12.h"
#include "record/request_record.h"

namespace camsim {

// Keeps the rate of requests and measures it. One thread.
class Pace {
 public:
  explicit Pace(double requests_a_second);

  // Sleeps until the next request is due; an interrupt of the program ends the sleep.
  void AwaitNext();
  // Records the microseconds that the node took for a request.
  void Note(int64_t took) { took_us_.push_back(took); }
  // Formats the result as a line; empty without requests.
  std::string Text();

 private:
  using Time = std::chrono::steady_clock::time_point;

  const double rate_;
  const std::chrono::nanoseconds period_;
  Time first_ = {};
  Time last_ = {};
  int sent_ = 0;
  int late_ = 0;
  std::vector<int64_t> took_us_;
};

// Sends requests to the node, through one pipeline after another, and collects the results. Unless
// in real time it awaits the worker each time, so that results depend on the input alone. One
// thread.
class Sender {
 public:
  Sender(const Options& options, const Clock& clock, const PassWatch& passes,
         framework::OutcomeWatch* outcomes);

  // Starts a pipeline with buffers of this size.
  common::Failure Start(Size buffer);
  bool HasStarted() const { return session_.node() != nullptr; }
  // Ends the pipeline, if there is one.
  common::Failure Stop() { return HasStarted() ? session_.Destroy() : std::nullopt; }

  // Waits until the next request is due.
  void AwaitTurn();
  // Sends a request by its number, with these tags. Adds its input and results to the record.
  common::Failure Send(const framework::DeviceState& tags, media::Nv12Frame* frame,
                       record::RequestRecord* request);
  // Returns how well the rate was kept; empty unless in real time.
  std::string Pacing() { return options_.realtime ? pace_.Text() : ""; }

 private:
  void AwaitWorker() const;
  uint64_t CountWakes() const;

  const Options& options_;
  const Clock& clock_;
  const PassWatch& passes_;
  framework::OutcomeWatch* const outcomes_;
  Pace pace_;
  media::Nv12Frame output_frame_;
  framework::Session session_;
};

}  // namespace camsim

#endif  // ZY_CAMSIM_SENDER_H_
