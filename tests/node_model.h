// SPDX-License-Identifier: Apache-2.0
// What the node and its worker promise, as the plainest program that keeps the promise: no threads,
// no locks, one pixel at a time. A test gives the same calls to the library and to this model, and
// compares what crosses the library's borders. Numbers of the platform stand here as numbers: a
// constant that the library shares with its stand-ins could change unseen.
#ifndef ZY_TESTS_NODE_MODEL_H_
#define ZY_TESTS_NODE_MODEL_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "analysis/zy_preview.h"
#include "host/control.h"
#include "host/face_measure.h"
#include "platform/chi_node.h"

namespace node_model {

// ---- The world around the library ---------------------------------------------------------------

// What crosses the library's borders, in order, a line each.
using Trace = std::vector<std::string>;

__attribute__((format(printf, 2, 3))) inline void Say(Trace& trace, const char* format, ...) {
  char line[1024];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof(line), format, arguments);
  va_end(arguments);
  trace.emplace_back(line);
}

// The tags that are looked up at set-up, in this order, and the one that needs no look-up.
enum Tag { kScore, kGenderAge, kOrientation, kSensor, kQuad, kRole, kResult, kFaceNum, kFaces };
inline constexpr const char* kLookedUp[][2] = {{"brodax.faceScore", "enabled"},
                                               {"brodax.faceGenderAndAge", "enabled"},
                                               {"brodax.device", "orientation"},
                                               {"brodax.sensorSize", "size"},
                                               {"brodax.quadcfa", "enabled"},
                                               {"com.qti.chi.multicamerainfo", "MultiCameraIdRole"},
                                               {"brodax.faceAnalyzeResult", "result"},
                                               {"brodax.faceAnalyzeResult", "faceNum"},
                                               {"com.qti.node.brodaxgenderage", nullptr}};
inline constexpr int kOwnSection = 8;

// A value as the framework hands it out; `data` is null when the tag is absent.
struct Value {
  uint32_t Word(std::size_t index) const {
    uint32_t word;
    std::memcpy(&word, data + 4 * index, sizeof(word));
    return word;
  }
  const uint8_t* data;
  std::size_t count;
};

// A framework: what it knows, and what it answers to the library and to the model alike.
struct World {
  static uint32_t Id(int tag) { return 0x80000000u + 0x110u * static_cast<uint32_t>(tag); }
  uint32_t LookUp(Trace& trace, const ChiVendorTagBase& query) const {
    Say(trace, "look %s/%s up (%u bytes, %u)", query.pComponentName,
        query.pTagName != nullptr ? query.pTagName : "", query.size, query.vendorTagBase);
    for (int k = 0; k <= kOwnSection; ++k) {
      const auto& [section, tag] = kLookedUp[k];
      if (std::strcmp(section, query.pComponentName) != 0) continue;
      if (tag == nullptr || std::strcmp(tag, query.pTagName) == 0) {
        return known >> k & 1u ? Id(k) : 0;
      }
    }
    return 0;
  }
  Value Read(Trace& trace, const ChiMetadataGet& get) const {
    Say(trace, "read %x as %u of session %p, request %llu", get.tag,
        static_cast<uint32_t>(get.type), get.hChiSession,
        static_cast<unsigned long long>(get.requestId));
    for (int k = 0; k < kOwnSection; ++k) {
      if (get.tag == (Id(k) | 0x08000000u)) return values[k];
    }
    return get.tag == 0x08110006u ? values[kFaces] : Value{};
  }
  static void Take(Trace& trace, const ChiMetadataSet& set) {
    Say(trace, "publish %u values of session %p (%u bytes)", set.tagCount, set.hChiSession,
        set.size);
    for (uint32_t i = 0; i < set.tagCount; ++i) {
      const ChiTagData& data = set.pTagData[i];
      const uint32_t own = set.pTagList[i] - Id(kOwnSection);
      const std::size_t bytes =
          std::min<std::size_t>(data.count, 52) * (own < 4 ? std::array{4, 1, 8, 4}[own] : 1u);
      std::string hex;
      for (std::size_t b = 0; b < bytes; ++b) {
        hex += "0123456789abcdef"[static_cast<const uint8_t*>(data.pData)[b] >> 4];
        hex += "0123456789abcdef"[static_cast<const uint8_t*>(data.pData)[b] & 15];
      }
      Say(trace, "  %x of request %llu: %llu elements (%u bytes) %s", set.pTagList[i],
          static_cast<unsigned long long>(data.requestId),
          static_cast<unsigned long long>(data.count), data.size, hex.c_str());
    }
  }

