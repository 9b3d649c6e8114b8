// SPDX-License-Identifier: Apache-2.0
// The bytes of a script become the calls of a hostile framework: two nodes behind ChiNodeEntry and
// a worker by itself, with records, buffers and metadata of all shapes, yet in memory that ends
// where they promise to. Everything that leaves the library is compared with the model.
#include <deque>
#include <stdexcept>

#include "fuzz/script.h"
#include "tests/kernel_testing.h"
#include "tests/node_model.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);

namespace {

using fuzz::Require;
using namespace node_model;

World g_world;
Trace g_seen;

ChiResult g_answer = 0;  // of the framework's functions; nobody may listen to it
ChiResult LookUp(ChiVendorTagBase* query) {
  query->vendorTagBase = g_world.LookUp(g_seen, *query);
  return g_answer;
}
ChiResult Read(ChiMetadataGet* get) {
  const Value value = g_world.Read(g_seen, *get);
  get->pData = const_cast<uint8_t*>(value.data);
  get->count = value.count;
  return g_answer;
}
ChiResult Take(ChiMetadataSet* set) {
  World::Take(g_seen, *set);
  return g_answer;
}

// A piece of memory that ends at a page that nobody may touch.
class Memory {
 public:
  uint8_t* Put(const void* data, std::size_t size, std::size_t gap = 0) {
    uint8_t* const to = bytes_.data() + bytes_.size() - gap - size;
    if (size != 0) std::memcpy(to, data, size);
    return to;
  }

 private:
  testing_support::GuardedBytes bytes_{1 << 14};
};

// A camera buffer; its planes hold every byte of their rows and none behind the last.
class Camera {
 public:
  void Change(fuzz::Script& script) {
    constexpr uint32_t kOddSides[] = {0, 0x7fffffff, 0x80000000, 0xffffffff};
    const auto side = [&] {
      return script.OneIn(24) ? script.Pick(kOddSides) : script.Byte() % 97u;
    };
    const uint32_t width = side(), height = side();
    const uint32_t odd_pitches[] = {width - 1, 0, 0x80000000, 0xffffffff};
    const uint32_t pitch = script.OneIn(24) ? script.Pick(odd_pitches) : width + script.Byte() % 9;
    fits_ = width - 1 < 96 && height - 1 < 96 && pitch >= width && pitch < 200;
    ChiImage image = {sizeof(image), 0, {}};
    for (uint32_t p = 0; p < 2; ++p) {
      const uint32_t rows = fits_ ? height >> p : 0;
      const auto noise = script.Noise(rows == 0 ? 1 : (rows - 1) * pitch + (width >> p << p));
      image.pPlaneAddress[p] = planes_[p].Put(noise.data(), noise.size());
      if (script.OneIn(48)) image.pPlaneAddress[p] = nullptr;
    }
    images_ =
        script.OneIn(32) ? nullptr : reinterpret_cast<ChiImage*>(image_.Put(&image, sizeof(image)));
    const uint32_t planes = script.OneIn(32) ? script.Byte() : 2;
    buffer_ = {sizeof(buffer_), !script.OneIn(32), {width, height, 3, 0}, planes, pitch, images_};
  }
  // Nobody may look at the pixels of an earlier request.
  void ChangePixels() const {
    if (images_ == nullptr || !fits_) return;
    for (uint8_t* plane : images_->pPlaneAddress) {
      if (plane != nullptr) *plane = static_cast<uint8_t>(*plane * 5 + 1);
    }
  }
  ChiNodeBuffer* buffer() { return &buffer_; }
  // For a worker, which takes the pitch as it is.
  bool fits() const { return fits_ && images_ != nullptr; }

