// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "apps/same_file.h"

namespace camsim {
namespace {

pictures::Failure SystemFailure(const std::string& path) {
  return pictures::Fail(path + ": " + std::strerror(errno));
}

// Whether an open file is what standard output is; a device that takes everything is not meant.
bool IsStandardOutput(int descriptor) {
  struct stat file = {}, out = {};
  if (fstat(descriptor, &file) != 0 || fstat(STDOUT_FILENO, &out) != 0) return false;
  const bool may_be = !S_ISCHR(out.st_mode) || isatty(STDOUT_FILENO) != 0;
  return may_be && file.st_dev == out.st_dev && file.st_ino == out.st_ino;
}

bool IsInput(const std::string& path, const std::string& input) {
  struct stat output = {}, in = {};
  if (stat(path.c_str(), &output) != 0) return false;
  const bool has_input =
      input == "-" ? fstat(STDIN_FILENO, &in) == 0 : stat(input.c_str(), &in) == 0;
  return has_input && apps::IsSameFile(output, in);
}

}  // namespace

Outputs::~Outputs() {
  if (made_picture_) unlink(options_.annotated.c_str());
}

pictures::Failure Outputs::Open() {
  pictures::Failure failure = TryPicture();
  if (!failure) failure = OpenJson();
  if (!failure) failure = CheckApart();
  if (failure) return failure;
  struct stat json = {};
  if (json_ == nullptr || json_.get() == stdout || fstat(fileno(json_.get()), &json) != 0 ||
      !S_ISREG(json.st_mode)) {
    return std::nullopt;
  }
  return ftruncate(fileno(json_.get()), 0) == 0 ? std::nullopt : SystemFailure(options_.jsonl);
}

bool Outputs::WantsPicture() const { return options_.annotated != kNoPicture; }

pictures::Failure Outputs::TryPicture() {
  if (!WantsPicture()) return std::nullopt;
  const char* const path = options_.annotated.c_str();
  struct stat before = {};
  const bool was_there = stat(path, &before) == 0;
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return SystemFailure(options_.annotated);
  made_picture_ = !was_there;
  const bool is_standard_output = IsStandardOutput(descriptor);
  close(descriptor);
  if (!is_standard_output) return std::nullopt;
  return pictures::Fail(options_.annotated + ": is standard output");
}

// Standard output under whatever name is "-": the table and the lines must not share a file.
pictures::Failure Outputs::OpenJson() {
  if (options_.jsonl.empty()) return std::nullopt;
  if (options_.jsonl == "-") {
    json_.reset(stdout);
    return std::nullopt;
  }
  const int descriptor = open(options_.jsonl.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return SystemFailure(options_.jsonl);
  if (IsStandardOutput(descriptor)) {
    close(descriptor);
    json_.reset(stdout);
    return std::nullopt;
  }
  json_.reset(fdopen(descriptor, "w"));
  return json_ != nullptr ? std::nullopt : SystemFailure(options_.jsonl);
}

pictures::Failure Outputs::CheckApart() const {
  for (const std::string& output : {options_.annotated, options_.jsonl}) {
    if (!IsInput(output, options_.source.input)) continue;
    return pictures::Fail(output + ": is the input as well");
  }
  if (!WantsPicture() || !apps::IsSameFile(options_.annotated, options_.jsonl)) {
    return std::nullopt;
  }
  return pictures::Fail(options_.annotated + ": is to hold both the picture and the JSON lines");
}

void Outputs::WriteJson(const std::string& line) {
  if (json_ == nullptr) return;
  std::fwrite(line.data(), 1, line.size(), json_.get());
  std::fflush(json_.get());
}

pictures::Failure Outputs::WritePicture(const pictures::Nv12Frame& frame,
                                        const RequestReport& report) {
  made_picture_ = false;
  return WriteAnnotated(options_.annotated, frame, report);
}

// A stream that lost bytes once stays marked, even when later writes succeed.
pictures::Failure Outputs::Check() const {
  if (std::ferror(stdout) != 0) return pictures::Fail("standard output: write failed");
  if (json_ != nullptr && std::ferror(json_.get()) != 0) {
    return pictures::Fail(options_.jsonl + ": write failed");
  }
  return std::nullopt;
}

}  // namespace camsim
