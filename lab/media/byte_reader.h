// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_MEDIA_BYTE_READER_H_
#define ZY_MEDIA_BYTE_READER_H_

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "common/failure.h"

namespace media {

// A stream of bytes with a short look-ahead: what the parsers read from, so that they work alike on
// files, pipes and memory. One thread at a time.
class ByteReader {
 public:
  static constexpr std::size_t kMaxPeek = 16;

  ByteReader() = default;
  virtual ~ByteReader() = default;
  ByteReader(const ByteReader&) = delete;
  ByteReader& operator=(const ByteReader&) = delete;

  // Takes up to `count` bytes. Returns how many came; fewer only at the end or after a failure,
  // which ReadFailure() tells apart.
  std::size_t Read(uint8_t* to, std::size_t count);

  // Shows up to min(count, kMaxPeek) coming bytes without taking them. Returns how many there are.
  std::size_t Peek(uint8_t* to, std::size_t count);

  // Set once the medium, rather than the stream's end, has cut a read short.
  virtual common::Failure ReadFailure() const = 0;

 protected:
  // As Read, from the medium itself.
  virtual std::size_t Fetch(uint8_t* to, std::size_t count) = 0;

 private:
  uint8_t ahead_[kMaxPeek] = {};
  std::size_t ahead_begin_ = 0;
  std::size_t ahead_end_ = 0;
};

// Bytes of an open stdio stream.
class FileReader final : public ByteReader {
 public:
  // Takes `file` and closes it at destruction, except standard input.
  explicit FileReader(std::FILE* file) : file_(file) {}
  ~FileReader() override;
  common::Failure ReadFailure() const override;

 protected:
  std::size_t Fetch(uint8_t* to, std::size_t count) override;

 private:
  std::FILE* file_;
  int error_number_ = 0;
};

// Bytes of memory that the caller keeps alive.
class MemoryReader final : public ByteReader {
 public:
  MemoryReader(const uint8_t* bytes, std::size_t size) : bytes_(bytes), left_(size) {}
  common::Failure ReadFailure() const override { return std::nullopt; }

 protected:
  std::size_t Fetch(uint8_t* to, std::size_t count) override;

 private:
  const uint8_t* bytes_;
  std::size_t left_;
};

// Opens `path`, or standard input when it is "-". A directory is a failure. The message names no
// path.
common::Failure OpenFile(const std::string& path, std::unique_ptr<ByteReader>* reader);

// Reads exactly `count` bytes into `bytes`. Memory grows with what has arrived, not with what a
// header promised. `what` names the missing thing in the failure: "frame 3 is cut short".
common::Failure ReadExactly(ByteReader& reader, std::size_t count, const std::string& what,
                            std::vector<uint8_t>* bytes);

// Reads to the end of the stream; more than `limit` bytes is a failure.
common::Failure ReadToEnd(ByteReader& reader, std::size_t limit, std::vector<uint8_t>* bytes);

}  // namespace media

#endif  // ZY_MEDIA_BYTE_READER_H_
