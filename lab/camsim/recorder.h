// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_RECORDER_H_
#define ZY_APPS_CAMSIM_RECORDER_H_

#include <cstdint>
#include <optional>
#include <string>

#include "camsim/options.h"
#include "camsim/outputs.h"
#include "camsim/page.h"
#include "camsim/pass_watch.h"
#include "camsim/report.h"
#include "camsim/trace.h"
#include "framework/comparison.h"
#include "framework/recording.h"
#include "media/nv12.h"

namespace camsim {

// Writes a run down: JSON lines, a trace, a page; and compares it with a recording. Request thread.
class Recorder {
 public:
  Recorder(const Options& options, Outputs* outputs);

  // Whether anybody looks at what was sent and published; else AddRequest needs neither.
  bool Wants() const;
  PassWatch& Passes() { return passes_; }
  // Begins with the header's line, once the outputs are open.
  void Begin(const framework::Json& header);
  void AddEvent(const framework::Json& event);
  // A request with what it carried and what came back. `recorded` is the same request of the run to
  // compare with, null for none.
  void AddRequest(const RequestReport& report, framework::Json in, framework::Json out,
                  const media::Nv12Frame& frame, const framework::Json* recorded);
  // A request of that run that was not sent.
  void AddMissing(const framework::Json& recorded) { comparison_.Add(nullptr, &recorded); }
  // The pass that is pending has ended. Returns the request whose frame it looked at.
  int64_t EndPass();
  // The node is destroyed, whatever its worker did.
  void EndPipeline();
  // Writes the page, and prints the comparison. `summary` is what it says of the run.
  void Finish(const std::string& summary);
  std::size_t Differences() const { return comparison_.Count(); }

 private:
  const Options& options_;
  Outputs* const outputs_;
  PassWatch passes_;
  framework::Comparison comparison_;
  framework::Json header_;
  std::optional<Trace> trace_;
  std::optional<Page> page_;
  media::Picture handed_over_;  // for the page
  int worker_ = 1;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_RECORDER_H_
