// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_REPLACED_FILE_H_
#define ZY_COMMON_REPLACED_FILE_H_

#include <cstdio>
#include <memory>
#include <string>

#include "common/failure.h"
#include "common/output_stream.h"

namespace common {

// A file that takes its place when it is complete: until then its bytes go to a temporary file of
// the same folder, and an older file of the name stays as it was. The temporary file has no name,
// so that a killed program leaves none behind; where the file system wants one, it is
// ".zy_PROCESS_NUMBER". One thread at a time.
class ReplacedFile {
 public:
  ReplacedFile() = default;
  // Removes a file that is not complete.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  // Makes the temporary file, once. Symbolic links are followed, and an older file's mode is kept.
  // Devices, pipes and open descriptors (/dev/stdout) are written directly. Every failure begins
  // with `path`.
  Failure Create(const std::string& path);

  // The file's absolute path without links; empty where it is written directly.
  const std::string& Target() const { return target_; }
  // Null before Create.
  std::FILE* File() const { return stream_ != nullptr ? stream_->File() : nullptr; }
  // As OutputStream::Flush.
  Failure Flush() { return stream_->Flush(); }

  // Writes what waits and gives the file its name. Nothing is written afterwards.
  Failure Complete();

 private:
  // Returns the temporary file's descriptor, or -1.
  int CreateTemporary();
  // Calls make(name) until a name is free, and notes it. Returns the last result.
  template <typename Make>
  int MakeName(const Make& make);

  std::string path_, target_;
  std::string temporary_;  // its name; empty without one
  int descriptor_ = -1;    // the stream's
  std::unique_ptr<OutputStream> stream_;
};

}  // namespace common

#endif  // ZY_COMMON_REPLACED_FILE_H_