  uint32_t known = ~0u;  // bit k: the tag kLookedUp[k]
  Value values[9] = {};
};

// The device: its properties, its clock, its two models, and what became of them.
struct Device {
  using Answer = std::optional<std::array<float, 4>>;  // none where a model throws
  Answer Ask(Trace& trace, const host::AgeGenderCall& call) const {
    Say(trace, "estimate %d %d %d %d in %dx%d by %g, gray %llx, rgb %llx", call.left, call.top,
        call.right, call.bottom, call.width, call.height, static_cast<double>(call.factor),
        static_cast<unsigned long long>(call.gray_digest),
        static_cast<unsigned long long>(call.rgb_digest));
    return Choose(call.rgb_digest, call.left);
  }
  Answer Ask(Trace& trace, const host::FaceGradeCall& call) const {
    Say(trace, "grade %d %d, %dx%d in %dx%d, %d, rgb %llx", call.x, call.y, call.face_width,
        call.face_height, call.width, call.height, call.flag,
        static_cast<unsigned long long>(call.rgb_digest));
    return Choose(call.rgb_digest + 1, call.x);
  }
  Answer Choose(uint64_t digest, int x) const {
    static const std::array<float, 16> kAnswers = {
        0.0f,  0.25f, 0.5f,   0.6f,     std::nextafter(0.6f, 1.0f),
        0.75f, 7.0f,  20.0f,  31.5f,    49.5f,
        50.5f, 99.5f, 130.0f, INFINITY, -INFINITY,
        NAN};
    const uint64_t seeds[] = {digest, static_cast<uint64_t>(x), mood};
    const uint64_t hash = host::Digest(reinterpret_cast<const uint8_t*>(seeds), sizeof(seeds));
    if (hash >> 60 == 0) return std::nullopt;
    return std::array{kAnswers[hash >> 20 & 15], kAnswers[hash >> 28 & 15],
                      kAnswers[hash >> 36 & 15], kAnswers[hash >> 44 & 15]};
  }

  bool runs_nodes[2] = {true, true};  // whether each property has this node's bit
  int failing_inits = 0;              // negative: all
  bool grader_throws = false;
  bool grader_is_mute = false;
  uint32_t mood = 0;  // what the models answer
  int64_t clock = 0;
  int workers = 0;
  uint64_t inits = 0, clears = 0, graders = 0, negotiations = 0;
};

// ---- The worker ---------------------------------------------------------------------------------

// Sums and differences of edges wrap around.
inline int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