 private:
  Memory planes_[2], image_;
  const ChiImage* images_ = nullptr;
  ChiNodeBuffer buffer_ = {};
  bool fits_ = false;
};

template <typename W>
std::string ResultsOf(const W& worker) {
  std::string text = "results of " + std::to_string(worker.mFaceAnalyzeNum);
  for (int slot = 0; slot < 3; ++slot) {
    for (const float value :
         {+worker.mProp[slot], +worker.mGender[slot], +worker.mAgeWhenGenderHigh[slot],
          +worker.mAgeWhenGenderLow[slot], +worker.mFaceGrade[slot]}) {
      text += " " + std::to_string(value);
    }
    for (const auto& edge : worker.mAnalyzedRects[slot]) text += " " + std::to_string(edge);
  }
  return text;
}

class Play {
 public:
  explicit Play(fuzz::Script& script) : script_(script) {
    host::ClearProperties();
    host::ResetAgeGender();
    host::ResetFaceGrade();
    host::SetLogSink([](auto&) {});  // lines are formatted
    host::ScriptAgeGender([this](const host::AgeGenderCall& call) {
      const auto answer = device_.Ask(g_seen, call);
      if (!answer) throw std::runtime_error("no estimate");
      return host::AgeGenderAnswer{(*answer)[0], (*answer)[1], (*answer)[2]};
    });
    host::ScriptFaceGrade([this](const host::FaceGradeCall& call) {
      const auto answer = device_.Ask(g_seen, call);
      if (!answer) throw std::runtime_error("no grade");
      return host::FaceGradeAnswer{(*answer)[0], {}};
    });
    host::SetClock(0);
    host::HoldSignals(true);  // a pass runs when the script says so
    negotiated_before_ = host::BufferNegotiations();
    g_world = World();
    table_.size = sizeof(table_);
    ChiNodeEntry(&table_);
    auto interface = Interface();
    table_.pSetNodeInterface(&interface);
    library_.SetNodeInterface(&interface);
    for (Camera& camera : cameras_) camera.Change(script_);
    for (int tag = 0; tag <= kFaces; ++tag) ChangeValue(tag);
    actor_ = script_.Byte() % 3;
  }
  ~Play() {
    LetWorkersWork();
    for (actor_ = 0; actor_ < 2; ++actor_) {
      ChiNodedestroyInfo info = {16, 0, handles_[actor_]};
      Destroy(&info);
    }
    MakeWorker(false);
    host::HoldSignals(false);
    Compare();
  }

  // False at the script's end.
  bool Step() {
    const int call = script_.Byte() % 16;
    if (call == 0) CallLibrary();
    if (call == 1) ChangeDevice();
    if (call == 2) SwitchActor();
    if (call == 3 || call == 4) LetWorkersWork();
    if (call == 5) actor_ == 2 ? MakeWorker(true) : CallNode();
    if (call >= 6) actor_ == 2 ? Offer() : Send();
    Compare();
    return !script_.AtEnd();
  }

 private:
  ChiNodeInterface Interface() {
    ChiNodeInterface interface = {};
    interface.size = sizeof(interface);
    interface.pGetMetadata = Read;
    interface.pSetMetadata = Take;
    interface.pGetVendorTagBase = LookUp;
    return interface;
  }

  // A record in memory that ends where its size says, but not before the node session in it. At
  // times it is smaller than the node needs, and at times there is none.
  template <typename T>
  T* Record(T record, uint32_t least) {
    record.size = !script_.OneIn(16) ? least : script_.OneIn(2) ? least - 1 : script_.Byte();
    const std::size_t size = std::max(16u, record.size);
    std::vector<uint8_t> bytes(size);
    std::memcpy(bytes.data(), &record, std::min(size, sizeof(record)));
    return script_.OneIn(32) ? nullptr : reinterpret_cast<T*>(record_.Put(bytes.data(), size));
  }
  // What the node must answer.
  template <typename T>
  static ChiResult Refusal(const T* record, uint32_t least) {
    if (record == nullptr || record->hNodeSession == nullptr) return 5;
    return record->size < least ? 1 : 0;
  }
  void Answered(ChiResult seen, ChiResult expected) {
    Say(g_seen, "answered %d", seen);
    Say(expected_, "answered %d", expected);
  }

