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

#include "host/control.h"
#include "platform/android_log.h"
#include "sim/exit_code.h"
#include "sim/framework.h"
#include "sim/options.h"
#include "sim/report.h"
#include "sim/sensor.h"
#include "sim/standard_streams.h"

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

bool IsSameFile(const std::string& a, const std::string& b) {
  struct stat first = {}, second = {};
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && S_ISREG(first.st_mode) &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

class Simulation {
 public:
  explicit Simulation(const Options& options) : options_(options), log_(options.log) {}

  int Run() {
    if (Failure failure = OpenFrameSource(options_.source, &source_)) {
      return Say(failure, kExitUnreadableInput);
    }
    if (Failure failure = CheckFaces()) return Say(failure, kExitUsage);
    if (Failure failure = OpenOutputs()) return Say(failure, kExitFailure);
    SetUpDevice();
    if (Failure failure = StartNode()) return Say(failure, kExitFailure);
    const int exit_code = SendRequests();
    if (Failure failure = session_.Destroy()) return Say(failure, kExitFailure);
    if (exit_code != kExitOk) return exit_code;
    return Finish();
  }

 private:
  int Say(const Failure& failure, int exit_code) {
    EndProgress();
    std::fprintf(stderr, "camsim: %s\n", failure->message.c_str());
    return failure->is_usage ? kExitUsage : exit_code;
  }

  Failure CheckFaces() const {
    const int width = source_->Width(), height = source_->Height();
    for (const Rect& face : options_.faces) {
      if (face.x < width && face.y < height) continue;
      return Fail("--face " + std::to_string(face.x) + "," + std::to_string(face.y) +
                  " lies outside the " + std::to_string(width) + "x" + std::to_string(height) +
                  " picture");
    }
    return std::nullopt;
  }

  Failure OpenOutputs() {
    for (const std::string& output : {options_.annotated, options_.jsonl}) {
      if (IsSameFile(output, options_.source.input)) return Fail(output + ": is the input as well");
    }
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
    const auto period = std::chrono::duration<double>(1.0 / options_.fps);
    const auto start = std::chrono::steady_clock::now();
    for (int i = 1; i <= options_.requests; ++i) {
      bool at_end = false;
      if (Failure failure = source_->Next(&frame_, &at_end)) {
        return Say(failure, kExitUnreadableInput);
      }
      if (at_end) break;
      if (options_.realtime) std::this_thread::sleep_until(start + (i - 1) * period);
      RequestReport report;
      if (Failure failure = SendRequest(static_cast<uint64_t>(i), &report)) {
        return Say(failure, kExitFailure);
      }
      if (Failure failure = Report(report)) return Say(failure, kExitFailure);
    }
    if (summary_.sent != 0) return kExitOk;
    return Say(Fail(options_.source.input + ": has no frames"), kExitUnreadableInput);
  }

  Failure SendRequest(uint64_t frame_number, RequestReport* report) {
    report->frame_number = frame_number;
    report->faces = options_.faces.empty() ? source_->Faces() : options_.faces;
    SetRequestMetadata(options_, {frame_.width, frame_.height}, report->faces, &session_.Input());
    CameraBuffer input(&frame_);
    CameraBuffer output(&output_frame_);
    // The worker could be done before the node collects the results; which it is must not depend on
    // the machine.
    host::HoldSignals(!options_.realtime);
    const Failure failure = session_.Process(frame_number, &input, &output);
    host::HoldSignals(false);
    if (failure) return failure;
    report->result = session_.Result();
    report->outcome = log_.Take();
    return AwaitWorker();
  }

  Failure Report(const RequestReport& report) {
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
  Failure CheckOutputs() const {
    if (std::ferror(stdout) != 0) return Fail("standard output: write failed");
    if (jsonl_ != nullptr && std::ferror(jsonl_.get()) != 0) {
      return Fail(options_.jsonl + ": write failed");
    }
    return std::nullopt;
  }

  int Finish() {
    EndProgress();
    summary_.analysed = host::ClockReads();
    std::FILE* const to = jsonl_.get() == stdout ? stderr : stdout;
    PrintSummary(summary_, to);
    if (IsSameFile(options_.annotated, options_.jsonl)) {
      return Say(Fail(options_.annotated + ": holds the JSON lines already"), kExitFailure);
    }
    if (Failure failure = WriteAnnotated(options_.annotated, annotated_frame_, annotated_report_)) {
      return Say(failure, kExitFailure);
    }
    std::fprintf(to, "annotated picture: %s\n", options_.annotated.c_str());
    std::fflush(stdout);
    if (jsonl_ != nullptr) std::fflush(jsonl_.get());
    if (Failure failure = CheckOutputs()) return Say(failure, kExitFailure);
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
  bool shows_progress_ = isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0;
};

}  // namespace
}  // namespace sim

int main(int argc, char** argv) {
  sim::KeepStandardStreamsApart();
  sim::Options options;
  int exit_code = sim::kExitOk;
  if (!sim::ParseOptions(argc, argv, &options, &exit_code)) return exit_code;
  return sim::RunWithinMemory("camsim", [&] { return sim::Simulation(options).Run(); });
}
