// SPDX-License-Identifier: Apache-2.0
#include "common/output_stream.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace common {

OutputStream::OutputStream(std::string name, int descriptor)
    : name_(std::move(name)),
      descriptor_(descriptor),
      file_(fopencookie(this, "w", {nullptr, &OutputStream::Write, nullptr, nullptr})) {
  if (file_ == nullptr) throw std::bad_alloc();
  if (isatty(descriptor_) != 0) std::setvbuf(file_, nullptr, _IOLBF, BUFSIZ);
}

OutputStream::~OutputStream() {
  std::fclose(file_);
  if (descriptor_ != STDOUT_FILENO) close(descriptor_);
}

Failure OutputStream::Flush() {
  std::fflush(file_);
  if (error_number_ == 0) return std::nullopt;
  return SystemFailure(name_ + ": cannot write", error_number_);
}

ssize_t OutputStream::Write(void* stream, const char* bytes, std::size_t count) {
  auto& self = *static_cast<OutputStream*>(stream);
  std::size_t done = 0;
  while (done < count && self.error_number_ == 0) {
    const ssize_t written = write(self.descriptor_, bytes + done, count - done);
    if (written < 0) self.error_number_ = errno;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return static_cast<ssize_t>(done);
}

}  // namespace common
