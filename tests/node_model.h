// SPDX-License-Identifier: Apache-2.0
// A plain model of the node and its worker: no threads, no locks, one pixel at a time. A test makes
// the same calls to the library and to this model, and compares everything that crosses the
// library's borders. Constants of the platform are written as numbers here: a change of one that
// the library shares with its fakes would otherwise stay hidden.
#ifndef ZY_TESTS_NODE_MODEL_H_
#define ZY_TESTS_NODE_MODEL_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "analysis/zy_preview.h"
#include "common/digest.h"
#include "device/control.h"
#include "platform/chi_node.h"
#include "tests/kernel_oracles.h"

namespace node_model {

// ---- The world around the library ---------------------------------------------------------------

// The tags in the order of their look-ups; the last one needs none.
enum Tag { kScore, kGenderAge, kOrientation, kSensor, kQuad, kRole, kResult, kFaceNum, kFaces };
inline constexpr const char* kTags[][2] = {
    {"brodax.faceScore", "enabled"},        {"brodax.faceGenderAndAge", "enabled"},
    {"brodax.device", "orientation"},       {"brodax.sensorSize", "size"},
    {"brodax.quadcfa", "enabled"},          {"com.qti.chi.multicamerainfo", "MultiCameraIdRole"},
    {"brodax.faceAnalyzeResult", "result"}, {"brodax.faceAnalyzeResult", "faceNum"}};
inline constexpr const char* kOwnSection = "com.qti.node.brodaxgenderage";

// The framework and the device. They answer the library and the model alike and record every query.
struct World {
  template <typename... Words>
  void Say(const Words&... words) {
    std::ostringstream line;
    ((line << words << ' '), ...);
    *trace += line.str() + "\n";
  }
  static uint32_t Id(uint32_t tag) { return 0x80000000u + 0x110u * tag; }
  ChiResult LookUp(ChiVendorTagBase* query) {
    const std::string section = query->pComponentName;
    const std::string tag = query->pTagName != nullptr ? query->pTagName : "";
    Say("look up", section, tag, query->size, query->vendorTagBase);
    uint32_t k = kScore;
    while (k <= kFaceNum && (section != kTags[k][0] || tag != kTags[k][1])) ++k;
    const bool is_known = k <= kFaceNum || section == kOwnSection;
    query->vendorTagBase = is_known && (known >> k & 1u) != 0 ? Id(k) : 0;
    return result;
  }
  ChiResult Read(ChiMetadataGet* get) {
    Say("read", get->tag, static_cast<uint32_t>(get->type), get->hChiSession, get->requestId);
    uint32_t k = kScore;
    while (k <= kFaceNum && get->tag != (Id(k) | 0x08000000u)) ++k;
    const bool is_known = k <= kFaceNum || get->tag == 0x08110006u;
    get->pData = is_known ? values[k] : nullptr;
    get->count = is_known ? counts[k] : 0;
    return result;
  }
  ChiResult Publish(ChiMetadataSet* set) {
    Say("publish", set->size, set->hChiSession);
    for (uint32_t i = 0; i < set->tagCount; ++i) {
      const ChiTagData& data = set->pTagData[i];
      Say("value", set->pTagList[i], data.requestId, data.size, data.count);
      const uint32_t own = set->pTagList[i] - Id(kFaces);
      const uint64_t size = own < 4 ? std::array<uint64_t, 4>{4, 1, 8, 4}[own] : 1;
      for (uint64_t b = 0; b < size * std::min<uint64_t>(data.count, 52); ++b) {
        Say(int{static_cast<const uint8_t*>(data.pData)[b]});
      }
    }
    return result;
  }
  device::AgeGenderAnswer Ask(const device::AgeGenderCall& call) {
    Say("estimate", call.left, call.top, call.right, call.bottom, call.width, call.height,
        call.factor, call.gray_digest, call.rgb_digest);
    const uint64_t seed = call.rgb_digest + static_cast<uint64_t>(call.left);
    return {Figure(seed, 1), Figure(seed, 2), Figure(seed, 3)};
  }
  device::FaceGradeAnswer Ask(const device::FaceGradeCall& call) {
    Say("grade", call.left, call.top, call.right, call.bottom, call.width, call.height, call.flag,
        call.rgb_digest);
    return {Figure(call.rgb_digest + static_cast<uint64_t>(call.left), 4), {}};
  }
  float Figure(uint64_t digest, uint64_t kind) const {
    constexpr float kFigures[] = {0.0f,  0.6f,  0.60000008f, 0.75f,  9.0f,     49.5f,     50.5f,
                                  75.0f, 99.5f, 100.5,       130.0f, INFINITY, -INFINITY, NAN};
    const uint64_t choice = (digest ^ mood << 8 ^ kind) * 0x9e3779b97f4a7c15u >> 60;
    if (choice >= std::size(kFigures)) throw std::runtime_error("no answer");
    return kFigures[choice];
  }

