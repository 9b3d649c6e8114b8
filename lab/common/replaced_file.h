// SPDX-License-Identifier: Apache-2.0
#ifndef ZY_COMMON_REPLACED_FILE_H_
#define ZY_COMMON_REPLACED_FILE_H_

#include <cstdio>
#include <memory>
#include <string>

#include "common/failure.h"
#include "common/output_stream.h"

namespace common {

// A file that replaces an older one when it is complete. Until then its bytes go to a temporary
// file in the same folder, and the older file stays unchanged. The temporary file has no name, so a
// killed program leaves none behind; on file systems that require one it is ".zy_PROCESS_NUMBER".
// One thread at a time.
class ReplacedFile {
 public:
  ReplacedFile() = default;
  // Deletes an incomplete file.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  // Creates the temporary file, once. Symbolic links are followed, and an older file's mode is
  // kept. Devices, pipes and open descriptors (/dev/stdout) are written directly. Every failure
  // begins with `path`.
  Failure Create(const std::string& path);

  // Returns the file's absolute path without links; empty if it is written directly.
  const std::string& Target() const { return target_; }
  // Returns null before Create.
  std::FILE* File() const { return stream_ != nullptr ? stream_->File() : nullptr; }
  // Flushes like OutputStream::Flush.
  Failure Flush() { return stream_->Flush(); }

  // Writes the buffered bytes and gives the file its name. Nothing may be written afterwards.
  Failure Complete();

 private:
  // Returns the temporary file's descriptor, or -1.
  int CreateTemporary();
  // Calls make(name) until a name is free, and stores it. Returns the last result.
  template <typename Make>
  int MakeName(const Make& make);

  std::string path_, target_;
  std::string temporary_;  // empty without one
  int descriptor_ = -1;    // of the stream
  std::unique_ptr<OutputStream> stream_;
};

// Returns whether both are the same regular file, whatever their names.
bool IsSameFile(const std::string& a, const std::string& b);
// Returns whether an output would replace the file of an input; the input "-" is standard input.
bool IsInput(const std::string& output, const std::string& input);

}  // namespace common

#endif  // ZY_COMMON_REPLACED_FILE_H_
