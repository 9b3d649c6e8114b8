// SPDX-License-Identifier: Apache-2.0
#include "common/replaced_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace common {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxLinks = 40;

// Returns the file behind a path with all links followed; empty for the name of an open descriptor
// and for a missing folder.
fs::path Resolve(fs::path path) {
  std::error_code error;
  for (int links = 0; links < kMaxLinks; ++links) {
    const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
    if (error || folder.native().rfind("/proc/", 0) == 0) return {};
    path = folder / path.filename();
    const fs::path link = fs::read_symlink(path, error);
    if (error) return path;
    path = folder / link;
  }
  return {};
}

}  // namespace

ReplacedFile::~ReplacedFile() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

Failure ReplacedFile::Create(const std::string& path) {
  path_ = path;
  struct stat old = {};
  const bool exists = stat(path.c_str(), &old) == 0;
  if (!exists || S_ISREG(old.st_mode)) target_ = Resolve(path);
  const bool is_direct = target_.empty();
  if (exists && !is_direct && access(path.c_str(), W_OK) != 0) {
    return SystemFailure(path_ + ": cannot create");
  }
  descriptor_ = is_direct ? open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)
                          : CreateTemporary();
  if (descriptor_ < 0) return SystemFailure(path_ + ": cannot create");
  stream_ = std::make_unique<OutputStream>(path_, descriptor_);
  const bool has_mode = is_direct || !exists || fchmod(descriptor_, old.st_mode & 07777) == 0;
  return has_mode ? std::nullopt : SystemFailure(path_ + ": cannot create");
}

int ReplacedFile::CreateTemporary() {
  const std::string folder = fs::path(target_).parent_path();
  const int descriptor = open(folder.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, 0666);
  if (descriptor >= 0) return descriptor;
  return MakeName(
      [](const char* name) { return open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666); });
}

template <typename Make>
int ReplacedFile::MakeName(const Make& make) {
  const std::string folder = fs::path(target_).parent_path();
  const std::string begin = folder + "/.zy_" + std::to_string(getpid()) + "_";
  for (int number = 0;; ++number) {
    const std::string name = begin + std::to_string(number);
    const int made = make(name.c_str());
    if (made < 0 && errno == EEXIST) continue;
    if (made >= 0) temporary_ = name;
    return made;
  }
}

Failure ReplacedFile::Complete() {
  if (Failure failure = stream_->Flush()) return failure;
  if (target_.empty()) return std::nullopt;
  const std::string nameless = "/proc/self/fd/" + std::to_string(descriptor_);
  const auto link = [&nameless](const char* name) {
    return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW);
  };
  if ((temporary_.empty() && MakeName(link) != 0) ||
      std::rename(temporary_.c_str(), target_.c_str()) != 0) {
    return SystemFailure(path_ + ": cannot replace");
  }
  temporary_.clear();
  return std::nullopt;
}

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code none;
  return fs::is_regular_file(a, none) && fs::equivalent(a, b, none);
}

bool IsInput(const std::string& output, const std::string& input) {
  return IsSameFile(output, input == "-" ? "/dev/stdin" : input);
}

}  // namespace common
