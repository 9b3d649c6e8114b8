// SPDX-License-Identifier: Apache-2.0
// Drives the built library through its export and measures each kind of request on the thread that
// sends it: times, allocations and, under the counting plugin, instructions. Log lines are dropped
// by the pretend device. Measured is the node's process-request callback alone, with what it calls;
// the pretend framework's functions are part of the times, but their allocations do not count.
// usage: request_bench [--count | --growth | --delays] NODE_LIBRARY
//   --count, for the plugin: few rounds; instead of the table a line for each of the plugin's
//   regions, in order: "FRAME<tab>REQUEST", REQUEST "-" for what only leads to another one.
//   --growth, for the plugin: the same with other numbers of faces and of nodes, in place of FRAME
//   --delays: the time from hand-over to published figures, by the length of a model's call
#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/marks.h"
#include "device/control.h"
#include "framework/framework.h"
#include "framework/worker_watch.h"
#include "image/zy_copy_buffer.h"
#include "media/image_of.h"
#include "media/nv12.h"

// ---- Allocations of this program and of what it loads -------------------------------------------

namespace {
thread_local uint64_t t_allocations = 0;
}  // namespace

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) noexcept {
  ++t_allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) noexcept {
  ++t_allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) noexcept {
  ++t_allocations;
  return __libc_realloc(block, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  ++t_allocations;
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  ++t_allocations;
  *block = __libc_memalign(alignment, size);
  return *block != nullptr ? 0 : ENOMEM;
}

}  // extern "C"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::minutes kRestTimeout{5};

// ---- The node's callback and the framework's functions, with measures around them ---------------

// What is measured. kLeadUp only leads to another kind.
enum Kind { kOffCadence, kPaced, kDropped, kTaken, kStraightCopy, kLeadUp };

constexpr int kMeasuredKinds = kLeadUp;
constexpr const char* kKindNames[] = {
    "off the cadence", "on it, not considered by the worker", "on it, dropped: the worker is busy",
    "on it, taken",    "straight copy of the frame",          "-"};

struct Measure {
  double microseconds = 0;
  double processor_microseconds = 0;  // of the thread: leaves out when another one ran
  uint64_t allocations = 0;
};

ChiNodeInterface g_framework = {};
ChiNodeCallbacks g_node = {};
Measure g_last;
Kind g_kind = kLeadUp;               // of the next request
const char* g_frame_name = nullptr;  // when regions are to be printed

// Calls a function of the pretend framework, whose instructions are counted apart and whose
// allocations are not the node's.
template <typename Query>
ChiResult CallApart(ChiResult (*function)(Query*), Query* query) {
  const uint64_t allocations = t_allocations;
  insncount_apart();
  const ChiResult result = function(query);
  insncount_rejoin();
  t_allocations = allocations;
  return result;
}

ChiResult GetMetadataApart(ChiMetadataGet* get) { return CallApart(g_framework.pGetMetadata, get); }
ChiResult SetMetadataApart(ChiMetadataSet* set) { return CallApart(g_framework.pSetMetadata, set); }
ChiResult GetVendorTagBaseApart(ChiVendorTagBase* query) {
  return CallApart(g_framework.pGetVendorTagBase, query);
}

void MeasuredSetNodeInterface(ChiNodeInterface* interface) {
  g_framework = *interface;
  ChiNodeInterface ours = *interface;
  ours.pGetMetadata = GetMetadataApart;
  ours.pSetMetadata = SetMetadataApart;
  ours.pGetVendorTagBase = GetVendorTagBaseApart;
  g_node.pSetNodeInterface(&ours);
}

double ThreadMicroseconds() {
  timespec now = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

template <typename Run>
Measure MeasureOnce(Run run) {
  Measure measure;
  const uint64_t allocations = t_allocations;
  const double processor_begin = ThreadMicroseconds();
  const Clock::time_point begin = Clock::now();
  insncount_begin();
  run();
  insncount_end();
  const std::chrono::duration<double, std::micro> time = Clock::now() - begin;
  measure.microseconds = time.count();
  measure.processor_microseconds = ThreadMicroseconds() - processor_begin;
  measure.allocations = t_allocations - allocations;
  if (g_frame_name != nullptr) std::printf("%s\t%s\n", g_frame_name, kKindNames[g_kind]);
  return measure;
}

ChiResult MeasuredProcessRequest(ChiNodeProcessRequestInfo* info) {
  ChiResult result = kChiFailed;
  g_last = MeasureOnce([&] { result = g_node.pProcessRequest(info); });
  return result;
}

framework::NodeEntry g_entry = nullptr;

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
  if (!framework::WaitForRestingWorkers(kRestTimeout)) Die("the worker does not come to rest");
}

