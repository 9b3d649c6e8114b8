// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "apps/camsim/options.h"
#include "apps/camsim/report.h"
#include "apps/camsim/sensor.h"
#include "apps/exit_code.h"
#include "apps/standard_streams.h"
#include "framework/frame_fate.h"
#include "framework/framework.h"
#include "host/control.h"
#include "platform/android_log.h"

namespace camsim {
namespace {

constexpr std::chrono::minutes kRestTimeout{5};

// Prints log lines as logcat does, and learns from them what became of a frame that was offered:
// the node says that it hands over, and the worker that it considers the frame.
class LogWatch {
 public:
  explicit LogWatch(LogLevel level) : level_(level) {
    host::SetLogSink([this](const host::LogLine& line) { See(line); });
  }
  ~LogWatch() { host::SetLogSink(nullptr); }

  // What happened since the last call.
  Outcome Take() { return outcome_.exchange(Outcome::kNotOffered); }

 private:
  void See(const host::LogLine& line) {
    if (std::strncmp(line.text, "ProcessRequest():679", 20) == 0 &&
        outcome_ == Outcome::kNotOffered) {
      outcome_ = Outcome::kSkipped;
    } else if (const auto fate = framework::FateIn(line.text)) {
      outcome_ = fate == framework::FrameFate::kTaken ? Outcome::kTaken : Outcome::kDropped;
    }
    if (level_ == LogLevel::kInfo || (level_ == LogLevel::kError && line.priority >= kLogError)) {
      Print(line);
    }
  }

  static void Print(const host::LogLine& line) {
    const size_t length = std::strlen(line.text);
    const bool ends = length > 0 && line.text[length - 1] == '\n';
    std::fprintf(stderr, "%c/%s: %s%s", line.priority >= kLogError ? 'E' : 'I',
                 line.tag != nullptr ? line.tag : "", line.text, ends ? "" : "\n");
  }