class Worker {
 public:
  Worker(Device& device, Trace& trace)
      : device_(device), trace_(trace), has_grader_(!device.grader_throws) {
    ++device_.workers;
    device_.graders += has_grader_;
    SetModelUp();
  }
  ~Worker() {
    device_.graders -= has_grader_;
    if (--device_.workers == 0) ++device_.clears;
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  int ProcessBuffer(const ZyImageBuffer* image, const android::_FaceLocation* faces, int count,
                    int orientation, int flip) {
    if (image == nullptr) return 0;
    if (faces == nullptr || count < 1) {
      if (count <= 0) mFaceAnalyzeNum = 0;
      return 1;
    }
    if (skipped_++ < 3) return 1;
    skipped_ = 0;
    if (is_pending_) return 1;
    mFaceAnalyzeNum = std::min(count, 3);
    for (int i = 0; i < mFaceAnalyzeNum; ++i) {
      const auto& [x, y, w, h] = faces[i];
      handed_over_[i] = {x, y, Wrap(int64_t{x} + w), Wrap(int64_t{y} + h)};
    }
    is_pending_ = Copy(*image);
    orientation_ = orientation;
    flip_ = flip;
    return 1;
  }

  // What the worker's thread does once it gets its time.
  void Work() {
    if (!std::exchange(is_pending_, false)) return;
    TurnUpright();
    std::copy_n(handed_over_, mFaceAnalyzeNum, rects_);
    for (int i = 0; i < mFaceAnalyzeNum; ++i) Analyse(i);
    for (int i = 0; i < 3; ++i) {
      mProp[i] = prop_[i];
      mGender[i] = gender_[i];
      mAgeWhenGenderHigh[i] = mAgeWhenGenderLow[i] = age_[i];
      mFaceGrade[i] = grade_[i];
      for (int e = 0; e < 4; ++e) mAnalyzedRects[i][e] = rects_[i][static_cast<unsigned>(e)];
    }
    last_pass_ = device_.clock;
    SetModelUp();
  }

  int getFaceIndex(bool fresh, int left, int right, int top, int bottom) const {
    if (fresh && (!is_model_ready_ || device_.clock - last_pass_ >= 2000000001)) return -1;
    const auto tolerance = static_cast<int64_t>(static_cast<float>(int64_t{right} - left) * 0.3f);
    const int64_t wanted[] = {left, top, right, bottom};
    for (int i = 0; i < mFaceAnalyzeNum; ++i) {
      bool matches = true;
      for (int e = 0; e < 4; ++e) matches &= std::abs(mAnalyzedRects[i][e] - wanted[e]) < tolerance;
      if (matches) return i;
    }
    return -1;
  }

  bool is_pending() const { return is_pending_; }

  float mProp[3] = {0.7f, 0.7f, 0.7f};
  float mGender[3] = {};
  float mAgeWhenGenderHigh[3] = {24.0f, 24.0f, 24.0f};
  float mAgeWhenGenderLow[3] = {20.0f, 20.0f, 20.0f};
  float mFaceGrade[3] = {80.0f, 80.0f, 80.0f};
  int32_t mAnalyzedRects[3][4] = {};
  int mFaceAnalyzeNum = 0;
  bool mFaceGenderAndAgeEnabled = false;
  bool mFaceScoreEnabled = false;

 private:
  using Rect = std::array<int32_t, 4>;  // left, top, right, bottom

  void SetModelUp() {
    for (int i = 0; i < 3 && !is_model_ready_; ++i) {
      ++device_.inits;
      is_model_ready_ = device_.failing_inits == 0;
      if (device_.failing_inits > 0) --device_.failing_inits;
    }
  }

  // Rows without padding, as many chroma pairs and rows as are whole.
  bool Copy(const ZyImageBuffer& from) {
    if (from.format != 1 || from.plane[0] == nullptr || from.plane[1] == nullptr) return false;
    if (from.width < 1 || from.height < 1) return false;
    if (int64_t{from.width} * from.height * 3 > INT32_MAX) return false;
    width_ = from.width;
    height_ = from.height;
    for (int p = 0; p < 2; ++p) {
      const int bytes = width_ >> p << p;
      planes_[p].assign(static_cast<std::size_t>(width_ * height_), 0);
      for (int y = 0; y < height_ >> p; ++y) {
        std::copy_n(from.plane[p] + y * from.stride[p], bytes, planes_[p].data() + y * width_);
      }
    }
    return true;
  }

  static uint8_t Clip(int k) {
    return static_cast<uint8_t>(std::clamp(((k - 16) * 76283 + 32768) >> 16, 0, 255));
  }

  void TurnUpright() {
    const bool lies = orientation_ == 90 || orientation_ == 270;
    const int columns = (lies ? width_ : height_) / 2, rows = (lies ? height_ : width_) / 2;
    gray_.clear();
    rgb_.clear();
    for (int r = 0; r < rows; ++r) {
      for (int c = 0; c < columns; ++c) AddPixel(2 * c, 2 * r);
    }
    // The models are told the size of an image that lies also where the angle is none of the four.
    const bool stands = orientation_ == 0 || orientation_ == 180;
    upright_width_ = (stands ? height_ : width_) / 2;
    upright_height_ = (stands ? width_ : height_) / 2;
  }
  // `c` and `r`: twice the column and the row.
  void AddPixel(int c, int r) {
    const int w = width_, h = height_;
    const bool swapped = orientation_ == 0 && flip_ != 1;
    const auto [x, y] = orientation_ == 270  ? std::pair(c, r)
                        : orientation_ == 90 ? std::pair(w - 2 - c, h - 1 - r)
                        : swapped            ? std::pair(r, h - 2 - c)
                        : orientation_ == 0  ? std::pair(w - 2 - r, h - 1 - c)
                        : flip_ == 1         ? std::pair(r, c)
                                             : std::pair(w - 2 - r, c);
    // There is no chroma row below the last whole one, and no pair at the end of an odd row.
    const int pair = std::min(y / 2, h / 2 - 1) * w + std::min(x, w / 2 * 2 - 2);
    const int luma = planes_[0][static_cast<std::size_t>(y * w + x)];
    const int u = planes_[1][static_cast<std::size_t>(pair + swapped)] - 128;
    const int v = planes_[1][static_cast<std::size_t>(pair + !swapped)] - 128;
    gray_.push_back(static_cast<uint8_t>(luma));
    rgb_.push_back(Clip(luma + ((113618 * u + 32768) >> 16)));
    rgb_.push_back(Clip(luma + ((-22014 * u + 32768 - 45773 * v) >> 16)));
    rgb_.push_back(Clip(luma + ((89858 * v + 32768) >> 16)));
  }

  // Exact, wherever the edges lie.
  std::array<int64_t, 4> Turn(const Rect& rect) const {
    const int64_t w = width_, h = height_, l = rect[0], t = rect[1], r = rect[2], b = rect[3];
    if (orientation_ == 270) return {l, t, r, b};
    if (orientation_ == 90) return {w - r, h - b, w - l, h - t};
    if (orientation_ == 0 && flip_ == 1) return {h - b, w - r, h - t, w - l};
    if (orientation_ == 0) return {h - b, l, h - t, r};
    if (flip_ == 1) return {t, l, b, r};
    return {t, w - r, b, w - l};
  }

  void Analyse(int slot) {
    if (!has_grader_) return;
    const auto [left, top, right, bottom] = Turn(rects_[slot]);
    const auto limit = static_cast<int>(static_cast<float>(std::min(width_, height_)) / 6.0f);
    const bool valid = right - left > limit && !gray_.empty();
    const int x = Wrap(left / 2), y = Wrap(top / 2);
    const int x1 = Wrap(right / 2), y1 = Wrap(bottom / 2);
    const uint64_t rgb = host::Digest(rgb_.data(), rgb_.size());
    if (mFaceGenderAndAgeEnabled) {
      Device::Answer answer;
      if (valid) {
        answer = device_.Ask(
            trace_, host::AgeGenderCall{upright_width_, upright_height_, x, y, x1, y1, 1.0f,
                                        host::Digest(gray_.data(), gray_.size()), rgb});
      }
      const auto [age, prop, gender, unused] = answer.value_or(std::array<float, 4>{});
      prop_[slot] = prop;
      gender_[slot] = gender;
      age_[slot] = age;
    }
    if (mFaceScoreEnabled) {
      grade_[slot] = 0.0f;
      if (!valid) return;
      Device::Answer answer = {{}};
      if (!device_.grader_is_mute) {
        answer = device_.Ask(trace_,
                             host::FaceGradeCall{x, y, Wrap(int64_t{x1} - x), Wrap(int64_t{y1} - y),
                                                 upright_width_, upright_height_, false, rgb});
      }
      if (!answer) return;
      const float grade = answer->front();
      grade_[slot] = grade > 100.0f ? 100.0f : grade < 50.0f ? 50.0f : grade;
    }
  }

  Device& device_;
  Trace& trace_;
  const bool has_grader_;
  bool is_model_ready_ = false;
  int skipped_ = 3;
  bool is_pending_ = false;
  int64_t last_pass_ = 0;
  Rect handed_over_[3] = {};
  int width_ = 0, height_ = 0, orientation_ = 0, flip_ = 0;
  std::vector<uint8_t> planes_[2];
  // What a pass does not write keeps its value.
  int upright_width_ = 0, upright_height_ = 0;
  std::vector<uint8_t> gray_, rgb_;
  Rect rects_[3] = {};
  float prop_[3] = {}, gender_[3] = {}, age_[3] = {}, grade_[3] = {};
};

// ---- The node -----------------------------------------------------------------------------------

// What all nodes of the process share.
struct Library {
  void SetNodeInterface(const ChiNodeInterface* given) {
    if (given == nullptr) return;
    if (given->size >= 120) {
      interface = *given;
      if (interface.pGetVendorTagBase != nullptr) own_base = LookUp(kLookedUp[kOwnSection]);
    }
    for (int k = 0; k < kOwnSection; ++k) ids[k] = LookUp(kLookedUp[k]);
  }
  uint32_t LookUp(const char* const (&tag)[2]) const {
    if (interface.pGetVendorTagBase == nullptr) return 0;
    return world.LookUp(trace, {24, 0, tag[0], tag[1]});
  }

