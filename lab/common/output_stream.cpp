// SPDX-License-Identifier: Apache-2.0
#include "common/output_stream.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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
  if (self.error_number_ == 0) self.error_number_ = WriteAll(self.descriptor_, bytes, count);
  return self.error_number_ == 0 ? static_cast<ssize_t>(count) : 0;
}

bool IsStandardOutput(const std::string& path) {
  struct stat file = {}, out = {};
  if (stat(path.c_str(), &file) != 0 || fstat(STDOUT_FILENO, &out) != 0) return false;
  const bool may_be = !S_ISCHR(out.st_mode) || isatty(STDOUT_FILENO) != 0;
  return may_be && file.st_dev == out.st_dev && file.st_ino == out.st_ino;
}

int WriteAll(int descriptor, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(descriptor, bytes, count);
    if (written < 0 && errno != EINTR) return errno;
    if (written <= 0) continue;
    bytes += written;
    count -= static_cast<std::size_t>(written);
  }
  return 0;
}

}  // namespace common