  const LogLevel level_;
  std::atomic<Outcome> outcome_{Outcome::kNotOffered};
};

// A file that is closed at the end of its scope; standard output stays open.
struct CloseFile {
  void operator()(std::FILE* file) const {
    if (file != stdout) std::fclose(file);
  }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first = {}, second = {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && S_ISREG(first.st_mode) &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

class Simulation {
 public:
  explicit Simulation(const Options& options) : options_(options), log_(options.log) {}

  int Run() {
    if (pictures::Failure failure = pictures::OpenFrameSource(options_.source, &source_)) {
      return Say(failure, apps::kExitUnreadableInput);
    }
    if (pictures::Failure failure = CheckFaces()) return Say(failure, apps::kExitUsage);
    if (pictures::Failure failure = OpenOutputs()) return Say(failure, apps::kExitFailure);
    SetUpDevice();
    if (pictures::Failure failure = StartNode()) return Say(failure, apps::kExitFailure);
    const int exit_code = SendRequests();
    if (pictures::Failure failure = session_.Destroy()) return Say(failure, apps::kExitFailure);
    if (exit_code != apps::kExitOk) return exit_code;
    return Finish();
  }

 private:
  int Say(const pictures::Failure& failure, int exit_code) {
    EndProgress();
    std::fprintf(stderr, "camsim: %s\n", failure->message.c_str());
    return failure->is_usage ? apps::kExitUsage : exit_code;
  }

  pictures::Failure CheckFaces() const {
    const int width = source_->Width(), height = source_->Height();
    for (const pictures::Rect& face : options_.faces) {
      if (face.x < width && face.y < height) continue;
      return pictures::Fail("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                            " lies outside the " + std::to_string(width) + "x" +
                            std::to_string(height) + " picture");
    }
    return std::nullopt;
  }

  pictures::Failure OpenOutputs() {
    for (const std::string& output : {options_.annotated, options_.jsonl}) {
      if (IsSameFile(output, options_.source.input))
        return pictures::Fail(output + ": is the input as well");
    }
    if (options_.jsonl.empty()) return std::nullopt;
    jsonl_.reset(options_.jsonl == "-" ? stdout : std::fopen(options_.jsonl.c_str(), "w"));
    if (jsonl_ != nullptr) return std::nullopt;
    return pictures::Fail(options_.jsonl + ": " + std::strerror(errno));
  }

  void SetUpDevice() {
    if (!options_.zynode_conf.empty()) {
      host::SetProperty("persist.vendor.camera.zynode_conf", options_.zynode_conf);
    }
    if (!options_.operation_mask.empty()) {
      host::SetProperty("persist.vendor.camera.operationMask", options_.operation_mask);
    }
    host::SetAgeGenderDelay(std::chrono::milliseconds(options_.model_delay_ms));
    host::FailAgeGenderInit(options_.failing_inits);
  }

  pictures::Failure StartNode() {
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

  pictures::Failure AwaitWorker() const {
    if (options_.realtime || host::WaitForRestingWorkers(kRestTimeout)) return std::nullopt;
    return pictures::Fail("the worker does not come to rest");
  }

  int SendRequests() {
    if (jsonl_.get() != stdout) PrintTableHead(stdout);
    const auto period = std::chrono::duration<double>(1.0 / options_.fps);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= options_.requests; ++i) {
      bool at_end = false;
      if (pictures::Failure failure = source_->Next(&frame_, &at_end)) {
        return Say(failure, apps::kExitUnreadableInput);
      }
      if (at_end) break;
      if (options_.realtime) std::this_thread::sleep_until(start + (i - 1) * period);
      RequestReport report;
      if (pictures::Failure failure = SendRequest(static_cast<uint64_t>(i), &report)) {
        return Say(failure, apps::kExitFailure);
      }
      if (pictures::Failure failure = Report(report)) return Say(failure, apps::kExitFailure);
    }
    if (summary_.sent != 0) return apps::kExitOk;
    return Say(pictures::Fail(options_.source.input + ": has no frames"),
               apps::kExitUnreadableInput);
  }

  pictures::Failure SendRequest(uint64_t frame_number, RequestReport* report) {
    report->frame_number = frame_number;
    report->faces = options_.faces.empty() ? source_->Faces() : options_.faces;
    SetRequestMetadata(options_, {frame_.width, frame_.height}, report->faces, &session_.Input());
    framework::CameraBuffer input(&frame_);
    framework::CameraBuffer output(&output_frame_);
    // The worker could be done before the node collects the results; which it is must not depend on
    // the machine.
    host::HoldSignals(!options_.realtime);
    const pictures::Failure failure = session_.Process(frame_number, &input, &output);
    host::HoldSignals(false);
    if (failure) return failure;
    report->result = session_.Result();
    report->outcome = log_.Take();
    return AwaitWorker();
  }

  pictures::Failure Report(const RequestReport& report) {
    summary_.Count(report.outcome);
    if (jsonl_.get() != stdout) PrintTableRow(report, stdout);
    if (jsonl_ != nullptr) std::fputs(JsonLine(report).c_str(), jsonl_.get());
    if (report.result.face_count > 0 || annotated_report_.result.face_count == 0) {
      annotated_report_ = report;
      annotated_frame_ = frame_;
    }
    if (shows_progress_) {
      std::fprintf(stderr, "\rrequest %" PRIu64 " of %d ", report.frame_number, options_.requests);
    }
    return CheckOutputs();
  }

  void EndProgress() {
    if (std::exchange(shows_progress_, false)) std::fputs("\r\033[K", stderr);
  }

  // A stream that lost bytes once stays marked, even when later writes succeed.
  pictures::Failure CheckOutputs() const {
    if (std::ferror(stdout) != 0) return pictures::Fail("standard output: write failed");
    if (jsonl_ != nullptr && std::ferror(jsonl_.get()) != 0) {
      return pictures::Fail(options_.jsonl + ": write failed");
    }
    return std::nullopt;
  }

  int Finish() {
    EndProgress();
    summary_.analysed = host::ClockReads();
    std::FILE* const to = jsonl_.get() == stdout ? stderr : stdout;
    PrintSummary(summary_, to);
    if (IsSameFile(options_.annotated, options_.jsonl)) {
      return Say(pictures::Fail(options_.annotated + ": holds the JSON lines already"),
                 apps::kExitFailure);
    }
    if (pictures::Failure failure =
            WriteAnnotated(options_.annotated, annotated_frame_, annotated_report_)) {
      return Say(failure, apps::kExitFailure);
    }
    std::fprintf(to, "annotated picture: %s\n", options_.annotated.c_str());
    std::fflush(stdout);
    if (jsonl_ != nullptr) std::fflush(jsonl_.get());
    if (pictures::Failure failure = CheckOutputs()) return Say(failure, apps::kExitFailure);
    return apps::kExitOk;
  }

  const Options& options_;
  LogWatch log_;
  std::unique_ptr<pictures::FrameSource> source_;
  File jsonl_;
  pictures::Nv12Frame frame_;
  pictures::Nv12Frame output_frame_;
  framework::Session session_;
  Summary summary_;
  pictures::Nv12Frame annotated_frame_;
  RequestReport annotated_report_;
  bool shows_progress_ = isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0;
};

}  // namespace
}  // namespace camsim

int main(int argc, char** argv) {
  apps::KeepStandardStreamsApart();
  camsim::Options options;
  int exit_code = apps::kExitOk;
  if (!camsim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return apps::RunWithinMemory("camsim", [&] { return camsim::Simulation(options).Run(); });
}
