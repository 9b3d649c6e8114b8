// SPDX-License-Identifier: Apache-2.0
// The camera framework's side of the node interface: vendor tags, metadata, buffers, and a
// pipeline's calls in order. It knows only the node's callback table.
#ifndef ZY_FRAMEWORK_FRAMEWORK_H_
#define ZY_FRAMEWORK_FRAMEWORK_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/failure.h"
#include "framework/lent_bytes.h"
#include "framework/lent_frame.h"
#include "media/nv12.h"
#include "platform/chi_node.h"

namespace framework {

// ---- Metadata -----------------------------------------------------------------------------------

// Values by tag identifier. Memory is reused from request to request. One thread at a time.
class Metadata {
 public:
  struct Value {
    uint32_t tag = 0;
    bool present = false;
    std::size_t count = 0;  // elements
    std::vector<uint8_t> bytes;
  };

  void Clear();
  void Set(uint32_t tag, const void* data, std::size_t bytes, std::size_t count);
  // Returns null when the tag is absent.
  Value* Find(uint32_t tag);
  // Returns the tags in the order in which they were first set, absent ones included.
  const std::vector<Value>& Values() const { return values_; }

  // Sets a tag of 32-bit elements.
  template <typename T>
  void SetWords(uint32_t tag, const std::vector<T>& words) {
    static_assert(sizeof(T) == sizeof(uint32_t));
    Set(tag, words.data(), words.size() * sizeof(T), words.size());
  }

 private:
  std::vector<Value> values_;
};

// The vendor tags of the process: every section gets a block of identifiers, and its tags count up
// in it.
class VendorTags {
 public:
  struct Tag {
    std::string section, name;
    ChiTagType type;
    uint32_t count;  // declared elements

    std::string FullName() const { return section + "." + name; }
    // Returns the bytes of one element; 0 for an unknown type.
    std::size_t ElementBytes() const;
  };

  // Adds a tag to its section. Its identifier is never 0.
  void Add(Tag tag);
  void Clear() { tags_.clear(); }
  // Returns the identifier of a tag, of the section's first one for an empty name; 0 when it is
  // unknown.
  uint32_t Id(const std::string& section, const std::string& name) const;
  // Names a tag without an identifier of its own, a known type or a count; "" for none.
  std::string Fault() const;
  // Returns null when the identifier is unknown.
  const Tag* Find(uint32_t id) const;
  // Returns a tag's full name, or its number if it has none.
  std::string NameOf(uint32_t id) const;
  // Returns all tags by identifier.
  const std::map<uint32_t, Tag>& All() const { return tags_; }

 private:
  std::map<uint32_t, Tag> tags_;
};

// ---- The framework ------------------------------------------------------------------------------

using NodeEntry = void (*)(ChiNodeCallbacks*);

// Opens a node library until the process ends, and finds its entry. Any thread.
common::Failure OpenNode(const std::string& path, NodeEntry* entry);

// Calls visit(callback, its member, its call in messages) for each callback of a table.
template <typename Callbacks, typename Visit>
void ForEachCallback(Callbacks& table, const Visit& visit) {
  visit(table.pGetCapabilities, "pGetCapabilities", "get-capabilities");
  visit(table.pQueryVendorTag, "pQueryVendorTag", "query-vendor-tag");
  visit(table.pCreate, "pCreate", "create");
  visit(table.pDestroy, "pDestroy", "destroy");
  visit(table.pQueryBufferInfo, "pQueryBufferInfo", "query-buffer-info");
  visit(table.pSetBufferInfo, "pSetBufferInfo", "set-buffer-info");
  visit(table.pProcessRequest, "pProcessRequest", "process-request");
  visit(table.pSetNodeInterface, "pSetNodeInterface", "set-node-interface");
  visit(table.pPostPipelineCreate, "pPostPipelineCreate", "post-pipeline-create");
}

// The only framework of the process: the platform's interface has no context to distinguish two.
// One thread at a time, but sessions may run in parallel.
class Framework {
 public:
  static Framework& Get();

