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

// The bytes of an open stdio stream with a short look-ahead. Parsers read from it, so they treat
// files, pipes and memory alike. One thread at a time.
class ByteReader {
 public:
  static constexpr std::size_t kMaxPeek = 16;

  // Owns `file` and closes it at destruction, except standard input.
  explicit ByteReader(std::FILE* file) : file_(file) {}
  ~ByteReader();
  ByteReader(const ByteReader&) = delete;
  ByteReader& operator=(const ByteReader&) = delete;

  // Reads up to `count` bytes and returns their number; fewer only at the end or after a failure.
  // ReadFailure() distinguishes the two.
  std::size_t Read(uint8_t* to, std::size_t count);

  // Copies up to min(count, kMaxPeek) next bytes without consuming them. Returns their number.
  std::size_t Peek(uint8_t* to, std::size_t count);

  // Returns the failure of the medium that ended a read early, if any.
  common::Failure ReadFailure() const;

 private:
  // Reads from the stream like Read.
  std::size_t Fetch(uint8_t* to, std::size_t count);

  std::FILE* const file_;
  int error_number_ = 0;
  uint8_t ahead_[kMaxPeek] = {};
  std::size_t ahead_begin_ = 0;
  std::size_t ahead_end_ = 0;
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
