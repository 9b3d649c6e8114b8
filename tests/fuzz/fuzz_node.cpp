// SPDX-License-Identifier: Apache-2.0
// Turns the bytes of a script into the calls of a hostile framework: two nodes behind ChiNodeEntry
// receive records, buffers and metadata of all shapes, in memory of exactly the promised size. The
// model predicts everything that leaves the library.
#include <array>
#include <mutex>

#include "framework/guarded_bytes.h"
#include "framework/log_watch.h"
#include "framework/worker_watch.h"
#include "tests/fuzz/script.h"
#include "tests/node_model.h"

extern "C" void ChiNodeEntry(ChiNodeCallbacks*);

using device::ModelSettings;
using namespace node_model;

namespace {

World g_world;
std::mutex g_turns;  // makes one thread's writes visible to the next

template <typename Answered, typename Call>
Answered Answer(const Call& call) {
  std::lock_guard<std::mutex> lock(g_turns);
  return g_world.Ask(call);
}

ChiNodeInterface Interface() {
  ChiNodeInterface interface = {};
  interface.size = sizeof(interface);
  interface.pGetVendorTagBase = [](ChiVendorTagBase* query) { return g_world.LookUp(query); };
  interface.pGetMetadata = [](ChiMetadataGet* get) { return g_world.Read(get); };
  interface.pSetMetadata = [](ChiMetadataSet* set) { return g_world.Publish(set); };
  return interface;
}

// Memory that ends at an inaccessible page.
class Memory {
 public:
  template <typename T>
  T* Put(const T* data, std::size_t bytes, std::size_t gap = 0) {
    uint8_t* const to = bytes_.end() - gap - bytes;
    if (bytes != 0) std::memcpy(to, data, bytes);
    return reinterpret_cast<T*>(to);
  }

 private:
  framework::GuardedBytes bytes_{1 << 14};
};

// A camera buffer; its planes hold every byte of their rows and none beyond the last.
struct Camera {
  void Change(fuzz::Script& script) {
    constexpr uint32_t kOdd[] = {0, 1, 0x7fffffff, 0x80000000, 0xffffffff};
    const auto side = [&] { return script.OneIn(24) ? script.Pick(kOdd) : script.Byte() % 97u; };
    const uint32_t w = side(), h = side();
    const uint32_t odd = script.Pick(std::array{0u, w - 1, 0x80000000u, 0xffffffffu});
    const uint32_t pitch = script.OneIn(24) ? odd : w + script.Byte() % 20u;
    const bool fits = w - 1 < 96 && h - 1 < 96 && pitch >= w && pitch < 128;
    for (uint32_t p = 0; p < 2; ++p) {
      const uint32_t rows = fits ? h >> p : 0;
      const uint32_t bytes = rows == 0 ? 0 : (rows - 1) * pitch + (w >> p << p);
      const auto noise = script.Noise(std::max(1u, bytes));
      image.pPlaneAddress[p] = planes[p].Put(noise.data(), noise.size());
      if (script.OneIn(48) && w > 1 && h > 1) image.pPlaneAddress[p] = nullptr;
    }
    const uint32_t count = script.OneIn(32) ? script.Byte() : 2;
    buffer = {sizeof(buffer), !script.OneIn(32), {w, h, 3, 0}, count, pitch, nullptr};
    if (!script.OneIn(32)) buffer.pImages = memory.Put(&image, sizeof(image));
  }
  // Changes the pixels, which nobody may read after their request.
  void ChangePixels() const {
    for (uint8_t* plane : image.pPlaneAddress) {
      if (plane != nullptr) *plane = static_cast<uint8_t>(*plane * 5 + 1);
    }
  }

  Memory planes[2], memory;
  ChiImage image = {};
  ChiNodeBuffer buffer = {};
};

class Play {
 public:
  explicit Play(fuzz::Script script) : script_(script) {
    device::ClearProperties();
    device::AgeGender().Reset();
    device::FaceGrade().Reset();
    framework::SetLogListener([](auto&) { return false; });  // formats the lines
    device::AgeGender().SetScript(Answer<device::AgeGenderAnswer, device::AgeGenderCall>);
    device::FaceGrade().SetScript(Answer<device::FaceGradeAnswer, device::FaceGradeCall>);
    framework::HoldSignals(true);  // a pass runs when the script decides
    g_world = World();
    g_world.trace = &seen_;
    g_world.negotiations = device::BufferNegotiations();
    table_.size = sizeof(table_);
    ChiNodeEntry(&table_);
    ChiNodeInterface interface = Interface();
    Connect(&interface);
    for (Camera& camera : cameras_) camera.Change(script_);
    for (int tag = kScore; tag <= kFaces; ++tag) ChangeValue(tag);
    actor_ = script_.Byte() % 2;
  }
  ~Play() {
    LetWorkersWork();
    for (actor_ = 0; actor_ < 2; ++actor_) {
      ChiNodedestroyInfo info = {16, 0, handles_[actor_]};
      Destroy(&info);
    }
    Compare();
    framework::HoldSignals(false);
  }

