// SPDX-License-Identifier: Apache-2.0
#include "media/byte_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace media {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 20;

}  // namespace

std::size_t ByteReader::Read(uint8_t* to, std::size_t count) {
  const std::size_t ready = std::min(count, ahead_end_ - ahead_begin_);
  std::copy_n(ahead_ + ahead_begin_, ready, to);
  ahead_begin_ += ready;
  return ready == count ? count : ready + Fetch(to + ready, count - ready);
}

std::size_t ByteReader::Peek(uint8_t* to, std::size_t count) {
  count = std::min(count, kMaxPeek);
  if (ahead_end_ - ahead_begin_ < count) {
    std::copy(ahead_ + ahead_begin_, ahead_ + ahead_end_, ahead_);
    ahead_end_ -= ahead_begin_;
    ahead_begin_ = 0;
    ahead_end_ += Fetch(ahead_ + ahead_end_, count - ahead_end_);
  }
  count = std::min(count, ahead_end_ - ahead_begin_);
  std::copy_n(ahead_ + ahead_begin_, count, to);
  return count;
}

ByteReader::~ByteReader() {
  if (file_ != stdin) std::fclose(file_);
}

std::size_t ByteReader::Fetch(uint8_t* to, std::size_t count) {
  if (error_number_ != 0) return 0;
  errno = 0;
  const std::size_t read = std::fread(to, 1, count, file_);
  if (read < count && std::ferror(file_) != 0) error_number_ = errno != 0 ? errno : EIO;
  return read;
}

common::Failure ByteReader::ReadFailure() const {
  if (error_number_ == 0) return std::nullopt;
  return common::SystemFailure("cannot read", error_number_);
}

common::Failure OpenFile(const std::string& path, std::unique_ptr<ByteReader>* reader) {
  std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
  if (file == nullptr) return common::SystemFailure("cannot open");
  *reader = std::make_unique<ByteReader>(file);
  struct stat status = {};
  if (fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode)) {
    return common::Fail("this is a directory");
  }
  return std::nullopt;
}

common::Failure ReadExactly(ByteReader& reader, std::size_t count, const std::string& what,
                            std::vector<uint8_t>* bytes) {
  std::size_t done = 0;
  while (done < count) {
    const std::size_t reachable = std::max(bytes->size(), done + kChunk);
    bytes->resize(std::min(count, reachable));
    const std::size_t wanted = bytes->size() - done;
    const std::size_t got = reader.Read(bytes->data() + done, wanted);
    done += got;
    if (got == wanted) continue;
    if (common::Failure failure = reader.ReadFailure()) return failure;
    return common::Fail(what + " is cut short: " + std::to_string(done) + " of " +
                        std::to_string(count) + " bytes");
  }
  bytes->resize(count);
  return std::nullopt;
}

common::Failure ReadToEnd(ByteReader& reader, std::size_t limit, std::vector<uint8_t>* bytes) {
  bytes->clear();
  std::size_t got = 0;
  do {
    const std::size_t done = bytes->size();
    bytes->resize(done + kChunk);
    got = reader.Read(bytes->data() + done, kChunk);
    bytes->resize(done + got);
    if (bytes->size() > limit) {
      return common::Fail("larger than the limit of " + std::to_string(limit >> 20) + " MiB");
    }
  } while (got == kChunk);
  return reader.ReadFailure();
}

}  // namespace media