  // Stores the library's copy of the framework's functions and the identifiers that it looked up.
  void SetNodeInterface(const ChiNodeInterface* given) {
    if (given == nullptr) return;
    if (given->size >= 120) {
      interface = *given;
      if (interface.pGetVendorTagBase != nullptr) own_base = Ask(kOwnSection, nullptr);
    }
    for (int k = kScore; k <= kFaceNum; ++k) ids[k] = Ask(kTags[k][0], kTags[k][1]);
  }
  uint32_t Ask(const char* section, const char* tag) {
    ChiVendorTagBase query = {24, 0, section, tag};
    if (interface.pGetVendorTagBase != nullptr) LookUp(&query);
    return query.vendorTagBase;
  }

  std::string* trace = nullptr;
  ChiNodeInterface interface = {};
  uint32_t own_base = 0;
  uint32_t ids[kFaces + 1] = {0, 0, 0, 0, 0, 0, 0, 0, 0x00110006};
  ChiResult result = 0;  // of every call; nobody may listen to it
  uint32_t known = ~0u;  // bit k: tag k; the last one: the node's own section
  void* values[kFaces + 1] = {};
  std::size_t counts[kFaces + 1] = {};
  bool runs_nodes[2] = {true, true};  // whether each property has the node's bit
  int failing_inits = 0;              // negative: all
  bool grader_throws = false, grader_is_mute = false;
  uint64_t mood = 0;  // seed of the models' answers
  uint64_t workers = 0, inits = 0, clears = 0, graders = 0, negotiations = 0;
};

// ---- The worker ---------------------------------------------------------------------------------

inline int32_t Wrap(int64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }
inline int32_t Sum(int32_t a, int32_t b) { return Wrap(int64_t{a} + b); }

class Worker {
 public:
  explicit Worker(World& world) : world_(world), has_grader_(!world.grader_throws) {
    ++world_.workers;
    world_.graders += has_grader_;
    SetModelUp();
  }
  ~Worker() {
    world_.graders -= has_grader_;
    if (--world_.workers == 0) ++world_.clears;
  }

  void ProcessBuffer(const ZyImageBuffer& image, const android::_FaceLocation* faces, int count,
                     int orientation, bool flip) {
    if (skipped_++ < 3) return;
    skipped_ = 0;
    if (is_pending_) return;
    face_count_ = std::min(count, 3);
    for (int i = 0; i < face_count_; ++i) {
      const auto& [x, y, w, h] = faces[i];
      handed_over_[i] = {x, y, Sum(x, w), Sum(y, h)};
    }
    is_pending_ = Copy(image);
    orientation_ = orientation;
    flip_ = flip;
  }

  // Does the work of the worker's thread.
  void Work() {
    if (!std::exchange(is_pending_, false)) return;
    if (!std::exchange(has_worked_, true)) found = {};
    TurnUpright();
    std::copy_n(handed_over_, face_count_, rects_);
    for (int i = 0; i < face_count_ && has_grader_; ++i) Analyse(i);
    SetModelUp();
  }