  void Run() {
    while (!script_.AtEnd()) {
      const int call = script_.Byte() % 16;
      if (call < 4) LetWorkersWork();
      if (call == 0) CallLibrary();
      if (call == 1) ChangeDevice();
      if (call == 2) actor_ = script_.Byte() % 2;
      if (call == 3) CallNode();
      if (call >= 4) Send();
      Compare();
    }
  }

 private:
  // Makes a record in memory that ends with its size (rounded up to its alignment), but not before
  // its node session. Sometimes it is smaller than the node needs, sometimes null.
  template <typename T>
  T* Record(T record, uint32_t least) {
    record.size = !script_.OneIn(16) ? least : script_.OneIn(2) ? least - 1 : script_.Byte();
    std::vector<uint8_t> bytes(std::max(16u, (record.size + 7) / 8 * 8));
    std::memcpy(bytes.data(), &record, std::min(bytes.size(), sizeof(record)));
    if (script_.OneIn(32)) return nullptr;
    return reinterpret_cast<T*>(record_.Put(bytes.data(), bytes.size()));
  }
  template <typename T>
  static ChiResult Refusal(const T* record, uint32_t least) {
    if (record == nullptr || record->hNodeSession == nullptr) return 5;
    return record->size < least ? 1 : 0;
  }

  template <typename Call>
  void Model(Call call) {
    g_world.trace = &expected_;
    call();
    g_world.trace = &seen_;
  }
  template <typename T>
  void Expect(const T& expected, const T& seen) {
    g_world.Say(seen);
    Model([&] { g_world.Say(expected); });
  }
  void Compare() {
    const device::ModelCounts grade = device::FaceGrade().Counts();
    Expect(g_world.inits, device::AgeGender().Counts().attempts);
    Expect(g_world.clears, device::AgeGender().Counts().clears);
    Expect(g_world.graders, grade.inits - grade.clears);
    Expect(g_world.negotiations, device::BufferNegotiations());
    if (seen_ != expected_) {
      std::fprintf(stderr, "expected:\n%sseen:\n%s", expected_.c_str(), seen_.c_str());
    }
    fuzz::Require(seen_ == expected_, "the library agrees with the model");
    seen_.clear();
    expected_.clear();
  }

  void Rest() {
    { std::lock_guard<std::mutex> lock(g_turns); }
    framework::HoldSignals(false);
    fuzz::Require(framework::WaitForIdleWorkers(std::chrono::seconds(60)), "workers become idle");
    framework::HoldSignals(true);
    { std::lock_guard<std::mutex> lock(g_turns); }
  }
  // Runs before another actor acts, so that calls to the models have an order.
  void LetWorkersWork() {
    Model([this] {
      for (const auto& node : nodes_) {
        if (node != nullptr && node->worker != nullptr) node->worker->Work();
      }
    });
    Rest();
  }

  void Connect(ChiNodeInterface* interface) {
    table_.pSetNodeInterface(interface);
    Model([&] { g_world.SetNodeInterface(interface); });
  }
  void CallLibrary() {
    ChiNodeCallbacks table = {};
    table.majorVersion = script_.OneIn(4);
    ChiNodeEntry(Record(table, 144));
    ChiNodeCapsInfo caps = {sizeof(caps), 0x5a};
    ChiNodeCapsInfo* const asked = record_.Put(&caps, sizeof(caps));
    Expect(0, table_.pGetCapabilities(asked));
    Expect(0x5au, asked->nodeCapsMask);
    Expect(1, table_.pGetCapabilities(nullptr));
    Expect(5, table_.pQueryVendorTag(nullptr));
    ChiNodeInterface interface = Interface();
    if (script_.OneIn(8)) interface.pGetMetadata = nullptr;
    if (script_.OneIn(8)) interface.pSetMetadata = nullptr;
    if (script_.OneIn(8)) interface.pGetVendorTagBase = nullptr;
    Connect(Record(interface, 120));
  }

