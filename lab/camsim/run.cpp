// SPDX-License-Identifier: Apache-2.0
#include "camsim/run.h"

#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "camsim/device_controls.h"
#include "camsim/header.h"
#include "common/escape.h"
#include "common/interrupts.h"
#include "common/program.h"
#include "framework/node_watch.h"
#include "framework/worker_watch.h"

namespace camsim {
namespace {

// Requests for an endless input.
constexpr int kDefaultRequests = 60;

}  // namespace

Run::Run(const Options& options, const record::RecordingFile& script)
    : options_(options),
      recording_(script),
      log_(options.log, &outcomes_, &progress_),
      script_(script),
      input_(options),
      frames_(options),
      passes_(clock_, options.realtime, !options.report.empty()),
      sender_(options, clock_, passes_, &outcomes_),
      outputs_(options, device_),
      comparison_({options.tolerance, options.differences}),
      passes_before_(framework::CountWorkers().passes) {}

int Run::Go() {
  if (common::Failure failure = frames_.OpenFinder()) return Say(failure, common::kExitFailure);
  if (common::Failure failure = OpenInput()) return Say(failure, common::kExitUnreadableInput);
  if (common::Failure failure = OpenDevice()) return Say(failure, common::kExitFailure);
  if (common::Failure failure = TryScript()) return Say(failure, common::kExitUnreadableInput);
  if (common::Failure failure = framework::NodeWatch::Load(options_.node)) {
    return Say(failure, common::kExitFailure);
  }
  // From here on only the run itself can fail, so outputs of an earlier run may be emptied.
  if (common::Failure failure = outputs_.Open()) {
    return common::Interrupted() ? common::kExitInterrupted : Say(failure, common::kExitFailure);
  }
  Begin();
  if (const int exit_code = PlayScript(1)) return exit_code;
  if (common::Failure failure = sender_.Start(buffer_)) return Say(failure, common::kExitFailure);
  const int sent = SendRequests();
  int exit_code = sent;
  if (common::Failure failure = StopPipeline()) exit_code = Say(failure, common::kExitFailure);
  // SendRequests() already printed the failure of an output.
  const common::Failure failure = Finish();
  if (failure && sent != common::kExitFailure) return Say(failure, common::kExitFailure);
  const bool differs = exit_code == common::kExitOk && comparison_.Count() != 0;
  return differs ? common::kExitDifferences : exit_code;
}

int Run::Say(const common::Failure& failure, int exit_code) {
  const bool ends_a_read = common::Interrupted() && exit_code == common::kExitUnreadableInput;
  if (ends_a_read) return common::kExitInterrupted;
  progress_.Print("camsim: " + failure->message);
  return failure->is_usage ? common::kExitUsage : exit_code;
}

// ---- Start --------------------------------------------------------------------------------------

common::Failure Run::OpenInput() {
  if (common::Failure failure = frames_.Open()) return failure;
  // Changes of the first request hold from the start: the buffers' size depends on them.
  record::StepReader script(recording_);
  for (std::optional<record::Step> step;;) {
    if (common::Failure failure = script.Next(&step, 1)) return failure;
    if (!step) break;
    const auto* const request = std::get_if<record::RequestStep>(&step->what);
    if (request != nullptr) input_.Change(*request);
  }
  const Size sent = frames_.SentSize(*input_.Holds().orientation);
  buffer_ = options_.buffer.width != 0 ? options_.buffer : sent;
  return media::CheckFrameShape(sent.width, sent.height, options_.source.stride);
}

common::Failure Run::OpenDevice() {
  if (common::Failure failure = device_.Open(options_.devices)) return failure;
  if (options_.log == LogLevel::kInfo) {
    for (const auto& library : device_.Libraries()) {
      progress_.Print("camsim: " + library.name + " is " + library.path);
    }
  }
  ReportCalls(device_, &passes_);
  for (const record::Event& event : DeviceEvents(options_)) {
    if (common::Failure failure = ApplyEvent(device_, event, false)) return failure;
  }
  return std::nullopt;
}

common::Failure Run::TryScript() const {
  record::StepReader steps(recording_);
  for (std::optional<record::Step> step;;) {
    common::Failure failure = steps.Next(&step);
    if (failure || !step) return failure;
    if (common::Interrupted()) return common::Fail("interrupted");
    const auto* const event = std::get_if<record::Event>(&step->what);
    if (event == nullptr) continue;
    failure = ApplyEvent(device_, *event, true);
    if (failure) return recording_.FailAt(step->line, failure);
  }
}

void Run::Begin() {
  clock_.Start();
  for (const std::string& notice : NoticesOf(options_)) {
    std::fprintf(outputs_.Text(), "%s\n", common::Escaped(notice).c_str());
  }
  listeners_ = outputs_.Listeners(frames_.Source().Rate(), recording_, &comparison_);
  const record::RunHeader header = HeaderOf(options_, frames_, buffer_, device_);
  for (const auto& listener : listeners_) {
    listener->Begin(header);
    for (const record::Event& event : DeviceEvents(options_)) listener->OnEvent(event);
  }
}

// ---- Scripts ------------------------------------------------------------------------------------

int Run::PlayScript(int64_t number) {
  for (std::optional<record::Step> step;;) {
    common::Failure failure = script_.Next(&step, number);
    if (failure) return Say(failure, common::kExitUnreadableInput);
    if (!step) return common::kExitOk;
    int exit_code = common::kExitUnreadableInput;
    if (const auto* request = std::get_if<record::RequestStep>(&step->what)) {
      input_.Change(*request);
      if (request->frame_index) failure = frames_.GoTo(*request->frame_index);
    } else {
      failure = Apply(std::get<record::Event>(step->what));
      exit_code = common::kExitFailure;  // of the node or the device
    }
    if (failure) return Say(recording_.FailAt(step->line, failure), exit_code);
  }
}

common::Failure Run::Apply(record::Event event) {
  if (options_.IsReplay()) RemoveGiven(options_, &event);
  if (event.kind != record::Event::kPipeline && event.settings.empty()) return std::nullopt;
  for (const auto& listener : listeners_) listener->OnEvent(event);
  if (event.kind != record::Event::kPipeline) return ApplyEvent(device_, event, false);
  if (!sender_.HasStarted()) return std::nullopt;
  if (common::Failure failure = StopPipeline()) return failure;
  return sender_.Start(buffer_);
}

// ---- Requests -----------------------------------------------------------------------------------

int Run::SendRequests() {
  requests_ = options_.requests != 0 ? options_.requests : recording_.LastRequest();
  if (requests_ == 0 && frames_.Source().IsEndless()) requests_ = kDefaultRequests;
  while (!common::Interrupted() && (requests_ == 0 || summary_.sent < requests_)) {
    if (const int exit_code = PlayScript(summary_.sent + 1)) return exit_code;
    bool at_end = false;
    if (common::Failure failure = frames_.Next(&at_end)) {
      return Say(failure, common::kExitUnreadableInput);
    }
    if (at_end && options_.requests != 0) {
      progress_.Print("camsim: the input ends after " + std::to_string(summary_.sent) +
                      (summary_.sent == 1 ? " frame" : " frames"));
    }
    if (at_end) break;
    if (common::Failure failure = SendRequest()) return Say(failure, common::kExitFailure);
  }
  if (common::Interrupted()) return common::kExitInterrupted;
  if (summary_.sent != 0) return common::kExitOk;
  const std::string& input = options_.source.input;
  return Say(common::Fail((input.empty() ? "the built-in scene" : input) + ": has no frames"),
             common::kExitUnreadableInput);
}

common::Failure Run::SendRequest() {
  const framework::DeviceState& device = input_.Holds();
  const int orientation = *device.orientation;
  media::Nv12Frame* frame = nullptr;
  if (common::Failure failure = frames_.Turn(orientation, &frame)) return failure;
  const Size sent = {frame->width, frame->height};
  record::RequestRecord request;
  request.number = summary_.sent + 1;
  request.frame_index = frames_.Index();
  if (const auto raw = input_.RawFaces(sent)) {
    request.faces = frames_.Turned(*raw, orientation, sent);
  } else {
    request.faces = input_.Faces() ? *input_.Faces() : frames_.Faces();
  }
  const std::vector<common::Rect> faces =
      frames_.Turned(request.faces, orientation, frames_.PictureSize());
  sender_.AwaitTurn();
  NotePass(framework::WorkersAreIdle());
  if (common::Failure failure = sender_.Send(input_.Carried(sent, faces), frame, &request)) {
    return failure;
  }
  // A worker that takes a frame has ended the pass before.
  NotePass(request.outcome == framework::Outcome::kTaken);
  const int64_t analysed = passes_.Analysed();
  if (!outcomes_.LogsOutcomes()) return Report(request, {});
  const framework::SentRequest what = {device, sent, faces, analysed != 0};
  request.why = ReasonsOf(what, request.out.result);
  if (request.HasFigures() && analysed != 0) request.figures_age = request.number - analysed;
  return Report(request, AnalysedSlots(what));
}

common::Failure Run::Report(const record::RequestRecord& request, std::vector<int> slots) {
  summary_.Count(request.outcome);
  for (const auto& listener : listeners_) {
    if (common::Failure failure = listener->OnRequest(request, frames_.Picture())) {
      return failure;
    }
  }
  if (request.outcome == framework::Outcome::kTaken) passes_.HandOver(request, std::move(slots));
  NotePass(framework::WorkersAreIdle());
  progress_.Show("request " + std::to_string(request.number) +
                 (requests_ != 0 ? " of " + std::to_string(requests_) : ""));
  return outputs_.Flush();  // the node may end the program at any time
}

common::Failure Run::StopPipeline() {
  common::Failure failure = sender_.Stop();
  NotePass(CountPasses() > passes_seen_);
  passes_.EndPipeline();
  return failure;
}

void Run::NotePass(bool has_ended) {
  const auto pass = has_ended ? passes_.TakeEnded() : std::nullopt;
  if (!pass) return;
  ++passes_seen_;
  for (const auto& listener : listeners_) listener->OnPass(*pass);
}

uint64_t Run::CountPasses() const { return framework::CountWorkers().passes - passes_before_; }

common::Failure Run::Finish() {
  progress_.End();
  if (summary_.sent == 0) return std::nullopt;
  summary_.analysed = CountPasses();
  summary_.pace = sender_.Pacing();
  for (const auto& listener : listeners_) {
    if (common::Failure failure = listener->Finish(summary_)) return failure;
  }
  return outputs_.Complete();
}

}  // namespace camsim
