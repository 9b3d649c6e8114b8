// SPDX-License-Identifier: Apache-2.0
// A small node without code of ours. It works, unless the environment variable ZY_DEFECT names a
// defect; a node checker must report each of them.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "platform/age_gender_model.h"
#include "platform/chi_node.h"

namespace {

bool Has(const char* defect) {
  static const char* const chosen = std::getenv("ZY_DEFECT");
  return chosen != nullptr && std::strcmp(chosen, defect) == 0;
}

const ChiVendorTagData kTags[] = {{"Passes", ChiTagType::kInt32, 1},
                                  {Has("names_twice") ? "Passes" : "Mode", ChiTagType::kByte, 1}};
const ChiVendorTagSectionData kSection = {"other.node", 0, 2, 0xffffffff, 0, kTags};
const ChiVendorTagInfo kInfo = {&kSection, 1, 0};
ChiNodeInterface g_interface = {};
void* volatile g_lost = nullptr;
std::mutex g_model;  // the library is process-wide

// Changes the state of the process.
void DisturbProcess() {
  if (Has("closes_descriptors")) {
    for (int descriptor = 3; descriptor < 9; ++descriptor) close(descriptor);
  }
  if (Has("ignores_signal")) std::signal(SIGPIPE, SIG_IGN);
  if (Has("changes_directory")) (void)!chdir("/");
  if (Has("changes_environment")) setenv("ZY_DEFECT_SEEN", "yes", 1);
  if (Has("leaves_child") && fork() == 0) pause();
  if (Has("exits")) std::exit(0);
  if (Has("exits_like_a_check")) _exit(87);
  if (Has("kills_group")) kill(0, SIGTERM);
  if (Has("imitates")) (void)!write(1, "ok   all\n", 9);
}

struct AtEnd {
  ~AtEnd() {
    if (Has("exits_at_end") && g_interface.size != 0) _exit(0);
  }
} g_at_end;

uint32_t TagId(const char* section, const char* tag) {
  ChiVendorTagBase base = {sizeof(base), 0, section, tag};
  g_interface.pGetVendorTagBase(&base);
  return base.vendorTagBase;
}

// Analyses the upper left of a frame, one at a time, and drops frames that arrive meanwhile.
class Node {
 public:
  explicit Node(ChiHandle session) : session_(session) {}

  ~Node() {
    DisturbProcess();
    if (Has("publishes_late")) Publish(last_);
    if (Has("leaks_memory")) g_lost = std::memset(std::malloc(65536), 1, 65536);
    if (Has("leaks_descriptor")) (void)!open("/dev/null", O_RDONLY);
    if (!thread_.joinable()) return;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ends_ = !Has("hangs") && !(busy_ && Has("hangs_in_pass"));
      wakes_.notify_all();
    }
    thread_.join();
  }

  void Start() {
    if (Has("leaks_thread"))
      std::thread([] { std::this_thread::sleep_for(std::chrono::hours(1)); }).detach();
    thread_ = std::thread([this] { Work(); });
  }

  void Process(const ChiNodeProcessRequestInfo& info) {
    if (info.frameNum == 7) Break();
    const bool has_buffer = info.inputNum > 0 || Has("trusts_buffers");
    const ChiNodeBuffer* buffer = has_buffer ? info.phInputBuffer[0] : nullptr;
    const int faces = CountFaces(info.frameNum);
    if (faces > 0 && buffer != nullptr) Offer(*buffer);
    if (Has("forgets_record") && info.frameNum % 50 == 49) return;
    if (Has("needs_rising_numbers") && info.frameNum < std::exchange(last_, info.frameNum)) return;
    Publish(info.frameNum);
    if (Has("publishes_twice")) Publish(info.frameNum);
  }

 private:
  static void Break() {
    while (Has("hangs_in_request")) std::this_thread::sleep_for(std::chrono::seconds(1));
    if (Has("crashes_in_request")) *static_cast<volatile int*>(nullptr) = 0;
  }

  int CountFaces(uint64_t request) {
    ChiMetadataGet get = {sizeof(get),
                          kChiFaceRectanglesTag | kChiInputMetadataBit,
                          ChiMetadataType::kInput,
                          0,
                          session_,
                          request,
                          nullptr,
                          0};
    g_interface.pGetMetadata(&get);
    if (get.pData == nullptr) return 0;
    if (Has("needs_few_faces") && get.count > 400) std::abort();
    auto* const words = static_cast<int32_t*>(get.pData);
    if (Has("writes_tag")) words[0] ^= 1;
    if (Has("writes_before_tag")) words[-1] ^= 1;
    int faces = 0;
    const std::size_t count = Has("reads_past_tags") ? 16 : get.count;
    for (std::size_t i = 0; i + 3 < count; i += 4) {
      const volatile int32_t* const edges = words + i;
      faces += edges[0] != edges[2] ? 1 : 0;
    }
    return faces;
  }

  void Offer(const ChiNodeBuffer& buffer) {
    const uint32_t width = buffer.format.width, height = buffer.format.height;
    const bool has_image = buffer.numImages > 0 && buffer.pImages != nullptr;
    if (!(has_image && buffer.numPlanes > 1) && !Has("trusts_planes")) return;
    uint8_t* const luma = luma_ = buffer.pImages->pPlaneAddress[0];
    if (luma == nullptr || (buffer.planeStride < width && !Has("trusts_pitch"))) return;
    if (Has("writes_input")) luma[0] ^= 1;
    if (Has("writes_padding") && buffer.planeStride > width) luma[width] ^= 1;
    std::lock_guard<std::mutex> lock(mutex_);
    if (busy_ || !thread_.joinable()) return;
    const std::size_t bytes = std::size_t{std::max(buffer.planeStride, width)} * height;
    gray_.assign(luma, luma + bytes + (Has("reads_past_planes") ? 1 : 0));
    width_ = static_cast<int>(width);
    height_ = static_cast<int>(height);
    if (Has("waits_for_model")) return Analyse();
    busy_ = true;
    wakes_.notify_one();
  }