  void ChangeDevice() {
    // The longest value has 91 characters.
    static const std::pair<std::string, bool> kMasks[] = {
        {"4", true},   {"0xFFFFFB", false}, {" 0x4", true},
        {"fB", false}, {"-1", true},        {"", false},
        {"c,", true},  {"no", false},       {std::string(90, '0') + "4", true}};
    for (const int i : {0, 1}) {
      const auto& [text, runs] = script_.OneIn(4) ? script_.Pick(kMasks) : kMasks[0];
      g_world.runs_nodes[i] = runs;
      zy_set_property(
          i == 0 ? "persist.vendor.camera.zynode_conf" : "persist.vendor.camera.operationMask",
          text.c_str());
    }
    device::AgeGender().Set(&ModelSettings::failing_inits,
                            g_world.failing_inits = script_.Pick(std::array{0, 0, 0, -1, 1, 4}));
    device::AgeGender().Set(&ModelSettings::failing_inits_throw, script_.OneIn(2));
    g_world.grader_throws = script_.OneIn(8);
    device::FaceGrade().Set(&ModelSettings::failing_inits, g_world.grader_throws ? -1 : 0);
    device::FaceGrade().Set(&ModelSettings::is_mute, g_world.grader_is_mute = script_.OneIn(8));
    g_world.mood = script_.Byte();
    g_world.known = script_.OneIn(4) ? ~(1u << script_.Byte() % 9) : script_.OneIn(16) ? 0 : ~0u;
    g_world.result = script_.OneIn(4);
    device::SetBufferNegotiationResult(g_world.result);
  }

  // ---- A node -----------------------------------------------------------------------------------

  void CallNode() {
    ChiHandle& handle = handles_[actor_];
    auto& node = nodes_[actor_];
    const int call = script_.Byte() % 8;
    if (handle == nullptr) {
      const uint32_t caps = script_.OneIn(4) ? script_.Raw<uint32_t>() : script_.Byte() % 6u;
      auto* info = Record(ChiNodeCreateInfo{0, 0, caps, 0, &handle, nullptr, {}}, 80);
      const ChiResult refusal = info == nullptr ? 5 : info->size < 80 ? 1 : 0;
      Expect(refusal, table_.pCreate(info));
      if (refusal != 0) return;
      handle = info->hNodeSession;
      node = std::make_unique<Node>(g_world, *info);
    }
    const ChiHandle told = script_.OneIn(32) ? nullptr : handle;
    if (call < 4) {
      framework::HoldSignals(false);
      table_.pPostPipelineCreate(told);
      Rest();
      if (told != nullptr) node->CreatePipeline();
    } else if (call == 4) {
      auto* info = Record(ChiNodeQueryBufferInfo{0, 0, told, {}}, 48);
      ChiResult refusal = Refusal(info, 48);
      if (refusal == 0 && !node->Negotiates()) refusal = 2;
      g_world.negotiations += refusal == 0;
      Expect(refusal, table_.pQueryBufferInfo(info));
    } else if (call == 5) {
      const ChiImageFormat format = {script_.Word(), script_.Word(), 0, 0};
      const ChiImageFormat* const given = script_.OneIn(8) ? nullptr : &format;
      auto* info = Record(ChiNodeSetBufferPropertiesInfo{0, format.width % 3, told, given, 0}, 32);
      ChiResult refusal = Refusal(info, 32);
      if (refusal == 0 && given == nullptr) refusal = 5;
      if (refusal == 0) node->SetBufferSize(format.width, format.height);
      Expect(refusal, table_.pSetBufferInfo(info));
    } else if (call == 6) {
      Destroy(Record(ChiNodedestroyInfo{0, 0, told}, 16));
    }
  }
  void Destroy(ChiNodedestroyInfo* info) {
    const ChiResult refusal = Refusal(info, 16);
    framework::HoldSignals(false);
    Expect(refusal, table_.pDestroy(info));
    Rest();
    if (refusal != 0) return;
    nodes_[actor_] = nullptr;
    handles_[actor_] = info->hNodeSession;
    fuzz::Require(handles_[actor_] == nullptr, "a node that is gone has no handle");
  }