  void Compare() {
    const host::AgeGenderCounts counts = host::AgeGenderCounters();
    const auto count = [](Trace& trace, uint64_t inits, uint64_t clears, uint64_t graders,
                          uint64_t negotiations) {
      Say(trace, "%d set-ups, %d clears, %d graders, %d negotiations", static_cast<int>(inits),
          static_cast<int>(clears), static_cast<int>(graders), static_cast<int>(negotiations));
    };
    count(g_seen, counts.inits, counts.clears,
          host::FaceGradeCounters().created - host::FaceGradeCounters().destroyed,
          host::BufferNegotiations() - negotiated_before_);
    count(expected_, device_.inits, device_.clears, device_.graders, device_.negotiations);
    if (g_seen != expected_) {
      for (const Trace* trace : {&expected_, &g_seen}) {
        std::fprintf(stderr, "%s\n", trace == &expected_ ? "== expected" : "== seen");
        for (const std::string& line : *trace) std::fprintf(stderr, "%s\n", line.c_str());
      }
      Require(false, "the library does what the model does");
    }
    g_seen.clear();
    expected_.clear();
  }

  void LetWorkersWork() {
    for (const auto& node : nodes_) {
      if (node != nullptr && node->worker() != nullptr) node->worker()->Work();
    }
    if (worker_model_ != nullptr) worker_model_->Work();
    host::HoldSignals(false);
    Require(host::WaitForRestingWorkers(std::chrono::seconds(60)), "a worker rests in the end");
    host::HoldSignals(true);
    if (worker_ != nullptr) {
      g_seen.push_back(ResultsOf(*worker_));
      expected_.push_back(ResultsOf(*worker_model_));
    }
  }

  // One worker at a time has a frame, so that what the models are asked has an order.
  void SwitchActor() {
    LetWorkersWork();
    actor_ = script_.Byte() % 3;
  }

  void ChangeDevice() {
    LetWorkersWork();
    // 91 characters are the longest value.
    static const std::pair<std::string, bool> kMasks[] = {
        {"0xFFFFFB", false}, {"4", true},   {"fB", false},
        {" 0x4", true},      {"-1", true},  {"0xFFFFFFFF", true},
        {"no", false},       {"0x", false}, {"", false},
        {"0xFFFFFF", true},  {"c,", true},  {std::string(90, '0') + "4", true}};
    const char* const properties[] = {"persist.vendor.camera.zynode_conf",
                                      "persist.vendor.camera.operationMask"};
    host::ClearProperties();
    for (int i = 0; i < 2; ++i) {
      device_.runs_nodes[i] = true;
      if (!script_.OneIn(4)) continue;
      const auto& [text, runs] = script_.Pick(kMasks);
      host::SetProperty(properties[i], text);
      device_.runs_nodes[i] = runs;
    }
    host::FailAgeGenderInit(device_.failing_inits = script_.Pick(std::array{0, 0, 0, -1, 1, 4}));
    host::ThrowFromAgeGenderInit(script_.OneIn(2));
    host::ThrowFromFaceGrade(device_.grader_throws = script_.OneIn(8));
    host::SkipFaceGradeResult(device_.grader_is_mute = script_.OneIn(8));
    device_.mood = script_.Byte();
    g_world.known = script_.OneIn(4) ? ~(1u << script_.Byte() % 9) : script_.OneIn(16) ? 0 : ~0u;
    g_answer = script_.OneIn(4);
  }

