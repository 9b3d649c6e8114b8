// SPDX-License-Identifier: Apache-2.0
#include "framework/framework.h"

#include <dlfcn.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <utility>

namespace framework {
namespace {

constexpr uint32_t kFirstSection = 0x80000000;
constexpr uint32_t kSectionBlock = 0x10000;

// Guards the next two variables. In a session it guards the state of the running request, which the
// node's calls use; outside a request they are refused, and the session belongs to its caller.
std::mutex g_sessions_mutex;
std::set<const void*> g_sessions;
int g_strays = 0;  // calls with a handle that is no session, publications between requests

// Returns a complaint about strays, "" without any. The caller holds the lock.
std::string ComplainOfStrays() {
  if (g_strays == 0) return "";
  return "expected calls for its session, publications until process-request returns, saw " +
         std::to_string(g_strays) + " other";
}

// Adds the tags that other parts of the platform register.
void AddPlatformTags(VendorTags* tags) {
  tags->Add({"brodax.faceScore", "enabled", ChiTagType::kInt32, 1});
  tags->Add({"brodax.faceGenderAndAge", "enabled", ChiTagType::kInt32, 1});
  tags->Add({"brodax.device", "orientation", ChiTagType::kInt32, 1});
  tags->Add({"brodax.sensorSize", "size", ChiTagType::kInt32, 2});
  tags->Add({"brodax.quadcfa", "enabled", ChiTagType::kByte, 1});
  tags->Add({"com.qti.chi.multicamerainfo", "MultiCameraIdRole", ChiTagType::kInt32, 3});
  tags->Add({"brodax.faceAnalyzeResult", "result", ChiTagType::kByte, sizeof(ResultRecord)});
  tags->Add({"brodax.faceAnalyzeResult", "faceNum", ChiTagType::kInt32, 1});
}

ChiResult GetVendorTagBase(ChiVendorTagBase* query) {
  if (query->size != sizeof(*query)) return kChiFailed;
  const char* name = query->pTagName != nullptr ? query->pTagName : "";
  query->vendorTagBase = Framework::Get().Tags().Id(query->pComponentName, name);
  return query->vendorTagBase != 0 ? kChiSuccess : kChiFailed;
}

common::Failure Check(const std::string& call, ChiResult result) {
  if (result == kChiSuccess) return std::nullopt;
  return common::Fail(call + " returned " + std::to_string(result));
}

// Returns the names of the callbacks that a table lacks, separated by commas.
std::string MissingCallbacks(const ChiNodeCallbacks& callbacks) {
  std::string missing;
  ForEachCallback(callbacks, [&](const auto& callback, const char* member, const char*) {
    if (callback == nullptr) missing += (missing.empty() ? "" : ", ") + std::string(member);
  });
  return missing;
}

}  // namespace

void Metadata::Clear() {
  for (Value& value : values_) value.present = false;
}

void Metadata::Set(uint32_t tag, const void* data, std::size_t bytes, std::size_t count) {
  auto value = std::find_if(values_.begin(), values_.end(),
                            [tag](const Value& other) { return other.tag == tag; });
  if (value == values_.end()) value = values_.insert(values_.end(), Value());
  value->tag = tag;
  value->present = true;
  value->count = count;
  value->bytes.resize(bytes);
  if (bytes != 0) std::memcpy(value->bytes.data(), data, bytes);
}

Metadata::Value* Metadata::Find(uint32_t tag) {
  for (Value& value : values_) {
    if (value.tag == tag && value.present) return &value;
  }
  return nullptr;
}

std::size_t VendorTags::Tag::ElementBytes() const {
  if (type == ChiTagType::kByte) return 1;
  if (type == ChiTagType::kInt64) return 8;
  return type == ChiTagType::kInt32 || type == ChiTagType::kFloat ? 4 : 0;
}

void VendorTags::Add(Tag tag) {
  const uint32_t sections = tags_.empty() ? 0 : tags_.rbegin()->first / kSectionBlock + 1;
  uint32_t id = tags_.empty() ? kFirstSection : sections * kSectionBlock;
  for (const auto& [other_id, other] : tags_) {
    if (other.section == tag.section) id = other_id + 1;
  }
  tags_.emplace(id, std::move(tag));
}

uint32_t VendorTags::Id(const std::string& section, const std::string& name) const {
  for (const auto& [id, tag] : tags_) {
    if (tag.section == section && (name.empty() || tag.name == name)) return id;
  }
  return 0;
}

std::string VendorTags::Fault() const {
  for (const auto& [id, tag] : tags_) {
    const std::string name = tag.section + "/" + tag.name;
    if (Id(tag.section, tag.name) != id) return name + ": expected once, saw twice";
    if (tag.ElementBytes() != 0 && tag.count != 0) continue;
    return name + ": expected a known type and a count, saw " +
           std::to_string(static_cast<uint32_t>(tag.type)) + " and " + std::to_string(tag.count);
  }
  return "";
}

const VendorTags::Tag* VendorTags::Find(uint32_t id) const {
  const auto found = tags_.find(id);
  return found != tags_.end() ? &found->second : nullptr;
}

std::string VendorTags::NameOf(uint32_t id) const {
  if (id == kChiFaceRectanglesTag) return "the face rectangles";
  const Tag* const tag = Find(id);
  return tag != nullptr ? tag->FullName() : "tag " + std::to_string(id);
}

Framework& Framework::Get() {
  static Framework framework;
  return framework;
}

common::Failure OpenNode(const std::string& path, NodeEntry* entry) {
  // Without a slash the loader would search its own folders for that name.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return common::Fail(dlerror());
  *entry = reinterpret_cast<NodeEntry>(dlsym(library, "ChiNodeEntry"));
  if (*entry == nullptr) return common::Fail(path + ": no ChiNodeEntry");
  return std::nullopt;
}

common::Failure Framework::Start(NodeEntry entry) {
  callbacks_ = {};
  callbacks_.size = sizeof(callbacks_);
  entry(&callbacks_);
  const std::string missing = MissingCallbacks(callbacks_);
  if (!missing.empty()) return common::Fail("the node leaves callbacks empty: " + missing);
  tags_.Clear();
  AddPlatformTags(&tags_);
  if (common::Failure failure = RegisterNodeTags()) return failure;
  ChiNodeInterface interface = Interface();
  callbacks_.pSetNodeInterface(&interface);
  ChiNodeCapsInfo caps = {sizeof(caps), 0};
  return Check("get-capabilities", callbacks_.pGetCapabilities(&caps));
}

common::Failure Framework::RegisterNodeTags() {
  ChiQueryVendorTag query = {sizeof(query), 0, nullptr};
  if (common::Failure failure = Check("query-vendor-tag", callbacks_.pQueryVendorTag(&query))) {
    return failure;
  }
  if (query.pVendorTagInfo == nullptr) return std::nullopt;
  const ChiVendorTagInfo& info = *query.pVendorTagInfo;
  for (uint32_t s = 0; s < info.numSections; ++s) {
    const ChiVendorTagSectionData& section = info.pSections[s];
    if (section.pSectionName == nullptr) return common::Fail("a vendor tag section has no name");
    for (uint32_t t = 0; t < section.numTags; ++t) {
      const ChiVendorTagData& tag = section.pTags[t];
      if (tag.pTagName == nullptr) {
        return common::Fail(std::string(section.pSectionName) + ": a vendor tag has no name");
      }
      tags_.Add({section.pSectionName, tag.pTagName, tag.type, tag.count});
    }
  }
  return std::nullopt;
}

ChiNodeInterface Framework::Interface() {
  ChiNodeInterface interface = {};
  interface.size = sizeof(interface);
  interface.pGetMetadata = Session::GetMetadata;
  interface.pSetMetadata = Session::SetMetadata;
  interface.pGetVendorTagBase = GetVendorTagBase;
  return interface;
}

CameraBuffer::CameraBuffer(media::Nv12Frame* frame)
    : image_{sizeof(image_), 0, {frame->Luma(), frame->Chroma()}},
      buffer_{sizeof(buffer_),
              1,
              {static_cast<uint32_t>(frame->width), static_cast<uint32_t>(frame->height), 0, 0},
              2,
              static_cast<uint32_t>(frame->stride),
              &image_} {}

Session::Session() {
  const std::lock_guard<std::mutex> lock(g_sessions_mutex);
  g_sessions.insert(this);
}

Session::~Session() {
  if (node_ != nullptr) Destroy();
  const std::lock_guard<std::mutex> lock(g_sessions_mutex);
  g_sessions.erase(this);
}

// Returns null for a handle that is no session, and counts it. The caller holds the lock while it
// uses a session.
Session* Session::Find(ChiHandle handle) {
  if (g_sessions.count(handle) != 0) return static_cast<Session*>(handle);
  ++g_strays;
  return nullptr;
}

common::Failure Session::Create(uint32_t node_caps, uint32_t buffer_width, uint32_t buffer_height) {
  const ChiNodeCallbacks& callbacks = Framework::Get().Callbacks();
  ChiNodeCreateInfo create = {};
  create.size = sizeof(create);
  create.nodeCapsMask = node_caps;
  create.hChiSession = this;
  if (common::Failure failure = Check("create", callbacks.pCreate(&create))) return failure;
  node_ = create.hNodeSession;
  ChiNodeQueryBufferInfo query = {};
  query.size = sizeof(query);
  query.hNodeSession = node_;
  if (common::Failure failure = Check("query-buffer-info", callbacks.pQueryBufferInfo(&query))) {
    return failure;
  }
  const ChiImageFormat format = {buffer_width, buffer_height, 0, 0};
  ChiNodeSetBufferPropertiesInfo set = {sizeof(set), 0, node_, &format, 0};
  return Check("set-buffer-info", callbacks.pSetBufferInfo(&set));
}

void Session::PostPipelineCreate() { Framework::Get().Callbacks().pPostPipelineCreate(node_); }

common::Failure Session::Process(uint64_t frame_number, CameraBuffer* input, CameraBuffer* output) {
  ChiNodeBuffer* inputs[] = {input->handle()};
  ChiNodeBuffer* outputs[] = {output->handle()};
  ChiNodeProcessRequestInfo info = {sizeof(info), 0,       node_, frame_number, 1, 1,
                                    inputs,       outputs, {}};
  return Check("process-request", Process(&info));
}

ChiResult Session::Process(uint64_t frame_number, LentFrame* frame, uint32_t buffers,
                           std::string* changed) {
  const LentFrame::Records records = frame->records();
  const std::vector<ChiNodeBuffer*> inputs(buffers, &frame->records().buffers[0]);
  const std::vector<ChiNodeBuffer*> outputs(buffers, &frame->records().buffers[1]);
  auto given_inputs = inputs, given_outputs = outputs;
  ChiNodeProcessRequestInfo info = {
      sizeof(info),         0, node_, frame_number, buffers, buffers, given_inputs.data(),
      given_outputs.data(), {}};
  const ChiNodeProcessRequestInfo before = info;
  const ChiResult result = Process(&info);
  if (changed == nullptr) return result;
  const bool is_kept = std::memcmp(&info, &before, sizeof(info)) == 0 && given_inputs == inputs &&
                       std::memcmp(&frame->records(), &records, sizeof(records)) == 0 &&
                       given_outputs == outputs;
  *changed = is_kept ? frame->ChangedInput() : "the request's record";
  if (changed->empty()) *changed = ChangedValue();
  return result;
}

ChiResult Session::Process(ChiNodeProcessRequestInfo* info) {
  std::unique_lock<std::mutex> lock(g_sessions_mutex);
  output_.Clear();
  lent_.clear();
  complaint_.clear();
  publications_ = 0;
  request_id_ = info->frameNum;
  is_in_request_ = true;
  lock.unlock();
  const ChiResult result = Framework::Get().Callbacks().pProcessRequest(info);
  lock.lock();
  is_in_request_ = false;
  if (complaint_.empty()) complaint_ = ComplainOfStrays();
  return result;
}

std::string Session::ChangedValue() {
  for (auto& [tag, bytes] : lent_) {
    if (const auto change = bytes.FirstChange()) {
      return bytes.name() + ", byte " + std::to_string(*change);
    }
  }
  return "";
}

ResultRecord Session::Result() {
  ResultRecord record = {};
  const Metadata::Value* value =
      output_.Find(Framework::Get().Tags().Id("brodax.faceAnalyzeResult", "result"));
  if (value != nullptr && value->bytes.size() == sizeof(record)) {
    std::memcpy(&record, value->bytes.data(), sizeof(record));
  }
  return record;
}

common::Failure Session::Destroy() {
  ChiNodedestroyInfo destroy = {sizeof(destroy), 0, node_};
  node_ = nullptr;
  const ChiResult result = Framework::Get().Callbacks().pDestroy(&destroy);
  if (common::Failure failure = Check("destroy", result)) return failure;
  const std::lock_guard<std::mutex> lock(g_sessions_mutex);
  const std::string complaint = ComplainOfStrays();
  return complaint.empty() ? std::nullopt : common::Fail("destroy: " + complaint);
}

ChiResult Session::GetMetadata(ChiMetadataGet* get) {
  const std::lock_guard<std::mutex> lock(g_sessions_mutex);
  Session* const session = Find(get->hChiSession);
  get->pData = nullptr;
  get->count = 0;
  if (session == nullptr || !session->is_in_request_ || get->type != ChiMetadataType::kInput ||
      get->requestId != session->request_id_) {
    return kChiFailed;
  }
  Metadata& metadata = get->tag & kChiInputMetadataBit ? session->input_ : session->output_;
  Metadata::Value* value = metadata.Find(get->tag & ~kChiInputMetadataBit);
  if (value == nullptr) return kChiFailed;
  get->pData = value->bytes.data();
  get->count = value->count;
  if (session->options_.margin_of_tags) {
    const std::string name = "the value of " + Framework::Get().Tags().NameOf(value->tag);
    get->pData = session->lent_
                     .try_emplace(value->tag, name, value->bytes, *session->options_.margin_of_tags)
                     .first->second.data();
  }
  return kChiSuccess;
}

ChiResult Session::SetMetadata(ChiMetadataSet* set) {
  const std::lock_guard<std::mutex> lock(g_sessions_mutex);
  Session* const session = Find(set->hChiSession);
  if (session == nullptr || set->size < sizeof(*set)) return kChiFailed;
  if (!session->is_in_request_) ++g_strays;
  if (!session->is_in_request_) return kChiFailed;
  ++session->publications_;
  if (session->options_.refuses_publications) return kChiFailed;
  for (uint32_t i = 0; i < set->tagCount; ++i) {
    const std::string complaint = session->Take(set->pTagList[i], set->pTagData[i]);
    if (complaint.empty()) continue;
    if (session->complaint_.empty()) session->complaint_ = complaint;
    return kChiFailed;
  }
  return kChiSuccess;
}

// Accepts only known tags of the request with their declared count. Returns the complaint, or "" if
// the tag is accepted.
std::string Session::Take(uint32_t id, const ChiTagData& data) {
  char name[32];
  std::snprintf(name, sizeof(name), "published that tag 0x%08" PRIx32, id);
  const auto complain = [&](const std::string& about) { return name + (" " + about); };
  const VendorTags::Tag* const tag = Framework::Get().Tags().Find(id);
  if (tag == nullptr) return complain("is unknown");
  if (data.count != tag->count) {
    return complain("has " + std::to_string(data.count) + " elements instead of " +
                    std::to_string(tag->count));
  }
  if (data.size < sizeof(data) || data.pData == nullptr) return complain("has no value");
  if (data.requestId != request_id_) {
    return complain("is for request " + std::to_string(data.requestId) + ", not " +
                    std::to_string(request_id_));
  }
  output_.Set(id, data.pData, tag->count * tag->ElementBytes(), tag->count);
  return "";
}

}  // namespace framework