  // Returns a value of its tag's length, at any address. Most are realistic.
  void ChangeValue(int tag) {
    const ChiImageFormat& full = cameras_[0].buffer.format;
    std::vector<uint32_t> words = {script_.Pick(std::array{1u, 1u, 0u, 0x100u, 0x80000000u})};
    if (tag == kOrientation) words = {script_.Pick(std::array{0u, 90u, 180u, 270u, 45u, ~0u})};
    if (tag == kSensor) words = {full.width + script_.Byte(), full.height + script_.Byte()};
    if (tag == kSensor && script_.OneIn(8)) words[script_.Byte() % 2] = script_.Word();
    if (tag == kQuad) words = {script_.Pick(std::array{0u, 1u, 2u, 0x80u})};
    if (tag == kRole)
      words = {0, script_.Pick(std::array{1u, 1u, 1u, 1u, 0u, 2u, 0x101u}),
               script_.Pick(std::array{0u, 1u, 7u})};
    if (tag == kFaces) words = ChangeFaces();
    const std::size_t bytes = tag == kQuad ? 1 : 4 * words.size();
    g_world.values[tag] = values_[tag].Put(words.data(), bytes, script_.Byte() % 4);
    g_world.counts[tag] = words.size();
    if (!script_.OneIn(8)) return;
    g_world.values[tag] = nullptr;
    g_world.counts[tag] = script_.OneIn(2) ? script_.Raw<uint16_t>() : 0;
  }
  const std::vector<uint32_t>& ChangeFaces() {
    const std::size_t edges = std::min<std::size_t>(12, faces_.size());
    if (edges != 0 && script_.OneIn(2)) {
      faces_[script_.Byte() % edges] += static_cast<uint32_t>(script_.Between(-16, 16));
      return faces_;
    }
    const int faces = script_.OneIn(24) ? script_.Between(250, 520) : script_.Byte() % 5;
    faces_.assign(static_cast<std::size_t>(4 * faces + script_.Byte() % 4), 1);
    for (std::size_t e = 0; e < std::min<std::size_t>(12, faces_.size()); ++e) {
      faces_[e] = e % 4 < 2 ? script_.Byte() % 128u - 4 : faces_[e - 2] + 2u * script_.Byte();
      if (script_.OneIn(24)) faces_[e] = script_.Word();
    }
    return faces_;
  }

  void Send() {
    if (script_.OneIn(8)) LetWorkersWork();
    for (int changes = script_.Byte() % 3; changes > 0; --changes) {
      const int what = script_.Byte() % 12;
      what == 9 ? cameras_[0].Change(script_) : ChangeValue(std::min<int>(what, kFaces));
    }
    ChiNodeBuffer* handles[12] = {&cameras_[0].buffer, nullptr};
    std::fill_n(handles + 2, 10, &cameras_[1].buffer);
    if (script_.OneIn(32)) handles[0] = nullptr;
    cameras_[0].ChangePixels();
    const auto list = [&](Memory& memory, uint32_t count) {
      auto** place = memory.Put(handles, sizeof(void*) * std::min(count, 12u));
      if (count == 0) place = reinterpret_cast<ChiNodeBuffer**>(1);
      return script_.OneIn(32) ? nullptr : place;
    };
    ChiNodeProcessRequestInfo info = {};
    info.hNodeSession = script_.OneIn(48) ? nullptr : handles_[actor_];
    info.frameNum = script_.OneIn(8) ? script_.Raw<uint64_t>() : 4 + 6u * script_.Byte();
    info.inputNum = script_.OneIn(8) ? script_.Pick(std::array{0u, 2u, 12u, 40u, ~0u}) : 1;
    info.outputNum = script_.Byte() % 8 != 0;
    info.phInputBuffer = list(inputs_, info.inputNum);
    info.phOutputBuffer = list(outputs_, info.outputNum);
    auto* const given = Record(info, 88);
    const ChiResult refusal = Refusal(given, 88);
    if (refusal == 0) Model([&] { nodes_[actor_]->Process(*given); });
    Expect(refusal, table_.pProcessRequest(given));
  }

  fuzz::Script script_;
  std::string expected_, seen_;
  ChiNodeCallbacks table_ = {};
  Camera cameras_[2];
  Memory record_, inputs_, outputs_, values_[kFaces + 1];
  std::vector<uint32_t> faces_;
  int actor_ = 0;
  ChiHandle handles_[2] = {};
  std::unique_ptr<Node> nodes_[2];
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, std::size_t size) {
  Play(fuzz::Script(bytes, size)).Run();
  return 0;
}