  void CallLibrary() {
    LetWorkersWork();
    ChiNodeCallbacks table;
    std::memset(&table, 0x5a, sizeof(table));
    table.majorVersion = script_.OneIn(4);
    ChiNodeCallbacks* const given = Record(table, 144);
    const bool fits = given != nullptr && given->size >= 144 && given->majorVersion == 0;
    if (fits) {
      table.majorVersion = table.minorVersion = 0;
      std::memcpy(&table.pGetCapabilities, &table_.pGetCapabilities, 9 * sizeof(void*));
    }
    ChiNodeEntry(given);
    if (given != nullptr) {
      table.size = given->size;
      const std::size_t size = std::clamp<std::size_t>(given->size, 16, sizeof(table));
      Say(g_seen, "table %d", std::memcmp(given, &table, size));
      Say(expected_, "table 0");
    }
    auto interface = Interface();
    if (script_.OneIn(8)) interface.pGetMetadata = nullptr;
    if (script_.OneIn(8)) interface.pSetMetadata = nullptr;
    if (script_.OneIn(8)) interface.pGetVendorTagBase = nullptr;
    ChiNodeInterface* const offered = Record(interface, 120);
    library_.SetNodeInterface(offered);
    table_.pSetNodeInterface(offered);
    ChiNodeCapsInfo caps = {0, 0x5a};
    const bool asks = script_.OneIn(2);
    Answered(table_.pGetCapabilities(asks ? &caps : nullptr), asks ? 0 : 1);
    Require(caps.nodeCapsMask == 0x5a, "the node reports no capabilities");
  }

  void CallNode() {
    LetWorkersWork();
    ChiHandle& handle = handles_[actor_];
    auto& node = nodes_[actor_];
    const int call = script_.Byte() % 8;
    if (handle == nullptr) {
      ChiNodeCreateInfo info = {};
      info.nodeCapsMask = script_.OneIn(4) ? script_.Raw<uint32_t>() : script_.Byte() % 6u;
      info.hChiSession = &handle;
      ChiNodeCreateInfo* const create = Record(info, 80);
      const ChiResult expected = create == nullptr ? 5 : create->size < 80 ? 1 : 0;
      Answered(table_.pCreate(create), expected);
      if (expected != 0) return;
      handle = create->hNodeSession;
      node = std::make_unique<Node>(library_, device_, *create);
    }
    const ChiHandle told = script_.OneIn(32) ? nullptr : handle;
    if (call < 4) {
      if (told != nullptr) node->CreatePipeline();
      Quietly([&] { table_.pPostPipelineCreate(told); });
    } else if (call == 4) {
      auto* query = Record(ChiNodeQueryBufferInfo{0, 0, told, {}}, 48);
      ChiResult expected = Refusal(query, 48);
      if (expected == 0 && !node->Negotiates()) expected = 2;
      device_.negotiations += expected == 0;
      Answered(table_.pQueryBufferInfo(query), expected);
    } else if (call == 5) {
      const ChiImageFormat format = {script_.Word(), script_.Word(), 0, 0};
      auto* size = Record(ChiNodeSetBufferPropertiesInfo{0, 0, told, &format, 0}, 32);
      if (script_.OneIn(8) && size != nullptr && size->size >= 32) size->pFormat = nullptr;
      ChiResult expected = Refusal(size, 32);
      if (expected == 0 && size->pFormat == nullptr) expected = 5;
      if (expected == 0) node->SetBufferSize(format.width, format.height);
      Answered(table_.pSetBufferInfo(size), expected);
    } else if (call == 6) {
      Destroy(Record(ChiNodedestroyInfo{0, 0, told}, 16));
    }
  }

  void Destroy(ChiNodedestroyInfo* info) {
    const ChiResult expected = Refusal(info, 16);
    if (expected == 0) nodes_[actor_] = nullptr;
    Quietly([&] { Answered(table_.pDestroy(info), expected); });
    if (expected == 0) handles_[actor_] = info->hNodeSession;
    Require(expected != 0 || handles_[actor_] == nullptr, "a node that is gone has no handle");
  }

  template <typename Call>
  void Quietly(Call call) {
    host::HoldSignals(false);
    call();
    Require(host::WaitForRestingWorkers(std::chrono::seconds(60)), "a new worker rests");
    host::HoldSignals(true);
  }

  // ---- Requests ---------------------------------------------------------------------------------