  // Returns whether an analysed face has this rectangle.
  bool Knows(int left, int right, int top, int bottom) const {
    const auto tolerance = static_cast<int64_t>(static_cast<float>(int64_t{right} - left) * 0.3f);
    const auto near = [&](int64_t a, int64_t b) { return std::abs(a - b) < tolerance; };
    for (int i = 0; i < face_count_; ++i) {
      const auto& [l, t, r, b] = rects_[i];
      if (near(l, left) && near(t, top) && near(r, right) && near(b, bottom)) return true;
    }
    return false;
  }

  // Values that a pass does not write stay; before the first pass there are none.
  struct {
    float prop[3], gender[3], age_if_high[3], age_if_low[3], grade[3];
  } found = {{0.7f, 0.7f, 0.7f}, {}, {24, 24, 24}, {20, 20, 20}, {80, 80, 80}};
  bool gender_age_on = false, score_on = false;

 private:
  void SetModelUp() {
    for (int i = 0; i < 3 && !is_model_ready_; ++i) {
      ++world_.inits;
      is_model_ready_ = world_.failing_inits == 0;
      if (world_.failing_inits > 0) --world_.failing_inits;
    }
  }

  // Copies rows without padding, and only whole chroma pairs and rows.
  bool Copy(const ZyImageBuffer& from) {
    if (from.width < 1 || from.height < 1) return false;
    if (int64_t{from.width} * from.height * 3 > INT32_MAX) return false;
    width_ = from.width;
    height_ = from.height;
    for (auto& plane : planes_) plane.assign(static_cast<std::size_t>(width_ * height_), 0);
    const ZyImageBuffer to = {
        1, width_, height_, {width_, width_}, {planes_[0].data(), planes_[1].data()}};
    return testing_support::CopyNaively(to, from, 0);
  }

  void TurnUpright() {
    const testing_support::UprightCall call = {orientation_, flip_, width_, height_};
    gray_.resize(static_cast<std::size_t>(call.pixels()));
    bgr_.resize(3 * gray_.size());
    testing_support::ConvertNaively(call, planes_[0].data(), planes_[1].data(), gray_.data(),
                                    bgr_.data());
  }

  // Maps a rectangle of the frame to the upright image, at the frame's scale, exactly for any
  // input.
  std::array<int64_t, 4> Turn(const std::array<int32_t, 4>& rect) const {
    const int64_t w = width_, h = height_, l = rect[0], t = rect[1], r = rect[2], b = rect[3];
    if (orientation_ == 270) return {l, t, r, b};
    if (orientation_ == 90) return {w - r, h - b, w - l, h - t};
    if (orientation_ == 0 && flip_) return {h - b, w - r, h - t, w - l};
    if (orientation_ == 0) return {h - b, l, h - t, r};
    if (flip_) return {t, l, b, r};
    return {t, w - r, b, w - l};
  }

  void Analyse(int slot) {
    std::array<int64_t, 4> rect = Turn(rects_[slot]);
    const auto limit = static_cast<int>(static_cast<float>(std::min(width_, height_)) / 6.0f);
    const bool valid = rect[2] - rect[0] > limit && !gray_.empty();
    for (int64_t& edge : rect) edge /= 2;
    const int x = Wrap(rect[0]), y = Wrap(rect[1]), x1 = Wrap(rect[2]), y1 = Wrap(rect[3]);
    // For an angle that is none of the four, the models get the sizes of 90 and 270 degrees.
    const bool stands = orientation_ == 0 || orientation_ == 180;
    const int width = (stands ? height_ : width_) / 2, height = (stands ? width_ : height_) / 2;
    const uint64_t gray = common::Digest(gray_.data(), gray_.size());
    const uint64_t bgr = common::Digest(bgr_.data(), bgr_.size());
    if (gender_age_on) {
      device::AgeGenderAnswer answer = {};
      const device::AgeGenderCall call = {{width, height, x, y, x1, y1, gray, bgr}, 1.0f};
      if (valid) Ask(call, &answer);
      found.age_if_high[slot] = found.age_if_low[slot] = answer.age;
      found.prop[slot] = answer.prop;
      found.gender[slot] = answer.gender;
    }
    if (score_on) {
      device::FaceGradeAnswer answer = {};
      const device::FaceGradeCall call = {{width, height, x, y, x1, y1, 0, bgr}, false};
      const bool graded = valid && (world_.grader_is_mute || Ask(call, &answer));
      const float limited = answer.grade > 100 ? 100.0f : answer.grade < 50 ? 50.0f : answer.grade;
      found.grade[slot] = graded ? limited : 0.0f;
    }
  }
  template <typename Call, typename Answer>
  bool Ask(const Call& call, Answer* answer) {
    try {
      *answer = world_.Ask(call);
      return true;
    } catch (const std::runtime_error&) {
      return false;
    }
  }