// The worker has what the node's copy overwrites in another core's cache, and the frame may be in
// ours: neither must make a difference between the node's copy and one that it is compared with.
void PushOutOfCaches() {
  constexpr std::size_t kMoreThanCaches = std::size_t{96} << 20;
  static std::vector<uint8_t> bytes(kMoreThanCaches);
  static uint8_t value = 0;
  std::fill(bytes.begin(), bytes.end(), ++value);
}

// A session on frames of one size, by default with three faces, which sends requests of the wanted
// kind.
class Stream {
 public:
  Stream(int width, int height, int faces = 3) {
    Require(media::ShapeFrame(width, height, width, &frame_));
    std::fill(frame_.bytes.begin(), frame_.bytes.end(), uint8_t{90});
    Require(session_.Create(0, static_cast<uint32_t>(width), static_cast<uint32_t>(height)));
    session_.PostPipelineCreate();
    AwaitWorker();
    SetInput(faces);
    if (ZyAllocBuffer(&copy_, width, height, kZyFormatYuv420SemiPlanar) == 0) Die("no memory");
    hands_over_ = faces > 0;
    if (hands_over_) {
      for (int i = 0; i < 3; ++i) SendTaken();  // until the worker knows the size
      SendDropped();
    } else {
      for (const Kind kind : {kOffCadence, kPaced}) SendNext(kind);
    }
    is_warm_ = true;
  }
  ~Stream() { ZyFreeBuffer(&copy_); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  // Without faces the node hands no frame over.
  bool hands_over() const { return hands_over_; }

  // Milliseconds from the hand-over of a frame with other pixels than before until its figures are
  // published. The node reads figures on the cadence, so a request on it is sent each millisecond.
  double AwaitFigures() {
    std::fill(frame_.bytes.begin(), frame_.bytes.end(), static_cast<uint8_t>(~*frame_.Luma()));
    SendPacedOffers();
    const framework::ResultRecord before = session_.Result();
    const Clock::time_point begin = Clock::now();
    SendNext(kTaken);
    framework::ResultRecord now = session_.Result();
    int offers = 0;
    for (; std::memcmp(&now, &before, sizeof(now)) == 0; ++offers) {
      if (Clock::now() - begin > kRestTimeout) Die("the figures do not change");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      SendNext(kPaced);
      now = session_.Result();
    }
    const std::chrono::duration<double, std::milli> time = Clock::now() - begin;
    offers_ = offers % 4;
    AwaitWorker();
    return time.count();
  }

  // One measure of a kind. What it takes to get there is not measured.
  Measure Send(Kind kind) {
    switch (kind) {
      case kOffCadence:
        return SendNext(kOffCadence);
      case kPaced:
        return hands_over_ ? SendPaced() : SendNext(kPaced);
      case kDropped:
        return SendDropped();
      case kTaken:
        return SendTaken();
      default:
        return CopyStraight();
    }
  }

 private:
  void SetInput(int faces) {
    std::vector<int32_t> rects;  // at twice the sensor's size
    for (int face = 0; face < faces; ++face) {
      rects.insert(rects.end(), {400 + 600 * face, 400, 800 + 600 * face, 800});
    }
    framework::SetUsualMetadata(static_cast<uint32_t>(frame_.width),
                                static_cast<uint32_t>(frame_.height), rects, &session_.Input());
    const uint8_t quad_cfa = 0;
    session_.Input().Set(framework::Framework::Get().Tags().Id("brodax.quadcfa", "enabled"),
                         &quad_cfa, 1, 1);
  }

  // Sends the next frame whose number suits the kind.
  Measure SendNext(Kind kind) {
    do {
      ++frame_number_;
    } while (((frame_number_ + 2) % 6 == 0) != (kind != kOffCadence));
    framework::CameraBuffer input(&frame_);
    framework::CameraBuffer output(&frame_);
    g_kind = is_warm_ ? kind : kLeadUp;
    Require(session_.Process(frame_number_, &input, &output));
    return g_last;
  }

  // The worker considers one offer in four; three can be made before that.
  Measure SendPaced() {
    if (offers_ == 3) SendTaken();
    ++offers_;
    return SendNext(kPaced);
  }

  // Leaves an offer that the worker considers to come next.
  void SendPacedOffers() {
    while (offers_ < 3) SendPaced();
    offers_ = 0;
  }

  Measure SendConsidered(Kind kind) {
    SendPacedOffers();
    if (kind == kTaken) PushOutOfCaches();
    return SendNext(kind);
  }

  // A worker reads the clock once at the end of each pass.
  void AwaitPasses(uint64_t clock_reads) {
    AwaitWorker();
    if (device::ClockReads() != clock_reads) Die("a frame was not treated as expected");
  }

  Measure SendTaken() {
    const uint64_t passes = device::ClockReads();
    const Measure measure = SendConsidered(kTaken);
    AwaitPasses(passes + 1);
    return measure;
  }

  // While it waits for a signal the worker is busy with the frame before.
  Measure SendDropped() {
    const uint64_t passes = device::ClockReads();
    framework::HoldSignals(true);
    SendConsidered(kLeadUp);
    const Measure measure = SendConsidered(kDropped);
    framework::HoldSignals(false);
    AwaitPasses(passes + 1);
    return measure;
  }

  Measure CopyStraight() {
    PushOutOfCaches();
    const ZyImageBuffer image = common::ImageOf(frame_);
    g_kind = kStraightCopy;
    return MeasureOnce([&] { ZyCopyBuffer(&copy_, &image, 0); });
  }

  media::Nv12Frame frame_;
  framework::Session session_;
  ZyImageBuffer copy_ = {};
  bool is_warm_ = false;
  bool hands_over_ = false;
  uint64_t frame_number_ = 0;
  int offers_ = 3;  // since the last one that the worker considered; it considers the first
};

// ---- The table ----------------------------------------------------------------------------------

using Measures = std::vector<Measure>;

double Percentile(std::vector<double> values, double percent) {
  const auto at =
      static_cast<std::ptrdiff_t>(static_cast<double>(values.size() - 1) * percent / 100.0 + 0.5);
  std::nth_element(values.begin(), values.begin() + at, values.end());
  return values[static_cast<std::size_t>(at)];
}

std::vector<double> Times(const Measures& measures) {
  std::vector<double> times;
  for (const Measure& measure : measures) times.push_back(measure.microseconds);
  return times;
}

// The middle one of all rounds' ratios of processor times.
double RatioOf(const Measures& ours, const Measures& reference) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < ours.size(); ++i) {
    ratios.push_back(ours[i].processor_microseconds / reference[i].processor_microseconds);
  }
  return Percentile(ratios, 50);
}