  // Starts a node by its entry: fetches its callbacks, registers the platform's and the node's
  // vendor tags, and passes the framework's interface. Fails when a callback is missing or refuses,
  // and on tags that cannot be registered.
  common::Failure Start(NodeEntry entry);

  const ChiNodeCallbacks& Callbacks() const { return callbacks_; }
  VendorTags& Tags() { return tags_; }
  // Returns the interface that nodes receive.
  static ChiNodeInterface Interface();

 private:
  common::Failure RegisterNodeTags();

  ChiNodeCallbacks callbacks_ = {};
  VendorTags tags_;
};

// The value of the result tag, as the camera application reads it.
struct ResultRecord {
  int32_t face_count;
  float gender[3];
  float age[3];
  float score[3];
  float prop[3];
};
static_assert(sizeof(ResultRecord) == 52);

// A camera buffer around the planes of a frame. The caller keeps them alive.
class CameraBuffer {
 public:
  explicit CameraBuffer(media::Nv12Frame* frame);
  CameraBuffer(const CameraBuffer&) = delete;
  CameraBuffer& operator=(const CameraBuffer&) = delete;

  ChiNodeBuffer* handle() { return &buffer_; }

 private:
  ChiImage image_;
  ChiNodeBuffer buffer_;
};

// The differences of a session from a usual one.
struct SessionOptions {
  bool refuses_publications = false;     // fails the node's publications, whatever they contain
  std::optional<Margin> margin_of_tags;  // lends tag values in memory with this margin
};

// One pipeline with one node. Its address is the session handle that the node receives. Requests of
// one session come from one thread at a time; several sessions may run in parallel.
class Session {
 public:
  Session();
  // Destroys the node.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Creates the node, negotiates its buffers and announces their size.
  common::Failure Create(uint32_t node_caps, uint32_t buffer_width, uint32_t buffer_height);
  // Calls the node's post-pipeline-create.
  void PostPipelineCreate();
  // Returns the metadata of the next request.
  Metadata& Input() { return input_; }
  // Sends one request with one input buffer and one output buffer.
  common::Failure Process(uint64_t frame_number, CameraBuffer* input, CameraBuffer* output);
  // Sends a request with a frame, `buffers` times as input and as output. A `changed` that is not
  // null receives the first change by the node in the request's record, the input or beside it, or
  // a tag's value or beside it; "" without any.
  ChiResult Process(uint64_t frame_number, LentFrame* frame, uint32_t buffers,
                    std::string* changed);
  // Sends a request with the caller's record. Returns the node's answer.
  ChiResult Process(ChiNodeProcessRequestInfo* info);
  // Returns the metadata that the node published for the last request.
  Metadata& Output() { return output_; }
  // Returns the published result record; all zero without one.
  ResultRecord Result();
  // Destroys the node. Fails also on calls with a wrong handle and publications between requests.
  common::Failure Destroy();

  ChiHandle node() const { return node_; }

  // Returns the number of publications for the last request.
  int Publications() const { return publications_; }
  // Returns the first error of the node's publications for the last request. Without one, reports a
  // node's call with a handle that is no session, or a publication between requests; "" if none.
  const std::string& Complaint() const { return complaint_; }
  // Returns the options for the next requests.
  SessionOptions& Options() { return options_; }

 private:
  friend class Framework;
  static Session* Find(ChiHandle handle);
  static ChiResult GetMetadata(ChiMetadataGet* get);
  static ChiResult SetMetadata(ChiMetadataSet* set);
  std::string ChangedValue();
  std::string Take(uint32_t id, const ChiTagData& data);

  ChiHandle node_ = nullptr;
  bool is_in_request_ = false;
  uint64_t request_id_ = 0;
  int publications_ = 0;
  std::string complaint_;
  SessionOptions options_;
  std::map<uint32_t, LentBytes> lent_;  // values of this request, by tag
  Metadata input_;
  Metadata output_;
};

}  // namespace framework

#endif  // ZY_FRAMEWORK_FRAMEWORK_H_
