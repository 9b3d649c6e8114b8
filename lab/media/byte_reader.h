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

// A stream of bytes with a short look-ahead. Parsers read from it, so they treat files, pipes and
// memory alike. One thread at a time.
class ByteReader {
 public:
  static constexpr std::size_t kMaxPeek = 16;

  ByteReader() = default;
  virtual ~ByteReader() = default;
  ByteReader(const ByteReader&) = delete;
  ByteReader& operator=(const ByteReader&) = delete;

  // Reads up to `count` bytes and returns their number; fewer only at the end or after a failure.
  // ReadFailure() distinguishes the two.
  std::size_t Read(uint8_t* to, std::size_t count);

  // Copies up to min(count, kMaxPeek) next bytes without consuming them. Returns their number.
  std::size_t Peek(uint8_t* to, std::size_t count);

  // Returns the failure of the medium that ended a read early, if any.
  virtual common::Failure ReadFailure() const = 0;

 protected:
  // Reads from the medium like Read.
  virtual std::size_t Fetch(uint8_t* to, std::size_t count) = 0;

 private:
  uint8_t ahead_[kMaxPeek] = {};
  std::size_t ahead_begin_ = 0;
  std::size_t ahead_end_ = 0;
};

// Bytes of an open stdio stream.
class FileReader final : public ByteReader {
 public:
  // Owns `file` and closes it at destruction, except standard input.
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

// Opens `path`, or standard input when it is "-". Fails on a directory. The message names no path.
common::Failure OpenFile(const std::string& path, std::unique_ptr<ByteReader>* reader);

// Reads exactly `count` bytes into `bytes`. Memory grows with the bytes received, not with a
// header's claim. `what` begins the failure's message: "frame 3 is cut short".
common::Failure ReadExactly(ByteReader& reader, std::size_t count, const std::string& what,
                            std::vector<uint8_t>* bytes);

// Reads to the end of the stream; fails on more than `limit` bytes.
common::Failure ReadToEnd(ByteReader& reader, std::size_t limit, std::vector<uint8_t>* bytes);

}  // namespace media

#endif  // ZY_MEDIA_BYTE_READER_H_