uint64_t MostAllocations(const Measures& measures) {
  uint64_t most = 0;
  for (const Measure& measure : measures) most = std::max(most, measure.allocations);
  return most;
}

// Rounds of every kind in turns, so that what else the machine does meets them alike.
void MeasureKinds(Stream* stream, int rounds, Measures (*measures)[kMeasuredKinds]) {
  constexpr int kOffCadenceEach = 5;  // as many as a pipeline sends between two others
  for (int round = 0; round < rounds; ++round) {
    for (int kind = 0; kind < kMeasuredKinds; ++kind) {
      const int times = kind == kOffCadence ? kOffCadenceEach : 1;
      for (int i = 0; i < times; ++i) {
        (*measures)[kind].push_back(stream->Send(static_cast<Kind>(kind)));
      }
    }
  }
}

void PrintTable(const char* frame, const Measures (&measures)[kMeasuredKinds]) {
  for (int kind = 0; kind < kMeasuredKinds; ++kind) {
    const std::vector<double> times = Times(measures[kind]);
    std::printf("%-10s %-36s %9.2f %9.2f %9.2f %9.2f %11llu\n", frame, kKindNames[kind],
                Percentile(times, 50), Percentile(times, 90), Percentile(times, 99),
                Percentile(times, 100),
                static_cast<unsigned long long>(MostAllocations(measures[kind])));
  }
  const double ratio = RatioOf(measures[kTaken], measures[kStraightCopy]);
  std::printf(
      "%-10s processor time of a taken frame, to its straight copy: %.2f; target 1.10: %s\n", frame,
      ratio, ratio <= 1.1 ? "met" : "MISSED");
}

