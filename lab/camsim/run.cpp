// SPDX-License-Identifier: Apache-2.0
#include "camsim/run.h"

#include <chrono>
#include <string>
#include <utility>

#include "camsim/header.h"
#include "camsim/interrupt.h"
#include "camsim/knobs.h"
#include "camsim/sensor.h"
#include "camsim/upright.h"
#include "common/exit_code.h"
#include "framework/worker_watch.h"

namespace camsim {
namespace {

constexpr std::chrono::minutes kRestTimeout{5};

// What an input without an end is asked for.
constexpr int kDefaultRequests = 60;

// How well a frame shows what the node found: the largest rank is the one that is drawn.
int RankOf(const RequestReport& report) {
  if (report.HasFigures()) return 3;
  if (report.result.face_count > 0) return 2;
  return report.faces.empty() ? 0 : 1;
}

}  // namespace

Run::Run(const Options& options)
    : options_(options),
      log_(options.log, &progress_),
      outputs_(options_),
      pace_(options.fps),
      recorder_(options_, &outputs_) {}

int Run::Go() {
  if (media::Failure failure = ReadScript()) return Say(failure, common::kExitUnreadableInput);
  if (media::Failure failure = media::OpenFrameSource(options_.source, &source_)) {
    if (Interrupted()) return common::kExitInterrupted;  // it ended the read
    return Say(failure, common::kExitUnreadableInput);
  }
  if (media::Failure failure = CheckFaces()) return Say(failure, common::kExitUsage);
  if (options_.found_faces || options_.real_models) {
    if (media::Failure failure = finder_.Open(options_.real_device)) {
      return Say(failure, common::kExitFailure);
    }
  }
  if (media::Failure failure = OpenDevice()) return Say(failure, common::kExitFailure);
  if (media::Failure failure = TryScript()) return Say(failure, common::kExitUnreadableInput);
  if (media::Failure failure = framework::Framework::Get().Load(options_.node)) {
    return Say(failure, common::kExitFailure);
  }
  // From here on nothing but the run itself can fail, and outputs of an earlier run are emptied.
  if (media::Failure failure = outputs_.Open()) return Say(failure, common::kExitFailure);
  BeginRecording();
  if (media::Failure failure = PlayScript(1)) return Say(failure, common::kExitUnreadableInput);
  if (media::Failure failure = StartNode()) return Say(failure, common::kExitFailure);
  const int exit_code = SendRequests();
  if (media::Failure failure = session_.Destroy()) return Say(failure, common::kExitFailure);
  const media::Failure failure = Finish();
  // What failed the run is said already.
  if (failure && exit_code != common::kExitFailure) return Say(failure, common::kExitFailure);
  const bool differs = exit_code == common::kExitOk && recorder_.Differences() != 0;
  return differs ? common::kExitDifferences : exit_code;
}

int Run::Say(const media::Failure& failure, int exit_code) {
  progress_.Print("camsim: " + failure->message);
  return failure->is_usage ? common::kExitUsage : exit_code;
}

media::Failure Run::CheckFaces() const {
  const int width = source_->Width(), height = source_->Height();
  for (const media::Rect& face : options_.faces) {
    if (face.x < width && face.y < height) continue;
    return media::Fail("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                          " lies outside the " + std::to_string(width) + "x" +
                          std::to_string(height) + " picture");
  }
  return std::nullopt;
}

media::Failure Run::OpenDevice() {
  if (media::Failure failure = device_.Open(options_.devices)) return failure;
  if (options_.log == LogLevel::kInfo) {
    for (const auto& library : device_.Libraries()) {
      progress_.Print("camsim: " + library.name + " is " + library.path);
    }
  }
  TellCalls(device_, &recorder_.Passes());
  for (const framework::Json& event : DeviceEvents(options_)) {
    if (media::Failure failure = SetKnobs(device_, event, false)) return failure;
  }
  return std::nullopt;
}

void Run::BeginRecording() {
  if (options_.buffer.width == 0) options_.buffer = SentSize();
  recorder_.Begin(HeaderOf(options_, {source_->Width(), source_->Height()}, device_));
  for (const framework::Json& event : DeviceEvents(options_)) recorder_.AddEvent(event);
}

Size Run::SentSize() const {
  const Size frame = {source_->Width(), source_->Height()};
  return options_.IsUpright() ? TurnToSensor(frame, options_.orientation) : frame;
}

media::Failure Run::StartNode() {
  const Size frame = SentSize();
  if (media::Failure failure =
          media::CheckFrameShape(frame.width, frame.height, options_.source.stride)) {
    return failure;
  }
  output_frame_.width = options_.buffer.width;
  output_frame_.height = options_.buffer.height;
  return StartPipeline();
}

media::Failure Run::StartPipeline() {
  if (media::Failure failure =
          session_.Create(options_.node_caps, static_cast<uint32_t>(output_frame_.width),
                          static_cast<uint32_t>(output_frame_.height))) {
    return failure;
  }
  session_.PostPipelineCreate();
  return AwaitWorker();
}

// ---- Scripts ------------------------------------------------------------------------------------

media::Failure Run::ReadScript() {
  const bool is_replay = !options_.replay.empty();
  const std::string& path = is_replay ? options_.replay : options_.script;
  if (path.empty()) return std::nullopt;
  if (media::Failure failure = script_.Read(path, is_replay)) return failure;
  UseHeader(script_.Header(), &options_);
  for (const framework::Step& step : script_.Steps()) {
    if (step.request > 1) break;
    if (step.json.contains("in")) TakeTags(step.json["in"], &options_);
  }
  return std::nullopt;
}

media::Failure Run::TryScript() const {
  for (const framework::Step& step : script_.Steps()) {
    if (step.IsRequest()) continue;
    const media::Failure failure = SetKnobs(device_, step.json, true);
    if (failure) return script_.FailAt(step, failure);
  }
  return std::nullopt;
}

// What the script says up to the request of this number.
media::Failure Run::PlayScript(int64_t number) {
  while (const framework::Step* step = script_.Next(number)) {
    media::Failure failure;
    if (step->IsRequest()) {
      recorded_ = !options_.replay.empty() && step->json.contains("out") ? &step->json : nullptr;
      const framework::Json frame = step->json.value("frame", framework::Json::object());
      const int64_t index = frame.value("index", next_frame_);
      if (index != next_frame_) failure = GoToFrame(index);
    } else {
      failure = ApplyEvent(step->json);
    }
    if (failure) return script_.FailAt(*step, failure);
  }
  TakeTags(script_.Held().Tags(), &options_);
  return std::nullopt;
}

media::Failure Run::ApplyEvent(const framework::Json& event) {
  recorder_.AddEvent(event);
  if (!event.contains("pipeline")) return SetKnobs(device_, event, false);
  if (session_.node() == nullptr) return std::nullopt;
  if (media::Failure failure = session_.Destroy()) return failure;
  recorder_.EndPipeline();
  analysed_ = 0;
  return StartPipeline();
}

media::Failure Run::GoToFrame(int64_t index) {
  if (index < next_frame_) {
    if (options_.source.input == "-")
      return media::Fail("frame.index: standard input does not go back");
    if (media::Failure failure = media::OpenFrameSource(options_.source, &source_))
      return failure;
    next_frame_ = 0;
  }
  media::Failure failure = source_->Skip(index - next_frame_);
  next_frame_ = index;
  return failure;
}

std::vector<media::Rect> Run::Faces(Size sent) const {
  const framework::HeldInput& held = script_.Held();
  const auto rectangles = held.Tags().find(framework::kFaceRectanglesName);
  if (rectangles != held.Tags().end()) return Turned(FacesOf(options_, sent, *rectangles), sent);
  if (held.Faces()) return *held.Faces();
  if (options_.found_faces) return finder_.Find(frame_, *options_.found_faces);
  return options_.faces.empty() ? source_->Faces() : options_.faces;
}

std::vector<media::Rect> Run::Turned(std::vector<media::Rect> faces, Size size) const {
  if (!options_.IsUpright()) return faces;
  for (media::Rect& face : faces) face = TurnToSensor(face, options_.orientation, size);
  return faces;
}

// ---- Requests -----------------------------------------------------------------------------------

media::Failure Run::AwaitWorker() const {
  if (options_.realtime || framework::WaitForRestingWorkers(kRestTimeout)) return std::nullopt;
  return media::Fail("the worker does not come to rest");
}

int Run::SendRequests() {
  requests_ = options_.requests != 0 ? options_.requests : static_cast<int>(script_.LastRequest());
  if (requests_ == 0 && source_->IsEndless()) requests_ = kDefaultRequests;
  const std::string input =
      options_.source.input.empty() ? "the built-in scene" : options_.source.input;
  if (WantsTable()) PrintTableHead(options_.real_models, outputs_.Text());
  start_ = std::chrono::steady_clock::now();
  while (WantsMore()) {
    bool at_end = false;
    if (media::Failure failure = PlayScript(summary_.sent + 1)) {
      return Say(failure, common::kExitUnreadableInput);
    }
    if (media::Failure failure = source_->Next(&frame_, &at_end)) {
      if (Interrupted()) break;
      return Say(failure, common::kExitUnreadableInput);
    }
    if (at_end) break;
    RequestReport report;
    media::Failure failure = SendRequest(&report);
    if (!failure) failure = Report(report);
    if (failure) return Say(failure, common::kExitFailure);
  }
  if (Interrupted()) return common::kExitInterrupted;
  if (summary_.sent != 0) return common::kExitOk;
  return Say(media::Fail(input + ": has no frames"), common::kExitUnreadableInput);
}

// A replay prints what is different instead.
bool Run::WantsTable() const { return outputs_.WantsTable() && options_.replay.empty(); }

bool Run::WantsMore() const {
  return !Interrupted() && (requests_ == 0 || summary_.sent < requests_);
}

media::Failure Run::SendRequest(RequestReport* report) {
  report->frame_number = static_cast<uint64_t>(summary_.sent) + 1;
  report->frame_index = next_frame_++;
  media::Nv12Frame* const sent = options_.IsUpright() ? &sensor_frame_ : &frame_;
  if (sent != &frame_) {
    const int stride = options_.source.stride;
    media::Failure failure = TurnToSensor(frame_, options_.orientation, stride, sent);
    if (failure) return failure;
  }
  report->faces = Faces({sent->width, sent->height});
  return SendFrame(Turned(report->faces, {frame_.width, frame_.height}), report, sent);
}

media::Failure Run::SendFrame(const std::vector<media::Rect>& faces, RequestReport* report,
                                 media::Nv12Frame* frame) {
  const Size size = {frame->width, frame->height};
  SetRequestMetadata(options_, size, faces, &session_.Input());
  framework::ApplyInput(script_.Held().Tags(), &session_.Input());
  if (options_.realtime) pace_.AwaitNext();
  NotePass();
  const RequestState state = StateOf(options_, size, faces, analysed_ != 0);
  framework::CameraBuffer input(frame);
  framework::CameraBuffer output(&output_frame_);
  const auto start = std::chrono::steady_clock::now();
  // The worker could be done before the node collects the results; which it is must not depend on
  // the machine.
  const uint64_t wakes = CountWakes();
  framework::HoldSignals(!options_.realtime);
  const media::Failure failure = session_.Process(report->frame_number, &input, &output);
  framework::HoldSignals(false);
  if (failure) return failure;
  if (options_.realtime) {
    const int64_t took = pace_.Note(std::chrono::steady_clock::now() - start);
    report->time = {(start - start_) / std::chrono::microseconds(1), took};
  }
  report->result = session_.Result();
  if (media::Failure unrest = AwaitWorker()) return unrest;
  report->outcome = log_.Take(CountWakes() != wakes);
  for (int slot = 0; slot < kSlots && log_.Tells(); ++slot) {
    report->why[static_cast<std::size_t>(slot)] = WhyOf(state, report->result, slot);
  }
  if (log_.Tells() && report->HasFigures() && analysed_ != 0) {
    report->figures_age = summary_.sent + 1 - analysed_;
  }
  Record(report, *frame);
  NotePass();
  return std::nullopt;
}

// What is seen of any node's workers: signals that wake them, and, where each pass is awaited, the
// calls that they make.
uint64_t Run::CountWakes() {
  return framework::CountWorkers().signals + (options_.realtime ? 0 : recorder_.Passes().Calls());
}

void Run::Record(RequestReport* report, const media::Nv12Frame& sent) {
  framework::Json in, out;
  if (recorder_.Wants()) {
    report->digest = framework::PixelDigest(sent);
    in = framework::ReadInput(session_.Input(), report->faces);
    out = framework::ReadOutput(session_.Output());
  }
  recorder_.AddRequest(*report, std::move(in), std::move(out), frame_,
                       std::exchange(recorded_, nullptr));
}

// Whether the pass over the frame that was taken last has ended.
void Run::NotePass() {
  if (!recorder_.Passes().IsPending()) return;
  if (framework::WaitForRestingWorkers(std::chrono::milliseconds(0)))
    analysed_ = recorder_.EndPass();
}

media::Failure Run::Report(const RequestReport& report) {
  summary_.Count(report.outcome);
  const bool is_told = options_.all || report.outcome != Outcome::kNotOffered;
  if (WantsTable() && is_told) PrintTableRow(report, outputs_.Text());
  last_report_ = report;
  if (outputs_.WantsClip()) {
    const std::string rate = source_->Rate();
    if (media::Failure failure = outputs_.WriteClipFrame(frame_, report, rate)) return failure;
  }
  KeepForPicture(report);
  progress_.Show("request " + std::to_string(report.frame_number) +
                 (requests_ != 0 ? " of " + std::to_string(requests_) : ""));
  return outputs_.Check();
}

// The frame itself is kept: the next one is drawn or read into the other's memory.
void Run::KeepForPicture(const RequestReport& report) {
  const int rank = RankOf(report);
  if (!outputs_.WantsPicture() || rank < picture_rank_) return;
  picture_rank_ = rank;
  picture_report_ = report;
  std::swap(picture_frame_, frame_);
}

media::Failure Run::Finish() {
  progress_.End();
  if (summary_.sent == 0) return std::nullopt;
  std::FILE* const to = outputs_.Text();
  PrintNotHandedOver();
  summary_.analysed = framework::CountWorkers().passes;
  while (const framework::Step* step = script_.Next(INT64_MAX)) {
    if (!options_.replay.empty() && step->json.contains("out")) recorder_.AddMissing(step->json);
  }
  recorder_.Finish(SummaryLine(summary_));
  const std::string own_tags = OwnTagsLine(framework::ReadOutput(session_.Output()));
  std::fprintf(to, "%s\n%s%s", SummaryLine(summary_).c_str(), own_tags.c_str(),
               own_tags.empty() ? "" : "\n");
  if (options_.realtime) pace_.Print(to);
  if (outputs_.WantsPicture()) {
    media::Failure failure = outputs_.WritePicture(picture_frame_, picture_report_);
    if (failure) return failure;
    std::fprintf(to, "annotated picture: %s\n", options_.annotated.c_str());
  }
  outputs_.Flush();
  return outputs_.Check();
}

void Run::PrintNotHandedOver() const {
  const int count = summary_.sent - summary_.HandedOver() - summary_.unknown;
  if (!WantsTable() || options_.all || count == 0) return;
  const SlotWhy why = last_report_.why[0];
  const std::string reason =
      summary_.HandedOver() == 0 && why.score != Why::kNotHandedOver ? TextOf(why) + "; " : "";
  std::fprintf(outputs_.Text(), "requests that were not handed over: %d (%s--all prints them)\n",
               count, reason.c_str());
}

}  // namespace camsim
