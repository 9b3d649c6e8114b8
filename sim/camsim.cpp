// SPDX-License-Identifier: Apache-2.0
// camsim: runs the node library on pictures, without a phone.
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "host/control.h"
#include "platform/android_log.h"
#include "sim/framework.h"
#include "sim/options.h"
#include "sim/report.h"
#include "sim/sensor.h"

namespace sim {
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
    int enabled = 0, analyzing = 0;
    if (std::strncmp(line.text, "ProcessRequest():679", 20) == 0 &&
        outcome_ == Outcome::kNotOffered) {
      outcome_ = Outcome::kSkipped;
    } else if (std::sscanf(line.text, "ProcessBuffer++, mAnalyzingEnabled:%d, mIsAnalyzing:%d",
                           &enabled, &analyzing) == 2) {
      outcome_ = enabled == 1 && analyzing == 0 ? Outcome::kTaken : Outcome::kDropped;
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

class Simulation {
 public:
  explicit Simulation(const Options& options) : options_(options), log_(options.log) {}

  int Run() {
    if (Failure failure = OpenFrameSource(options_.source, &source_)) {
      return Say(failure, kExitUnreadableInput);
    }
    if (Failure failure = OpenOutputs()) return Say(failure, kExitFailure);
    SetUpDevice();
    if (Failure failure = StartNode()) return Say(failure, kExitFailure);
    const int exit_code = SendRequests();
    if (Failure failure = session_.Destroy()) return Say(failure, kExitFailure);
    if (exit_code != kExitOk) return exit_code;
    return Finish();
  }

 private:
  static int Say(const Failure& failure, int exit_code) {
    std::fprintf(stderr, "camsim: %s\n", failure->message.c_str());
    return exit_code;
  }

  Failure OpenOutputs() {
    if (options_.jsonl.empty()) return std::nullopt;
    jsonl_.reset(options_.jsonl == "-" ? stdout : std::fopen(options_.jsonl.c_str(), "w"));
    if (jsonl_ != nullptr) return std::nullopt;
    return Fail(options_.jsonl + ": " + std::strerror(errno));
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

  Failure StartNode() {
    if (Failure failure = Framework::Get().Load(options_.node)) return failure;
    Size buffer = options_.buffer;
    if (buffer.width == 0) buffer = {source_->Width(), source_->Height()};
    output_frame_.width = buffer.width;
    output_frame_.height = buffer.height;
    if (Failure failure = session_.Create(options_.node_caps, static_cast<uint32_t>(buffer.width),
                                          static_cast<uint32_t>(buffer.height))) {
      return failure;
    }
    session_.PostPipelineCreate();
    return AwaitWorker();
  }

  Failure AwaitWorker() const {
    if (options_.realtime || host::WaitForRestingWorkers(kRestTimeout)) return std::nullopt;
    return Fail("the worker does not come to rest");
  }

  int SendRequests() {
    if (jsonl_.get() != stdout) PrintTableHead(stdout);
    auto due = std::chrono::steady_clock::now();
    for (int i = 1; i <= options_.requests; ++i) {
      bool at_end = false;
      if (Failure failure = source_->Next(&frame_, &at_end)) {
        return Say(failure, kExitUnreadableInput);
      }
      if (at_end) break;
      if (options_.realtime) std::this_thread::sleep_until(due);
      due += std::chrono::nanoseconds(static_cast<int64_t>(1e9 / options_.fps));
      RequestReport report;
      if (Failure failure = SendRequest(static_cast<uint64_t>(i), &report)) {
        return Say(failure, kExitFailure);
      }
      Report(report);
    }
    if (summary_.sent == 0) return Say(Fail("the input has no frames"), kExitUnreadableInput);
    return kExitOk;
  }

  Failure SendRequest(uint64_t frame_number, RequestReport* report) {
    report->frame_number = frame_number;
    report->faces = options_.faces.empty() ? source_->Faces() : options_.faces;
    SetRequestMetadata(options_, {frame_.width, frame_.height}, report->faces, &session_.Input());
    CameraBuffer input(&frame_);
    CameraBuffer output(&output_frame_);
    if (Failure failure = session_.Process(frame_number, &input, &output)) return failure;
    report->result = session_.Result();
    report->outcome = log_.Take();
    return AwaitWorker();
  }

  void Report(const RequestReport& report) {
    summary_.Count(report.outcome);
    if (jsonl_.get() != stdout) PrintTableRow(report, stdout);
    if (jsonl_ != nullptr) std::fputs(JsonLine(report).c_str(), jsonl_.get());
    if (report.result.face_count > 0 || annotated_report_.result.face_count == 0) {
      annotated_report_ = report;
      annotated_frame_ = frame_;
    }
    if (isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0) {
      std::fprintf(stderr, "\rrequest %" PRIu64 " of %d ", report.frame_number, options_.requests);
    }
  }

  int Finish() {
    summary_.analysed = host::ClockReads();
    std::FILE* const to = jsonl_.get() == stdout ? stderr : stdout;
    PrintSummary(summary_, to);
    if (Failure failure = WriteAnnotated(options_.annotated, annotated_frame_, annotated_report_)) {
      return Say(failure, kExitFailure);
    }
    std::fprintf(to, "annotated picture: %s\n", options_.annotated.c_str());
    if (std::fflush(stdout) != 0) return Say(Fail("standard output: write failed"), kExitFailure);
    if (jsonl_ != nullptr && std::fflush(jsonl_.get()) != 0) {
      return Say(Fail(options_.jsonl + ": write failed"), kExitFailure);
    }
    return kExitOk;
  }

  const Options& options_;
  LogWatch log_;
  std::unique_ptr<FrameSource> source_;
  File jsonl_;
  Nv12Frame frame_;
  Nv12Frame output_frame_;
  Session session_;
  Summary summary_;
  Nv12Frame annotated_frame_;
  RequestReport annotated_report_;
};

}  // namespace
}  // namespace sim

int main(int argc, char** argv) {
  sim::Options options;
  int exit_code = sim::kExitOk;
  if (!sim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return sim::Simulation(options).Run();
}
