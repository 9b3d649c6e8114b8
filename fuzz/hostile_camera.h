// SPDX-License-Identifier: Apache-2.0
// What a hostile framework hands to the node: records, buffers and metadata of all shapes, yet in
// memory as large as they promise and not a byte larger.
#ifndef ZY_FUZZ_HOSTILE_CAMERA_H_
#define ZY_FUZZ_HOSTILE_CAMERA_H_

#include <optional>

#include "framework/framework.h"
#include "fuzz/script.h"

namespace fuzz {

using Bytes = std::vector<uint8_t>;

// A record in memory that ends where its size says, but not before the node session in it. At times
// there is none.
template <typename T>
class Record {
 public:
  Record(Script& script, T record) : is_null_(script.OneIn(32)) {
    record.size = static_cast<uint32_t>(script.OneIn(16) ? script.Byte() : sizeof(record));
    memory_.assign(std::max<std::size_t>(16, record.size), 0);
    std::memcpy(memory_.data(), &record, std::min(memory_.size(), sizeof(record)));
  }
  T* get() { return is_null_ ? nullptr : reinterpret_cast<T*>(memory_.data()); }
  // What the node may have written, zero where the record did not reach.
  T Read() const {
    T record = {};
    std::memcpy(&record, memory_.data(), std::min(memory_.size(), sizeof(record)));
    return record;
  }

 private:
  bool is_null_;
  Bytes memory_;
};

// A camera buffer. Its planes hold every byte of their rows and none behind the last; of a shape
// that is to be refused they hold a single byte.
class Buffer {
 public:
  explicit Buffer(Script& script) {
    const uint32_t width = script.OneIn(16) ? 0x80000000 : script.Byte() % 96;
    const uint32_t height = script.OneIn(16) ? 0x7fffffff : script.Byte() % 96;
    const uint32_t stride = script.OneIn(16) ? script.Byte() : width + script.Byte() % 9;
    const bool usable = width - 1 < 96 && height - 1 < 96 && stride >= width;
    for (uint32_t p = 0; p < 2; ++p) {
      const std::size_t rows = usable ? height >> p : 0;
      planes_[p] = script.Noise(rows == 0 ? 1 : (rows - 1) * stride + (width >> p << p));
      image_.pPlaneAddress[p] = script.OneIn(32) ? nullptr : planes_[p].data();
    }
    const uint32_t planes = script.OneIn(16) ? script.Byte() : 2;
    const ChiImage* images = script.OneIn(32) ? nullptr : &image_;
    const uint32_t image_count = script.OneIn(32) ? 0 : 1;
    buffer_ = {sizeof(buffer_), image_count, {width, height, 0, 0}, planes, stride, images};
  }
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ChiNodeBuffer* get() { return &buffer_; }

 private:
  Bytes planes_[2];
  ChiImage image_ = {sizeof(ChiImage), 0, {}};
  ChiNodeBuffer buffer_;
};

template <typename T>
T OfNode(ChiHandle session) {
  T record = {};
  record.hNodeSession = session;
  return record;
}

// The metadata of the requests, one at a time. A value has the length that its tag declares, lies
// at an odd address and lives as long as its request. One for the process, as the interface is.
class Metadata {
 public:
  static Metadata& Instance() {
    static Metadata metadata;
    return metadata;
  }
  void EndRequest() { values_.clear(); }
  uint64_t records() const { return records_; }

  // Values follow `script` from now on.
  ChiNodeInterface Interface(Script* script) {
    script_ = script;
    ChiNodeInterface interface = framework::Framework::Interface();
    interface.pGetMetadata = script->OneIn(8) ? nullptr : Get;
    interface.pSetMetadata = Set;
    return interface;
  }

 private:
  static ChiResult Get(ChiMetadataGet* get) {
    Script& script = *Instance().script_;
    const uint32_t tag = get->tag & ~kChiInputMetadataBit;
    std::size_t bytes = sizeof(int32_t);
    uint32_t count = script.OneIn(8) ? script.Raw<uint16_t>() : 4 * (script.Byte() % 5u);
    if (tag != kChiFaceRectanglesTag)
      framework::Framework::Get().Tags().Describe(tag, &bytes, &count);
    get->count = count;
    get->pData = nullptr;
    if (script.OneIn(16)) return kChiFailed;
    Bytes& value = Instance().values_.emplace_back(1 + count * bytes);
    for (std::size_t at = 1; at < value.size(); at += bytes) {
      const uint64_t word = script.Word();
      std::memcpy(&value[at], &word, bytes);
    }
    get->pData = value.data() + 1;
    return script.OneIn(4) ? kChiFailed : kChiSuccess;
  }

  static ChiResult Set(ChiMetadataSet* set) {
    for (uint32_t i = 0; i < set->tagCount; ++i) {
      std::size_t bytes = 0;
      uint32_t count = 0;
      framework::Framework::Get().Tags().Describe(set->pTagList[i], &bytes, &count);
      const auto* data = static_cast<const uint8_t*>(set->pTagData[i].pData);
      const Bytes value(data, data + count * bytes);
      Require(set->pTagData[i].count == count, "a value has its tag's length");
      if (count != sizeof(framework::ResultRecord)) continue;
      framework::ResultRecord record;
      std::memcpy(&record, value.data(), sizeof(record));
      Require(record.face_count >= 0 && record.face_count <= 3, "up to three faces are told of");
      ++Instance().records_;
    }
    return Instance().script_->OneIn(4) ? kChiFailed : kChiSuccess;
  }

  Script* script_ = nullptr;
  std::vector<Bytes> values_;
  uint64_t records_ = 0;  // results that were published
};

// A request with its buffers. Of the twelve inputs that a node may look at, two are there.
class Request {
 public:
  Request(Script& script, ChiHandle session)
      : input_(script),
        output_(script),
        inputs_{script.OneIn(32) ? nullptr : input_.get(), output_.get()},
        outputs_{script.OneIn(32) ? nullptr : output_.get()} {
    auto info = OfNode<ChiNodeProcessRequestInfo>(session);
    info.frameNum = script.OneIn(8) ? script.Raw<uint64_t>() : 4 + 6u * script.Byte();
    info.inputNum = script.OneIn(8) ? script.Raw<uint32_t>() : 1;
    info.outputNum = script.OneIn(8) ? script.Raw<uint32_t>() : 1;
    info.phInputBuffer = script.OneIn(32) ? nullptr : inputs_;
    info.phOutputBuffer = script.OneIn(32) ? nullptr : outputs_;
    record_.emplace(script, info);
  }
  ~Request() { Metadata::Instance().EndRequest(); }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ChiNodeProcessRequestInfo* get() { return record_->get(); }

 private:
  Buffer input_;
  Buffer output_;
  ChiNodeBuffer* inputs_[12];
  ChiNodeBuffer* outputs_[1];
  std::optional<Record<ChiNodeProcessRequestInfo>> record_;
};

}  // namespace fuzz

#endif  // ZY_FUZZ_HOSTILE_CAMERA_H_