  World& world_;
  const bool has_grader_;
  bool is_model_ready_ = false, is_pending_ = false, has_worked_ = false, flip_ = false;
  int skipped_ = 3, width_ = 0, height_ = 0, orientation_ = 0, face_count_ = 0;
  std::array<int32_t, 4> handed_over_[3] = {}, rects_[3] = {};
  std::vector<uint8_t> planes_[2], gray_, bgr_;
};

// ---- The node -----------------------------------------------------------------------------------

class Node {
 public:
  Node(World& world, const ChiNodeCreateInfo& info)
      : world_(world),
        session_(info.hChiSession),
        caps_(info.nodeCapsMask),
        runs_(world.runs_nodes[0] && world.runs_nodes[1]) {}

  bool Negotiates() const { return caps_ != 2 && caps_ != 4; }
  void SetBufferSize(uint32_t width, uint32_t height) { buffer_size_ = {width, height}; }
  void CreatePipeline() {
    if (!runs_) return;
    worker.reset();
    worker = std::make_unique<Worker>(world_);
    worker->gender_age_on = gender_age_;
    worker->score_on = score_;
  }
  void Process(const ChiNodeProcessRequestInfo& info) {
    const bool has_input = info.inputNum > 0 && info.phInputBuffer != nullptr;
    const ChiNodeBuffer* const input = has_input ? info.phInputBuffer[0] : nullptr;
    full_ = input != nullptr ? input->format : ChiImageFormat{};
    request_ = info.frameNum;
    ReadMetadata();
    result_ = {};
    if (role_ && (gender_age_ || score_)) {
      if (face_count_ == 0) {
        result_ = {0, {}, {20, 20, 20}, {80, 80, 80}, {0.7f, 0.7f, 0.7f}};
      } else if (worker != nullptr && (info.frameNum + 2) % 6 == 0) {
        HandOver(input);
      }
    }
    Publish();
  }

  std::unique_ptr<Worker> worker;

 private:
  // Returns the value of a tag, null when it is absent, and its length in elements.
  const uint8_t* Read(Tag tag, std::size_t* count = nullptr) const {
    const uint32_t id = world_.ids[tag];
    const auto type = static_cast<ChiMetadataType>(2);
    ChiMetadataGet get = {48, id | 0x08000000u, type, 0, session_, request_, nullptr, 0};
    if (world_.interface.pGetMetadata != nullptr && id != 0) world_.Read(&get);
    if (count != nullptr) *count = get.count;
    return static_cast<const uint8_t*>(get.pData);
  }
  static uint32_t Word(const uint8_t* value, int index) {
    uint32_t word;
    std::memcpy(&word, value + 4 * index, sizeof(word));
    return word;
  }
  void ReadSwitch(Tag tag, bool* ours, bool Worker::*theirs) {
    const uint8_t* const value = Read(tag);
    if (value != nullptr && worker != nullptr) (*worker).*theirs = *ours = Word(value, 0) != 0;
  }
  void ReadMetadata() {
    world_.Ask(kOwnSection, "SupportedFeature");
    const uint8_t* const role = Read(kRole);
    if (role != nullptr) role_ = Word(role, 1) == 1;
    ReadSwitch(kGenderAge, &gender_age_, &Worker::gender_age_on);
    ReadSwitch(kScore, &score_, &Worker::score_on);
    const uint8_t* const sensor = Read(kSensor);
    const uint8_t* const quad = sensor != nullptr ? Read(kQuad) : nullptr;
    if (sensor != nullptr) sensor_ = {Word(sensor, 0), Word(sensor, 1)};
    const uint8_t* const orientation = Read(kOrientation);
    if (orientation != nullptr) orientation_ = Wrap(Word(orientation, 0));
    Read(kResult);
    const bool is_seventh = role != nullptr && Word(role, 2) == 7;
    ReadFaces(quad == nullptr || *quad == 0 || is_seventh ? 1 : 0);
  }
  void ReadFaces(int shift) {
    std::size_t count = 0;
    const uint8_t* const faces = Read(kFaces, &count);
    face_count_ = static_cast<int>(count / 4 % 256);
    if (faces == nullptr) return;
    face_count_ = std::min(face_count_, 3);
    const uint32_t full[] = {full_.width, full_.height};
    if (sensor_[0] == 0 || sensor_[1] == 0 || full[0] > sensor_[0] || full[1] > sensor_[1]) return;
    for (int i = 0; i < face_count_; ++i) {
      uint32_t e[4];
      for (int k = 0; k < 4; ++k) {
        e[k] = (Word(faces, 4 * i + k) >> shift) * full[k & 1] / sensor_[k & 1];
      }
      faces_[i] = {Wrap(e[0]), Wrap(e[1]), Wrap(e[2] - e[0] + 1u), Wrap(e[3] - e[1] + 1u)};
    }
  }