  // A value of its tag's length, at any address. Most have a meaning to a camera.
  void ChangeValue(int tag) {
    Value& value = g_world.values[tag];
    value = {nullptr, script_.OneIn(2) ? script_.Raw<uint16_t>() : 0u};
    if (script_.OneIn(12)) return;
    const ChiImageFormat& full = cameras_[0].buffer()->format;
    std::vector<uint32_t> words = {script_.Pick(std::array{1u, 1u, 0u, 0x100u, 0x80000000u})};
    if (tag == kOrientation) words = {script_.Pick(std::array{0u, 90u, 180u, 270u, 45u, ~0u})};
    if (tag == kSensor) words = {full.width + script_.Byte(), full.height + script_.Byte()};
    if (tag == kSensor && script_.OneIn(8)) words[script_.Byte() % 2] = script_.Word();
    if (tag == kQuad) words = {script_.Pick(std::array{0u, 1u, 2u, 0x80u})};
    if (tag == kRole) {
      words = {script_.Word(), script_.Pick(std::array{1u, 1u, 1u, 1u, 1u, 0u, 2u, 0x101u}),
               script_.Pick(std::array{0u, 1u, 7u})};
    }
    if (tag == kResult) words.resize(13);
    if (tag == kFaces) words = ChangeFaces();
    const std::size_t bytes = tag == kQuad ? 1 : 4 * words.size();
    value = {values_[tag].Put(words.data(), bytes, script_.Byte() % 4), words.size()};
  }

  const std::vector<uint32_t>& ChangeFaces() {
    if (!faces_.empty() && script_.OneIn(2)) {
      faces_[script_.Byte() % std::min<std::size_t>(12, faces_.size())] +=
          script_.Byte() % 32u - 16;
      return faces_;
    }
    const int faces = script_.OneIn(24) ? script_.Between(250, 520) : script_.Byte() % 5;
    faces_.assign(static_cast<std::size_t>(4 * faces + script_.Byte() % 4), 1);
    for (std::size_t edge = 0; edge < std::min<std::size_t>(12, faces_.size()); ++edge) {
      faces_[edge] = script_.OneIn(24) ? script_.Word()
                     : edge % 4 < 2    ? script_.Byte() % 128u
                                       : faces_[edge - 2] + 2u * script_.Byte();
      if (edge >= 4 && script_.OneIn(3)) faces_[edge] = faces_[edge - 4];
    }
    return faces_;
  }

  void Send() {
    if (script_.OneIn(4)) LetWorkersWork();
    for (int changes = script_.Byte() % 3; changes > 0; --changes) {
      const int what = script_.Byte() % 12;
      what == 9 ? cameras_[0].Change(script_) : ChangeValue(std::min(what, +kFaces));
    }
    for (const Camera& camera : cameras_) camera.ChangePixels();
    ChiNodeBuffer* handles[12];
    for (auto& handle : handles) {
      handle = cameras_[&handle != handles].buffer();
      if (script_.OneIn(64)) handle = nullptr;
      if (&handle > handles + 2) handle = handles[2];
    }
    auto* const wild = reinterpret_cast<ChiNodeBuffer**>(1);
    const auto list = [&](Memory& memory, uint32_t count) {
      const std::size_t bytes = sizeof(handles[0]) * std::min(count, 12u);
      auto* const place = reinterpret_cast<ChiNodeBuffer**>(memory.Put(handles, bytes));
      return count == 0 ? wild : script_.OneIn(32) ? nullptr : place;
    };
    ChiNodeProcessRequestInfo info = {};
    info.hNodeSession = script_.OneIn(48) ? nullptr : handles_[actor_];
    info.frameNum = script_.OneIn(8) ? script_.Raw<uint64_t>() : 4 + 6u * script_.Byte();
    info.inputNum = script_.OneIn(8) ? script_.Pick(std::array{0u, 2u, 12u, 40u, ~0u}) : 1;
    info.outputNum = script_.OneIn(8) ? 0 : 1;
    info.phInputBuffer = list(inputs_, info.inputNum);
    info.phOutputBuffer = list(outputs_, info.outputNum);
    auto* const request = Record(info, 88);
    const ChiResult expected = Refusal(request, 88);
    if (expected == 0) nodes_[actor_]->Process(*request);
    Answered(table_.pProcessRequest(request), expected);
  }

  // ---- A worker by itself -----------------------------------------------------------------------