  void Publish(uint64_t request) {
    const uint8_t record[52] = {};
    const int32_t passes = passes_;
    const uint32_t ids[] = {TagId("other.node", "Passes"),
                            TagId("brodax.faceAnalyzeResult", "result"), 0x80990000};
    const ChiTagData data[] = {{sizeof(ChiTagData), 0, request, &passes, 1, {}},
                               {sizeof(ChiTagData), 0, request, record, sizeof(record), {}},
                               {sizeof(ChiTagData), 0, request, &passes, 1, {}}};
    const uint32_t count = Has("undeclared_tag") ? 3 : Has("modest") ? 1 : 2;
    ChiMetadataSet set = {sizeof(set), count, Has("wrong_session") ? this : session_, ids, data};
    const bool insists = Has("insists") || Has("undeclared_tag");
    if (g_interface.pSetMetadata(&set) == kChiSuccess || !insists) return;
    set.tagCount = 2;
    g_interface.pSetMetadata(&set);
  }

  void Work() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (!ends_) {
      wakes_.wait_for(lock, std::chrono::seconds(5), [this] { return busy_ || ends_; });
      if (!busy_) continue;
      lock.unlock();
      if (Has("reads_later")) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        g_lost = reinterpret_cast<void*>(uintptr_t{*luma_});
      }
      Analyse();
      lock.lock();
      busy_ = false;
    }
  }

  void Analyse() {
    std::unique_lock<std::mutex> lock(g_model);
    if (Has("models_at_once")) lock.unlock();
    if (!ready_ && !(gave_up_ && Has("gives_up"))) ready_ = (QVAG_Model_Init() & 1) != 0;
    gave_up_ = !ready_;
    rgb_.resize(gray_.size() * 3);
    if (ready_ && !Has("modest"))
      QVAG_OneFaceAnalyze(gray_.data(), rgb_.data(), width_, height_, 0, 0, 8, 8, 1.0f);
    // Only the second pass hangs: a first one may begin before the worker was seen to wait.
    while (Has("never_rests") && passes_ > 0) std::this_thread::sleep_for(std::chrono::seconds(1));
    ++passes_;
  }

  const ChiHandle session_;
  std::mutex mutex_;
  std::condition_variable wakes_;
  std::thread thread_;
  bool busy_ = false, ends_ = false, ready_ = false, gave_up_ = false;
  std::vector<uint8_t> gray_, rgb_;
  int width_ = 0, height_ = 0;
  uint8_t* luma_ = nullptr;
  uint64_t last_ = 0;
  std::atomic<int32_t> passes_{0};
};

template <typename Record>
ChiResult Check(Record* record) {
  if (record == nullptr) return kChiInvalidPointer;
  if (record->hNodeSession == nullptr && !Has("trusts_session")) return kChiInvalidPointer;
  if (record->size >= sizeof(Record) || Has("accepts_short")) return kChiSuccess;
  if (Has("changes_refused")) record->hNodeSession = nullptr;
  return kChiFailed;
}

ChiResult Create(ChiNodeCreateInfo* info) {
  if (info == nullptr && !Has("crashes_on_null")) return kChiInvalidPointer;
  if (info->size < sizeof(*info)) return kChiFailed;
  info->hNodeSession = new Node(info->hChiSession);
  return kChiSuccess;
}

ChiResult Destroy(ChiNodedestroyInfo* info) {
  const ChiResult result = Check(info);
  if (result == kChiSuccess) delete static_cast<Node*>(std::exchange(info->hNodeSession, nullptr));
  return result;
}

ChiResult Process(ChiNodeProcessRequestInfo* info) {
  const ChiResult result = Check(info);
  if (result != kChiSuccess || Has("refuses")) return kChiFailed;
  static_cast<Node*>(info->hNodeSession)->Process(*info);
  if (Has("changes_request")) ++info->frameNum;
  return result;
}

}  // namespace

extern "C" void ChiNodeEntry(ChiNodeCallbacks* table) {
  if (table == nullptr && !Has("trusts_table")) return;
  if (table->majorVersion != 0) return;
  if (table->size < sizeof(*table) && !Has("fills_smaller_table")) return;
  table->pCreate = Create;
  if (Has("fills_create_only")) return;
  table->pDestroy = Destroy;
  table->pQueryBufferInfo = [](ChiNodeQueryBufferInfo* info) { return Check(info); };
  table->pSetBufferInfo = [](ChiNodeSetBufferPropertiesInfo* info) { return Check(info); };
  table->pProcessRequest = Process;
  table->pGetCapabilities = [](ChiNodeCapsInfo*) { return kChiSuccess; };
  table->pQueryVendorTag = [](ChiQueryVendorTag* query) {
    if (query != nullptr) query->pVendorTagInfo = &kInfo;
    return query != nullptr ? kChiSuccess : kChiInvalidPointer;
  };
  table->pSetNodeInterface = [](ChiNodeInterface* interface) {
    if (interface != nullptr) g_interface = *interface;
  };
  table->pPostPipelineCreate = [](ChiHandle node) {
    if (node != nullptr) static_cast<Node*>(node)->Start();
  };
  if (Has("writes_behind_callbacks")) table->reserved2[0] = nullptr;
}
