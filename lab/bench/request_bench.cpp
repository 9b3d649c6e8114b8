// SPDX-License-Identifier: Apache-2.0
// Drives the built library through its export and measures each kind of request on the sending
// thread: times and, under the counting plugin, instructions. Log lines are dropped. It measures
// the node's process-request callback with all its calls; the counts separate the framework's
// functions.
// usage: request_bench [--count] NODE_LIBRARY
//   --count, for the plugin: few rounds; instead of the table one line for each of the plugin's
//   regions, in order: "FRAME<tab>REQUEST", REQUEST "-" for one that only precedes another.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "bench/marks.h"
#include "device/control.h"
#include "framework/device_state.h"
#include "framework/own_node.h"
#include "framework/worker_watch.h"
#include "image/zy_copy_buffer.h"
#include "media/nv12.h"

namespace {

constexpr std::chrono::minutes kIdleTimeout{5};

// ---- The node's callback and the framework's functions, measured --------------------------------

// Kinds of requests. kLeadUp only precedes another kind.
enum Kind { kOffCadence, kPaced, kDropped, kTaken, kStraightCopy, kLeadUp };

constexpr int kMeasuredKinds = kLeadUp;
constexpr const char* kKindNames[] = {
    "off the cadence", "on it, not considered by the worker", "on it, dropped: the worker is busy",
    "on it, taken",    "straight copy of the frame",          "-"};

struct Measure {
  double time;            // microseconds
  double processor_time;  // of the thread, without others'
};

framework::NodeEntry g_entry = nullptr;
ChiNodeInterface g_framework = {};
ChiNodeCallbacks g_node = {};
Measure g_last = {};                 // of the last request
Kind g_kind = kLeadUp;               // of the next request
const char* g_frame_name = nullptr;  // set when regions are printed

// Calls a function of the framework and counts its instructions apart.
template <typename Query>
ChiResult CallApart(ChiResult (*function)(Query*), Query* query) {
  insncount_apart();
  const ChiResult result = function(query);
  insncount_rejoin();
  return result;
}

void MeasuredSetNodeInterface(ChiNodeInterface* interface) {
  g_framework = *interface;
  ChiNodeInterface ours = *interface;
  ours.pGetMetadata = [](ChiMetadataGet* get) { return CallApart(g_framework.pGetMetadata, get); };
  ours.pSetMetadata = [](ChiMetadataSet* set) { return CallApart(g_framework.pSetMetadata, set); };
  ours.pGetVendorTagBase = [](ChiVendorTagBase* query) {
    return CallApart(g_framework.pGetVendorTagBase, query);
  };
  g_node.pSetNodeInterface(&ours);
}

double Microseconds(clockid_t clock) {
  timespec now = {};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

template <typename Run>
Measure MeasureOnce(Run run) {
  const double processor_begin = Microseconds(CLOCK_THREAD_CPUTIME_ID);
  const double begin = Microseconds(CLOCK_MONOTONIC);
  insncount_begin();
  run();
  insncount_end();
  const double time = Microseconds(CLOCK_MONOTONIC) - begin;
  if (g_frame_name != nullptr) std::printf("%s\t%s\n", g_frame_name, kKindNames[g_kind]);
  return {time, Microseconds(CLOCK_THREAD_CPUTIME_ID) - processor_begin};
}

ChiResult MeasuredProcessRequest(ChiNodeProcessRequestInfo* info) {
  ChiResult result = kChiFailed;
  g_last = MeasureOnce([&] { result = g_node.pProcessRequest(info); });
  return result;
}

void MeasuredEntry(ChiNodeCallbacks* callbacks) {
  g_entry(callbacks);
  g_node = *callbacks;
  callbacks->pSetNodeInterface = MeasuredSetNodeInterface;
  callbacks->pProcessRequest = MeasuredProcessRequest;
}

// ---- Requests -----------------------------------------------------------------------------------

[[noreturn]] void Die(const std::string& message) {
  std::fprintf(stderr, "request_bench: %s\n", message.c_str());
  std::exit(1);
}

void Require(const common::Failure& failure) {
  if (failure) Die(failure->message);
}

void AwaitWorker() {
  if (!framework::WaitForIdleWorkers(kIdleTimeout)) Die("the worker did not become idle");
}

// Evicts the caches. The worker holds the lines that the node's copy overwrites in another core's
// cache, and the frame may be in ours; neither must favour one of the compared copies.
void PushOutOfCaches() {
  constexpr std::size_t kMoreThanCaches = std::size_t{96} << 20;
  static std::vector<uint8_t> bytes(kMoreThanCaches);
  static uint8_t value = 0;
  std::fill(bytes.begin(), bytes.end(), ++value);
}

// A session with frames of one size and three faces, which sends requests of the wanted kind.
class Stream {
 public:
  Stream(int width, int height) {
    Require(media::ShapeFrame(width, height, width, &frame_));
    std::fill(frame_.bytes.begin(), frame_.bytes.end(), uint8_t{90});
    const auto columns = static_cast<uint32_t>(width), rows = static_cast<uint32_t>(height);
    Require(session_.Create(0, columns, rows));
    session_.PostPipelineCreate();
    AwaitWorker();
    framework::DeviceState state = framework::UsualState(
        columns, rows, {400, 400, 800, 800, 1000, 400, 1400, 800, 1600, 400, 2000, 800});
    state.quad_cfa = uint8_t{0};  // faces at twice the sensor's size
    framework::SetInput(state, &session_.Input());
    if (ZyAllocBuffer(&copy_, width, height, kZyFormatYuv420SemiPlanar) == 0) Die("no memory");
    for (int i = 0; i < 3; ++i) SendTaken();  // until the worker knows the size
    SendDropped();
    is_warm_ = true;
  }
  ~Stream() { ZyFreeBuffer(&copy_); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Returns one measure of a kind. Requests that lead to it are not measured.
  Measure Send(Kind kind) {
    if (kind == kPaced) return SendPaced();
    if (kind == kDropped) return SendDropped();
    if (kind == kTaken) return SendTaken();
    return kind == kOffCadence ? SendNext(kind) : CopyStraight();
  }

 private:
  // Sends the next frame whose number fits the kind.
  Measure SendNext(Kind kind) {
    do {
      ++frame_number_;
    } while (framework::IsOffered(frame_number_) != (kind != kOffCadence));
    framework::CameraBuffer input(&frame_);
    framework::CameraBuffer output(&frame_);
    g_kind = is_warm_ ? kind : kLeadUp;
    Require(session_.Process(frame_number_, &input, &output));
    return g_last;
  }

  // Sends an offer that the worker skips: it considers one in four.
  Measure SendPaced() {
    if (offers_ == 3) SendTaken();
    ++offers_;
    return SendNext(kPaced);
  }

  Measure SendConsidered(Kind kind) {
    while (offers_ < 3) SendPaced();
    offers_ = 0;
    if (kind == kTaken) PushOutOfCaches();
    return SendNext(kind);
  }

  // Sends a frame that the worker takes. The worker reads the clock once at the end of each pass.
  Measure SendTaken() {
    const uint64_t passes = device::ClockReads();
    const Measure measure = SendConsidered(kTaken);
    AwaitPass(passes);
    return measure;
  }

  // Sends a frame while the worker is busy: a held signal keeps the earlier frame pending.
  Measure SendDropped() {
    const uint64_t passes = device::ClockReads();
    framework::HoldSignals(true);
    SendConsidered(kLeadUp);
    const Measure measure = SendConsidered(kDropped);
    framework::HoldSignals(false);
    AwaitPass(passes);
    return measure;
  }

  static void AwaitPass(uint64_t passes_before) {
    AwaitWorker();
    if (device::ClockReads() != passes_before + 1) Die("a frame had an unexpected outcome");
  }

  Measure CopyStraight() {
    PushOutOfCaches();
    const ZyImageBuffer image = media::ImageOf(frame_);
    g_kind = kStraightCopy;
    return MeasureOnce([&] { ZyCopyBuffer(&copy_, &image, 0); });
  }

  media::Nv12Frame frame_;
  framework::Session session_;
  ZyImageBuffer copy_ = {};
  bool is_warm_ = false;
  uint64_t frame_number_ = 0;
  int offers_ = 3;  // since the last one considered; the worker considers the first
};

// ---- The table ----------------------------------------------------------------------------------

using Measures = std::vector<Measure>;

double Percentile(const Measures& measures, double Measure::*of, int percent) {
  std::vector<double> values;
  for (const Measure& measure : measures) values.push_back(measure.*of);
  std::sort(values.begin(), values.end());
  return values[(values.size() - 1) * static_cast<std::size_t>(percent) / 100];
}

void PrintTable(const char* frame, const Measures (&measures)[kMeasuredKinds]) {
  for (int kind = 0; kind < kMeasuredKinds; ++kind) {
    std::printf("%-10s %-36s", frame, kKindNames[kind]);
    for (const int percent : {50, 90, 99, 100}) {
      std::printf(" %9.2f", Percentile(measures[kind], &Measure::time, percent));
    }
    std::puts("");
  }
  const double ratio = Percentile(measures[kTaken], &Measure::processor_time, 50) /
                       Percentile(measures[kStraightCopy], &Measure::processor_time, 50);
  std::printf(
      "%-10s processor time of a taken frame, to its straight copy: %.2f; target 1.10: %s\n", frame,
      ratio, ratio <= 1.1 ? "met" : "MISSED");
}

// Alternates all kinds, so that other load of the machine affects them alike.
void MeasureFrames(const char* frame, int width, int height, bool is_counting) {
  constexpr int kOffCadenceEach = 5;  // as many as a pipeline sends between two offers
  g_frame_name = is_counting ? frame : nullptr;
  Stream stream(width, height);
  Measures measures[kMeasuredKinds];
  for (int round = 0; round < (is_counting ? 3 : 100); ++round) {
    for (int kind = 0; kind < kMeasuredKinds; ++kind) {
      for (int i = 0; i < (kind == kOffCadence ? kOffCadenceEach : 1); ++i) {
        measures[kind].push_back(stream.Send(static_cast<Kind>(kind)));
      }
    }
  }
  if (!is_counting) PrintTable(frame, measures);
}

}  // namespace

int main(int argc, char** argv) {
  const bool is_counting = argc == 3 && std::string(argv[1]) == "--count";
  if (argc != (is_counting ? 3 : 2)) Die("usage: request_bench [--count] NODE_LIBRARY");
  Require(framework::OpenNode(argv[argc - 1], &g_entry));
  Require(framework::Framework::Get().Start(MeasuredEntry));
  if (!is_counting) {
    std::puts("process-request on the request thread, microseconds");
    std::printf("%-10s %-36s %9s %9s %9s %9s\n", "frame", "request", "p50", "p90", "p99", "max");
  }
  MeasureFrames("1920x1080", 1920, 1080, is_counting);
  MeasureFrames("3840x2160", 3840, 2160, is_counting);
  return 0;
}
