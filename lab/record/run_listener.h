// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_RECORD_RUN_LISTENER_H_
#define ZY_RECORD_RUN_LISTENER_H_

#include "common/failure.h"
#include "media/nv12.h"
#include "record/request_record.h"

namespace record {

// Shows, stores or compares a run: each output is one. Called on the request thread, in the order
// of events. A failure ends the run.
class RunListener {
 public:
  virtual ~RunListener() = default;
  virtual void Begin(const RunHeader&) {}
  virtual void OnEvent(const Event&) {}
  // `picture` is the upright frame, not turned for the sensor.
  virtual common::Failure OnRequest(const RequestRecord& request,
                                    const media::Nv12Frame& picture) = 0;
  // Follows the request whose frame the pass analysed.
  virtual void OnPass(const PassRecord&) {}
  // Ends the run; not called for a run without requests.
  virtual common::Failure Finish(const Summary&) { return std::nullopt; }
};

}  // namespace record

#endif  // ZY_RECORD_RUN_LISTENER_H_