  const World& world;
  Trace& trace;
  ChiNodeInterface interface;
  uint32_t own_base;
  uint32_t ids[kOwnSection];
};

struct Result {
  int32_t count;
  float gender[3], age[3], score[3], prop[3];
};

class Node {
 public:
  Node(Library& library, Device& device, const ChiNodeCreateInfo& info)
      : library_(library),
        device_(device),
        session_(info.hChiSession),
        caps_(info.nodeCapsMask),
        runs_(device.runs_nodes[0] && device.runs_nodes[1]) {}

  bool Negotiates() const { return caps_ != 2 && caps_ != 4; }
  void SetBufferSize(uint32_t width, uint32_t height) {
    buffer_size_[0] = width;
    buffer_size_[1] = height;
  }
  void CreatePipeline() {
    if (!runs_) return;
    worker_ = nullptr;
    worker_ = std::make_unique<Worker>(device_, library_.trace);
    worker_->mFaceGenderAndAgeEnabled = gender_age_is_on_;
    worker_->mFaceScoreEnabled = score_is_on_;
  }
  Worker* worker() { return worker_.get(); }

  void Process(const ChiNodeProcessRequestInfo& info) {
    const bool has_input = info.inputNum > 0 && info.phInputBuffer != nullptr;
    const ChiNodeBuffer* const input = has_input ? info.phInputBuffer[0] : nullptr;
    full_ = input != nullptr ? input->format : ChiImageFormat{};
    request_ = info.frameNum;
    ReadMetadata();
    result_ = {};
    if (role_ == 1 && (gender_age_is_on_ || score_is_on_)) {
      if (face_count_ == 0) {
        result_ = {0, {}, {20, 20, 20}, {80, 80, 80}, {0.7f, 0.7f, 0.7f}};
      } else if (worker_ != nullptr && (info.frameNum + 2) % 6 == 0) {
        HandOver(input);
      }
    }
    Publish();
  }

