// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_RUN_H_
#define ZY_APPS_CAMSIM_RUN_H_

#include <memory>

#include "apps/camsim/log_watch.h"
#include "apps/camsim/options.h"
#include "apps/camsim/outputs.h"
#include "apps/camsim/pace.h"
#include "apps/camsim/progress.h"
#include "apps/camsim/report.h"
#include "framework/device.h"
#include "framework/framework.h"
#include "pictures/error.h"
#include "pictures/frame_source.h"
#include "pictures/nv12.h"

namespace camsim {

// One run: opens the input and the outputs, starts the node, sends requests until the input, the
// number asked for or an interrupt ends them, and tells what came back. One thread.
class Run {
 public:
  explicit Run(const Options& options);

  // Returns what the program ends with; a failure has been said.
  int Go();

 private:
  int Say(const pictures::Failure& failure, int exit_code);

  pictures::Failure CheckFaces() const;
  pictures::Failure SetUpDevice();
  pictures::Failure SetProperty(const char* option, const std::string& name,
                                const std::string& value) const;
  // Calls a knob for an option; fails when its library has none.
  template <typename Knob, typename... Values>
  pictures::Failure SetKnob(const char* option, const char* library, const char* name,
                            Values... values) const {
    Knob* knob = nullptr;
    pictures::Failure failure = device_.FindKnob(library, name, &knob);
    if (failure) return pictures::FailAbout(option, failure);
    knob(values...);
    return std::nullopt;
  }
  pictures::Failure StartNode();
  pictures::Failure AwaitWorker() const;

  int SendRequests();
  bool WantsMore() const;
  pictures::Failure SendRequest(RequestReport* report);
  pictures::Failure Report(const RequestReport& report);
  void KeepForPicture(const RequestReport& report);

  pictures::Failure Finish();
  void PrintNotHandedOver() const;

  const Options& options_;
  Progress progress_;
  LogWatch log_;
  Outputs outputs_;
  Pace pace_;
  int requests_ = 0;  // 0 is until the input ends
  std::unique_ptr<pictures::FrameSource> source_;
  pictures::Nv12Frame frame_;
  pictures::Nv12Frame output_frame_;
  framework::Device device_;
  framework::Session session_;
  Summary summary_;
  RequestReport last_report_;
  RequestReport picture_report_;
  pictures::Nv12Frame picture_frame_;
  int picture_rank_ = -1;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_RUN_H_
