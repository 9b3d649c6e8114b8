// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_APPS_CAMSIM_RUN_H_
#define ZY_APPS_CAMSIM_RUN_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "camsim/face_finder.h"
#include "camsim/log_watch.h"
#include "camsim/options.h"
#include "camsim/outputs.h"
#include "camsim/pace.h"
#include "camsim/progress.h"
#include "camsim/recorder.h"
#include "camsim/report.h"
#include "camsim/script.h"
#include "framework/device.h"
#include "framework/framework.h"
#include "media/error.h"
#include "media/frame_source.h"
#include "media/nv12.h"

namespace camsim {

// One run: opens the input and the outputs, starts the node, sends requests until the input, the
// number asked for or an interrupt ends them, and tells what came back. One thread.
class Run {
 public:
  explicit Run(const Options& options);

  // Returns what the program ends with; a failure has been said.
  int Go();

 private:
  int Say(const media::Failure& failure, int exit_code);

  media::Failure ReadScript();
  // Whether the device can do what the script asks of it.
  media::Failure TryScript() const;
  media::Failure PlayScript(int64_t number);
  media::Failure ApplyEvent(const framework::Json& event);
  media::Failure GoToFrame(int64_t index);
  // The size in which frames are sent, at the orientation that holds.
  Size SentSize() const;
  // The faces of the frame in its own pixels, while it is sent in this size.
  std::vector<media::Rect> Faces(Size sent) const;
  // Rectangles of a frame of this size where it is turned for the sensor, or back: a turn undoes
  // itself.
  std::vector<media::Rect> Turned(std::vector<media::Rect> faces, Size size) const;

  media::Failure CheckFaces() const;
  media::Failure OpenDevice();
  void BeginRecording();
  media::Failure StartNode();
  media::Failure StartPipeline();
  media::Failure AwaitWorker() const;
  void NotePass();
  uint64_t CountWakes();

  int SendRequests();
  bool WantsTable() const;
  bool WantsMore() const;
  media::Failure SendRequest(RequestReport* report);
  // Sends the frame that a sensor delivers; `faces` are in its pixels.
  media::Failure SendFrame(const std::vector<media::Rect>& faces, RequestReport* report,
                              media::Nv12Frame* frame);
  void Record(RequestReport* report, const media::Nv12Frame& sent);
  media::Failure Report(const RequestReport& report);
  void KeepForPicture(const RequestReport& report);

  media::Failure Finish();
  void PrintNotHandedOver() const;

  Options options_;  // with the device state that a script has changed
  Progress progress_;
  LogWatch log_;
  Outputs outputs_;
  Pace pace_;
  Recorder recorder_;
  Script script_;
  const framework::Json* recorded_ = nullptr;  // of this request, in a replay
  int64_t next_frame_ = 0;                     // in the input
  int64_t analysed_ = 0;  // request of the pass whose results the worker has; 0 for none
  std::chrono::steady_clock::time_point start_;
  int requests_ = 0;  // 0 is until the input ends
  std::unique_ptr<media::FrameSource> source_;
  FaceFinder finder_;
  media::Nv12Frame frame_;
  media::Nv12Frame sensor_frame_;  // where it differs
  media::Nv12Frame output_frame_;
  framework::Device device_;
  framework::Session session_;
  Summary summary_;
  RequestReport last_report_;
  RequestReport picture_report_;
  media::Nv12Frame picture_frame_;
  int picture_rank_ = -1;
};

}  // namespace camsim

#endif  // ZY_APPS_CAMSIM_RUN_H_