 private:
  Value Read(uint32_t tag) const {
    if (library_.interface.pGetMetadata == nullptr || tag == 0) return {};
    return library_.world.Read(
        library_.trace,
        {0, tag | 0x08000000u, static_cast<ChiMetadataType>(2), 0, session_, request_, nullptr, 0});
  }

  void ReadMetadata() {
    library_.LookUp({"com.qti.node.brodaxgenderage", "SupportedFeature"});
    uint32_t camera = 0;
    if (const Value role = Read(library_.ids[kRole]); role.data != nullptr) {
      role_ = role.Word(1) == 1;
      camera = role.Word(2);
    }
    const Value gender_age = Read(library_.ids[kGenderAge]);
    if (gender_age.data != nullptr && worker_ != nullptr) {
      worker_->mFaceGenderAndAgeEnabled = gender_age_is_on_ = gender_age.Word(0) != 0;
    }
    const Value score = Read(library_.ids[kScore]);
    if (score.data != nullptr && worker_ != nullptr) {
      worker_->mFaceScoreEnabled = score_is_on_ = score.Word(0) != 0;
    }
    bool whole = false;
    if (const Value sensor = Read(library_.ids[kSensor]); sensor.data != nullptr) {
      const Value quad = Read(library_.ids[kQuad]);
      whole = quad.data != nullptr && quad.data[0] != 0 && camera != 7;
      sensor_[0] = sensor.Word(0);
      sensor_[1] = sensor.Word(1);
    }
    if (const Value value = Read(library_.ids[kOrientation]); value.data != nullptr) {
      orientation_ = value.Word(0);
    }
    Read(library_.ids[kResult]);
    ReadFaces(whole);
  }