  void MakeWorker(bool again) {
    LetWorkersWork();
    Quietly([this] { worker_ = nullptr; });
    worker_model_ = nullptr;
    if (!again) return;
    Quietly([this] { worker_ = std::make_unique<android::ZYPreview>(); });
    worker_model_ = std::make_unique<Worker>(device_, expected_);
  }

  void Offer() {
    if (worker_ == nullptr) MakeWorker(true);
    if (script_.OneIn(4)) LetWorkersWork();
    if (script_.OneIn(8)) cameras_[0].Change(script_);
    if (script_.OneIn(4)) {
      worker_->mFaceGenderAndAgeEnabled = worker_model_->mFaceGenderAndAgeEnabled =
          !script_.OneIn(4);
      worker_->mFaceScoreEnabled = worker_model_->mFaceScoreEnabled = !script_.OneIn(4);
    }
    cameras_[0].ChangePixels();
    const ChiNodeBuffer& buffer = *cameras_[0].buffer();
    const bool fits = cameras_[0].fits() && !script_.OneIn(32);
    ZyImageBuffer image = {
        !script_.OneIn(32), Wrap(buffer.format.width), Wrap(buffer.format.height), {}, {}};
    for (int p = 0; p < 2 && fits; ++p) {
      image.stride[p] = Wrap(buffer.planeStride);
      image.plane[p] = buffer.pImages->pPlaneAddress[p];
    }
    if (script_.OneIn(3)) {
      for (auto& [x, y, w, h] : offered_) {
        for (int32_t* edge : {&x, &y, &w, &h})
          *edge = script_.OneIn(24) ? Wrap(script_.Word()) : script_.Byte() % 96;
        if (script_.OneIn(3)) offered_[0] = offered_[1];
      }
    }
    const int count =
        script_.OneIn(8) ? script_.Pick(std::array{-1, 0, 4, 1000}) : script_.Between(1, 3);
    const auto size = sizeof(offered_[0]) * static_cast<std::size_t>(std::clamp(count, 0, 3));
    auto* const faces = reinterpret_cast<android::_FaceLocation*>(inputs_.Put(offered_, size));
    const auto* const given_faces = script_.OneIn(24) ? nullptr : faces;
    const auto* const given = script_.OneIn(24) ? nullptr : &image;
    const int orientation = script_.Pick(std::array{0, 90, 180, 270, 45, -90});
    const int flip = script_.Pick(std::array{0, 1, 2, -1});
    Answered(worker_->ProcessBuffer(given, given_faces, count, orientation, flip),
             worker_model_->ProcessBuffer(given, given_faces, count, orientation, flip));
    device_.clock += script_.Pick(std::array{0, 1, 1000000000, 2000000000, 2000000001});
    host::SetClock(device_.clock);
    const auto& [x, y, w, h] = offered_[script_.Byte() % 3];
    int edges[] = {x, Wrap(int64_t{x} + w), y, Wrap(int64_t{y} + h)};
    edges[script_.Byte() % 4] ^= script_.Byte() % 32;
    for (const bool fresh : {false, true}) {
      Answered(worker_->getFaceIndex(fresh, edges[0], edges[1], edges[2], edges[3]),
               worker_model_->getFaceIndex(fresh, edges[0], edges[1], edges[2], edges[3]));
    }
  }

  fuzz::Script& script_;
  Device device_;
  Trace expected_;
  Library library_{g_world, expected_, {}, 0, {}};
  uint64_t negotiated_before_ = 0;
  ChiNodeCallbacks table_ = {};
  Camera cameras_[2];
  Memory record_, inputs_, outputs_, values_[kFaces + 1];
  std::vector<uint32_t> faces_;
  int actor_ = 0;
  ChiHandle handles_[2] = {};
  std::unique_ptr<Node> nodes_[2];
  std::unique_ptr<android::ZYPreview> worker_;
  std::unique_ptr<Worker> worker_model_;
  android::_FaceLocation offered_[3] = {};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  fuzz::Script script(bytes, size);
  Play play(script);
  while (play.Step()) {
  }
  return 0;
}