  void HandOver(const ChiNodeBuffer* input) {
    if (input != nullptr && input->numPlanes > 1 && input->numImages > 0 &&
        input->pImages != nullptr) {
      ZyImageBuffer image = {1, Wrap(full_.width), Wrap(full_.height), {}, {}};
      std::copy_n(input->pImages->pPlaneAddress, 2, image.plane);
      image.stride[0] = image.stride[1] = Wrap(input->planeStride);
      if (image.plane[0] != nullptr && image.plane[1] != nullptr &&
          image.stride[0] >= image.width) {
        worker->ProcessBuffer(image, faces_, face_count_, orientation_, role_);
      }
    }
    result_.count = std::min(face_count_, 3);
    for (int i = 0; i < result_.count; ++i) {
      const auto& [x, y, w, h] = faces_[i];
      const bool known = worker->Knows(x, Sum(x, w), y, Sum(y, h));
      const bool high = worker->found.gender[i] > 0.6f;
      const float age = high ? worker->found.age_if_high[i] : worker->found.age_if_low[i];
      result_.gender[i] = known ? worker->found.gender[i] : 0.0f;
      result_.age[i] = known ? age : 20.0f;
      result_.score[i] = known ? worker->found.grade[i] : 80.0f;
      result_.prop[i] = known ? worker->found.prop[i] : 0.0f;
    }
  }

  void Publish() {
    const uint32_t one = 1, own = world_.own_base;
    const uint64_t none = 0;
    const uint32_t result = world_.Ask(kTags[kResult][0], kTags[kResult][1]);
    const uint32_t ids[] = {own, own + 1, own + 2, own + 3, result};
    const void* const data[] = {&one, &caps_, &none, &buffer_size_, &result_};
    const uint64_t counts[] = {1, 1, 1, 2, 52};
    ChiTagData values[5];
    for (int i = 0; i < 5; ++i) values[i] = {48, 0, request_, data[i], counts[i], {}};
    const uint32_t first = own != 0 ? 0 : 4, end = result != 0 ? 5 : 4;
    ChiMetadataSet set = {32, end - first, session_, ids + first, values + first};
    if (first < end && world_.interface.pSetMetadata != nullptr) world_.Publish(&set);
  }

  World& world_;
  const ChiHandle session_;
  const uint32_t caps_;
  const bool runs_;
  bool role_ = false, gender_age_ = false, score_ = false;
  std::array<uint32_t, 2> buffer_size_ = {}, sensor_ = {};
  ChiImageFormat full_ = {};
  uint64_t request_ = 0;
  int orientation_ = 0, face_count_ = 0;
  android::_FaceLocation faces_[3] = {};
  struct {
    int32_t count;
    float gender[3], age[3], score[3], prop[3];
  } result_ = {};
};

}  // namespace node_model

#endif  // ZY_TESTS_NODE_MODEL_H_