  void ReadFaces(bool whole) {
    const Value faces = Read(0x00110006);
    face_count_ = static_cast<int>(faces.count / 4 % 256);
    if (faces.data == nullptr || face_count_ == 0) return;
    face_count_ = std::min(face_count_, 3);
    if (sensor_[0] == 0 || sensor_[1] == 0) return;
    if (full_.width > sensor_[0] || full_.height > sensor_[1]) return;
    for (int i = 0; i < face_count_; ++i) {
      uint32_t edges[4];
      for (unsigned e = 0; e < 4; ++e) {
        const uint32_t edge = faces.Word(static_cast<unsigned>(i) * 4 + e) >> (whole ? 0 : 1);
        edges[e] = edge * (e % 2 == 0 ? full_.width : full_.height) / sensor_[e % 2];
      }
      faces_[i] = {Wrap(edges[0]), Wrap(edges[1]), Wrap(int64_t{edges[2]} - edges[0] + 1),
                   Wrap(int64_t{edges[3]} - edges[1] + 1)};
    }
  }

  void HandOver(const ChiNodeBuffer* input) {
    if (input != nullptr && input->numPlanes >= 2 && input->numImages >= 1 &&
        input->pImages != nullptr) {
      const int32_t width = Wrap(full_.width), pitch = Wrap(input->planeStride);
      uint8_t* const* planes = input->pImages->pPlaneAddress;
      const ZyImageBuffer image = {1,
                                   width,
                                   Wrap(full_.height),
                                   {pitch, pitch, 0, 0},
                                   {planes[0], planes[1], nullptr, nullptr}};
      if (planes[0] != nullptr && planes[1] != nullptr && pitch >= width) {
        worker_->ProcessBuffer(&image, faces_, face_count_, Wrap(orientation_), role_);
      }
    }
    result_.count = std::min(face_count_, 3);
    for (int i = 0; i < result_.count; ++i) {
      const auto& [x, y, w, h] = faces_[i];
      const bool known =
          worker_->getFaceIndex(false, x, Wrap(int64_t{x} + w), y, Wrap(int64_t{y} + h)) >= 0;
      const float gender = worker_->mGender[i];
      result_.gender[i] = known ? gender : 0.0f;
      result_.age[i] = !known          ? 20.0f
                       : gender > 0.6f ? worker_->mAgeWhenGenderHigh[i]
                                       : worker_->mAgeWhenGenderLow[i];
      result_.score[i] = known ? worker_->mFaceGrade[i] : 80.0f;
      result_.prop[i] = known ? worker_->mProp[i] : 0.0f;
    }
  }

  void Publish() {
    const uint32_t one = 1;
    const uint64_t processed = 0;
    std::vector<uint32_t> ids;
    std::vector<ChiTagData> values;
    const auto add = [&](uint32_t id, const void* data, uint64_t count) {
      ids.push_back(id);
      values.push_back({48, 0, request_, data, count, {}});
    };
    if (library_.own_base != 0) {
      add(library_.own_base, &one, 1);
      add(library_.own_base + 1, &caps_, 1);
      add(library_.own_base + 2, &processed, 1);
      add(library_.own_base + 3, buffer_size_, 2);
    }
    const uint32_t tag = library_.LookUp(kLookedUp[kResult]);
    if (tag != 0) add(tag, &result_, 52);
    if (ids.empty() || library_.interface.pSetMetadata == nullptr) return;
    World::Take(library_.trace,
                {32, static_cast<uint32_t>(ids.size()), session_, ids.data(), values.data()});
  }

  Library& library_;
  Device& device_;
  const ChiHandle session_;
  const uint32_t caps_;
  const bool runs_;
  std::unique_ptr<Worker> worker_;
  uint64_t request_ = 0;
  uint32_t buffer_size_[2] = {};
  ChiImageFormat full_ = {};
  uint32_t sensor_[2] = {};
  uint32_t orientation_ = 0;
  int role_ = 0;
  bool gender_age_is_on_ = false, score_is_on_ = false;
  android::_FaceLocation faces_[3] = {};
  int face_count_ = 0;
  Result result_ = {};
};

}  // namespace node_model

#endif  // ZY_TESTS_NODE_MODEL_H_