void MeasureFrames(const char* frame, int width, int height, bool is_counting) {
  g_frame_name = is_counting ? frame : nullptr;
  Stream stream(width, height);
  Measures measures[kMeasuredKinds];
  for (Measures& of_kind : measures) of_kind.reserve(4096);
  MeasureKinds(&stream, is_counting ? 3 : 100, &measures);
  if (!is_counting) PrintTable(frame, measures);
}

// ---- How cost grows -----------------------------------------------------------------------------

// Nodes of one process in turns.
void CountGrowth(int faces, int nodes) {
  const std::string name = "faces " + std::to_string(faces) + ", nodes " + std::to_string(nodes);
  g_frame_name = name.c_str();
  std::vector<std::unique_ptr<Stream>> streams;
  for (int i = 0; i < nodes; ++i) streams.push_back(std::make_unique<Stream>(1920, 1080, faces));
  for (int round = 0; round < 3; ++round) {
    for (const Kind kind : {kOffCadence, kPaced, kTaken}) {
      for (const auto& stream : streams) {
        if (kind != kTaken || stream->hands_over()) stream->Send(kind);
      }
    }
  }
}

void CountAllGrowth() {
  for (const int faces : {0, 1, 2, 3, 6}) CountGrowth(faces, 1);
  for (const int nodes : {2, 4}) CountGrowth(3, nodes);
}

void PrintDelays() {
  constexpr int kRounds = 5;
  std::printf("hand-over to published figures, 1920x1080, milliseconds\n%8s %8s %8s %8s %8s\n",
              "faces", "call", "least", "middle", "most");
  for (const int faces : {1, 3}) {
    for (const int delay : {0, 5, 20, 50, 100}) {
      device::AgeGender().Set(&device::ModelSettings::delay, std::chrono::milliseconds(0));
      device::FaceGrade().Set(&device::ModelSettings::delay, std::chrono::milliseconds(0));
      Stream stream(1920, 1080, faces);
      device::AgeGender().Set(&device::ModelSettings::delay, std::chrono::milliseconds(delay));
      device::FaceGrade().Set(&device::ModelSettings::delay, std::chrono::milliseconds(delay));
      std::vector<double> times;
      for (int round = 0; round < kRounds; ++round) times.push_back(stream.AwaitFigures());
      std::printf("%8d %8d %8.1f %8.1f %8.1f\n", faces, delay, Percentile(times, 0),
                  Percentile(times, 50), Percentile(times, 100));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string mode = argc == 3 ? argv[1] : "";
  const bool is_counting = mode == "--count";
  const bool is_known = is_counting || mode == "--growth" || mode == "--delays";
  if (argc != (is_known ? 3 : 2)) {
    Die("usage: request_bench [--count | --growth | --delays] NODE_LIBRARY");
  }
  void* library = dlopen(argv[argc - 1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) Die(dlerror());
  g_entry = reinterpret_cast<framework::NodeEntry>(dlsym(library, "ChiNodeEntry"));
  if (g_entry == nullptr) Die("no ChiNodeEntry");
  Require(framework::Framework::Get().Start(MeasuredEntry));
  if (mode == "--growth") {
    CountAllGrowth();
    return 0;
  }
  if (mode == "--delays") {
    PrintDelays();
    return 0;
  }
  if (!is_counting) {
    std::puts("process-request on the request thread, microseconds");
    std::printf("%-10s %-36s %9s %9s %9s %9s %11s\n", "frame", "request", "p50", "p90", "p99",
                "max", "allocations");
  }
  MeasureFrames("1920x1080", 1920, 1080, is_counting);
  MeasureFrames("3840x2160", 3840, 2160, is_counting);
  return 0;
}
