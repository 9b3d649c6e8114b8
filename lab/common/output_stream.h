// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_OUTPUT_STREAM_H_
#define ZY_COMMON_OUTPUT_STREAM_H_

#include <cstdio>
#include <string>

#include "common/failure.h"

namespace common {

// A stdio stream that stores the reason of its first failed write. One thread at a time.
class OutputStream {
 public:
  // Owns an open descriptor and closes it at destruction, except standard output. `name` begins
  // the failures. A terminal gets each line at once. Throws std::bad_alloc.
  OutputStream(std::string name, int descriptor);
  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  std::FILE* File() const { return file_; }

  // Writes the buffered bytes. Fails with the reason if this or an earlier write failed.
  Failure Flush();

 private:
  static ssize_t Write(void* stream, const char* bytes, std::size_t count);

  const std::string name_;
  const int descriptor_;
  int error_number_ = 0;
  std::FILE* const file_;
};

// Returns whether a file is standard output, under any name: text must not share a file with other
// output. Devices that accept everything are allowed.
bool IsStandardOutput(const std::string& path);

// Writes all bytes to a descriptor, also when signals interrupt it. Returns 0 or the system's error
// number.
int WriteAll(int descriptor, const char* bytes, std::size_t count);

}  // namespace common

#endif  // ZY_COMMON_OUTPUT_STREAM_H_
