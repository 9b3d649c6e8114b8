// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/run.h"

#include <atomic>
#include <chrono>
#include <string>
#include <utility>

#include "apps/camsim/sensor.h"
#include "apps/exit_code.h"
#include "apps/interrupt.h"
#include "framework/worker_watch.h"
#include "host/control.h"

namespace camsim {
namespace {

constexpr std::chrono::minutes kRestTimeout{5};

// What an input without an end is asked for.
constexpr int kDefaultRequests = 60;

constexpr char kModel[] = "libQVFD_AgeGender.so";
constexpr char kGrader[] = "libFaceGrade.so";
std::atomic<uint64_t> g_model_calls{0};

void CountModelCall(void*, const ZyModelCall*) { ++g_model_calls; }

// What is seen of any node's workers: signals that wake them, and, where each pass is awaited, the
// calls that they make.
uint64_t CountWakes(bool passes_are_awaited) {
  return framework::CountWorkers().signals + (passes_are_awaited ? g_model_calls.load() : 0);
}

// How well a frame shows what the node found: the largest rank is the one that is drawn.
int RankOf(const RequestReport& report) {
  if (report.HasFigures()) return 3;
  if (report.result.face_count > 0) return 2;
  return report.faces.empty() ? 0 : 1;
}

}  // namespace

Run::Run(const Options& options)
    : options_(options), log_(options.log, &progress_), outputs_(options), pace_(options.fps) {}

int Run::Go() {
  if (pictures::Failure failure = pictures::OpenFrameSource(options_.source, &source_)) {
    if (apps::Interrupted()) return apps::kExitInterrupted;  // it ended the read
    return Say(failure, apps::kExitUnreadableInput);
  }
  if (pictures::Failure failure = CheckFaces()) return Say(failure, apps::kExitUsage);
  if (pictures::Failure failure = outputs_.Open()) return Say(failure, apps::kExitFailure);
  if (pictures::Failure failure = SetUpDevice()) return Say(failure, apps::kExitFailure);
  if (pictures::Failure failure = StartNode()) return Say(failure, apps::kExitFailure);
  const int exit_code = SendRequests();
  if (pictures::Failure failure = session_.Destroy()) return Say(failure, apps::kExitFailure);
  const pictures::Failure failure = Finish();
  // What failed the run is said already.
  return failure && exit_code != apps::kExitFailure ? Say(failure, apps::kExitFailure) : exit_code;
}

int Run::Say(const pictures::Failure& failure, int exit_code) {
  progress_.Print("camsim: " + failure->message);
  return failure->is_usage ? apps::kExitUsage : exit_code;
}

pictures::Failure Run::CheckFaces() const {
  const int width = source_->Width(), height = source_->Height();
  for (const pictures::Rect& face : options_.faces) {
    if (face.x < width && face.y < height) continue;
    return pictures::Fail("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                          " lies outside the " + std::to_string(width) + "x" +
                          std::to_string(height) + " picture");
  }
  return std::nullopt;
}

pictures::Failure Run::SetUpDevice() {
  if (pictures::Failure failure = device_.Open(options_.devices)) return failure;
  if (options_.log == LogLevel::kInfo) {
    for (const auto& library : device_.Libraries()) {
      progress_.Print("camsim: " + library.name + " is " + library.path);
    }
  }
  for (const auto& [library, name] : {std::pair(kModel, "zy_tell_age_gender_calls"),
                                      std::pair(kGrader, "zy_tell_face_grade_calls")}) {
    decltype(zy_tell_age_gender_calls)* tell = nullptr;
    if (!device_.FindKnob(library, name, &tell)) tell(CountModelCall, nullptr);
  }
  pictures::Failure failure = SetProperty("--zynode-conf", "zynode_conf", options_.zynode_conf);
  if (!failure) failure = SetProperty("--operation-mask", "operationMask", options_.operation_mask);
  if (!failure && options_.model_delay_ms != 0) {
    failure = SetKnob<decltype(zy_set_age_gender_delay)>(
        "--model-delay", kModel, "zy_set_age_gender_delay", options_.model_delay_ms);
  }
  if (!failure && options_.failing_inits != 0) {
    failure = SetKnob<decltype(zy_fail_age_gender_inits)>(
        "--failing-inits", kModel, "zy_fail_age_gender_inits", options_.failing_inits);
  }
  return failure;
}

pictures::Failure Run::SetProperty(const char* option, const std::string& name,
                                   const std::string& value) const {
  if (value.empty()) return std::nullopt;
  return SetKnob<decltype(zy_set_property)>(option, "libcutils.so", "zy_set_property",
                                            ("persist.vendor.camera." + name).c_str(),
                                            value.c_str());
}

pictures::Failure Run::StartNode() {
  if (pictures::Failure failure = framework::Framework::Get().Load(options_.node)) return failure;
  Size buffer = options_.buffer;
  if (buffer.width == 0) buffer = {source_->Width(), source_->Height()};
  output_frame_.width = buffer.width;
  output_frame_.height = buffer.height;
  if (pictures::Failure failure =
          session_.Create(options_.node_caps, static_cast<uint32_t>(buffer.width),
                          static_cast<uint32_t>(buffer.height))) {
    return failure;
  }
  session_.PostPipelineCreate();
  return AwaitWorker();
}

pictures::Failure Run::AwaitWorker() const {
  if (options_.realtime || framework::WaitForRestingWorkers(kRestTimeout)) return std::nullopt;
  return pictures::Fail("the worker does not come to rest");
}

int Run::SendRequests() {
  requests_ = options_.requests;
  if (requests_ == 0 && source_->IsEndless()) requests_ = kDefaultRequests;
  const std::string input =
      options_.source.input.empty() ? "the built-in scene" : options_.source.input;
  outputs_.WriteJson(JsonHeader(input, source_->Width(), source_->Height()));
  if (outputs_.WantsTable()) PrintTableHead(outputs_.Text());
  while (WantsMore()) {
    bool at_end = false;
    if (pictures::Failure failure = source_->Next(&frame_, &at_end)) {
      if (apps::Interrupted()) break;
      return Say(failure, apps::kExitUnreadableInput);
    }
    if (at_end) break;
    RequestReport report;
    pictures::Failure failure = SendRequest(&report);
    if (!failure) failure = Report(report);
    if (failure) return Say(failure, apps::kExitFailure);
  }
  if (apps::Interrupted()) return apps::kExitInterrupted;
  if (summary_.sent != 0) return apps::kExitOk;
  return Say(pictures::Fail(input + ": has no frames"), apps::kExitUnreadableInput);
}

bool Run::WantsMore() const {
  return !apps::Interrupted() && (requests_ == 0 || summary_.sent < requests_);
}

pictures::Failure Run::SendRequest(RequestReport* report) {
  const Size size = {frame_.width, frame_.height};
  report->frame_number = static_cast<uint64_t>(summary_.sent) + 1;
  report->faces = options_.faces.empty() ? source_->Faces() : options_.faces;
  SetRequestMetadata(options_, size, report->faces, &session_.Input());
  const RequestState state =
      StateOf(options_, size, report->faces, framework::CountWorkers().passes != 0);
  framework::CameraBuffer input(&frame_);
  framework::CameraBuffer output(&output_frame_);
  if (options_.realtime) pace_.AwaitNext();
  const auto start = std::chrono::steady_clock::now();
  // The worker could be done before the node collects the results; which it is must not depend on
  // the machine.
  const uint64_t wakes = CountWakes(!options_.realtime);
  framework::HoldSignals(!options_.realtime);
  const pictures::Failure failure = session_.Process(report->frame_number, &input, &output);
  framework::HoldSignals(false);
  if (failure) return failure;
  if (options_.realtime) report->took_us = pace_.Note(std::chrono::steady_clock::now() - start);
  report->result = session_.Result();
  report->own_tags = session_.OwnTags();
  if (pictures::Failure unrest = AwaitWorker()) return unrest;
  report->outcome = log_.Take(CountWakes(!options_.realtime) != wakes);
  for (int slot = 0; slot < kSlots && log_.Tells(); ++slot) {
    report->why[static_cast<std::size_t>(slot)] = WhyOf(state, report->result, slot);
  }
  return std::nullopt;
}

pictures::Failure Run::Report(const RequestReport& report) {
  summary_.Count(report.outcome);
  const bool is_told = options_.all || report.outcome != Outcome::kNotOffered;
  if (outputs_.WantsTable() && is_told) PrintTableRow(report, outputs_.Text());
  outputs_.WriteJson(JsonLine(report));
  last_report_ = report;
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

pictures::Failure Run::Finish() {
  progress_.End();
  if (summary_.sent == 0) return std::nullopt;
  std::FILE* const to = outputs_.Text();
  PrintNotHandedOver();
  summary_.analysed = framework::CountWorkers().passes;
  PrintSummary(summary_, last_report_, to);
  if (options_.realtime) pace_.Print(to);
  if (outputs_.WantsPicture()) {
    pictures::Failure failure = outputs_.WritePicture(picture_frame_, picture_report_);
    if (failure) return failure;
    std::fprintf(to, "annotated picture: %s\n", options_.annotated.c_str());
  }
  std::fflush(stdout);
  return outputs_.Check();
}

void Run::PrintNotHandedOver() const {
  const int count = summary_.sent - summary_.HandedOver() - summary_.unknown;
  if (!outputs_.WantsTable() || options_.all || count == 0) return;
  const SlotWhy why = last_report_.why[0];
  const std::string reason =
      summary_.HandedOver() == 0 && why.score != Why::kNotHandedOver ? TextOf(why) + "; " : "";
  std::fprintf(outputs_.Text(), "requests that were not handed over: %d (%s--all prints them)\n",
               count, reason.c_str());
}

}  // namespace camsim
