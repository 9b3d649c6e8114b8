// SPDX-License-Identifier: Apache-2.0
#include "apps/camsim/outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

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
  if (!failure && options_.jsonl == "-") json_.reset(stdout);
  if (!failure && options_.jsonl != "-") failure = OpenFile(options_.jsonl, &json_);
  if (!failure) failure = OpenFile(options_.trace, &trace_);
  if (!failure) failure = OpenFile(options_.report, &report_);
  if (!failure) failure = CheckApart();
  if (failure) return failure;
  for (const File* file : {&json_, &trace_, &report_}) {
    struct stat state = {};
    if (*file == nullptr || file->get() == stdout || fstat(fileno(file->get()), &state) != 0)
      continue;
    if (S_ISREG(state.st_mode) && ftruncate(fileno(file->get()), 0) != 0) {
      return pictures::Fail(std::string("an output cannot be emptied: ") + std::strerror(errno));
    }
  }
  return std::nullopt;
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
pictures::Failure Outputs::OpenFile(const std::string& path, File* file) {
  if (path.empty()) return std::nullopt;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return SystemFailure(path);
  if (!IsStandardOutput(descriptor)) {
    file->reset(fdopen(descriptor, "w"));
    return *file != nullptr ? std::nullopt : SystemFailure(path);
  }
  close(descriptor);
  if (file != &json_) return pictures::Fail(path + ": is standard output");
  json_.reset(stdout);
  return std::nullopt;
}

pictures::Failure Outputs::CheckApart() const {
  const std::string outputs[] = {WantsPicture() ? options_.annotated : "", options_.jsonl,
                                 options_.trace, options_.report};
  for (std::size_t i = 0; i < std::size(outputs); ++i) {
    for (const std::string& input : {options_.source.input, options_.script, options_.replay}) {
      if (!IsInput(outputs[i], input)) continue;
      return pictures::Fail(outputs[i] + ": is the input as well");
    }
    for (std::size_t k = 0; k < i; ++k) {
      if (!apps::IsSameFile(outputs[i], outputs[k])) continue;
      return pictures::Fail(outputs[i] + ": is to hold two outputs");
    }
  }
  return std::nullopt;
}

void Outputs::WriteJson(const std::string& line) {
  if (json_ == nullptr) return;
  std::fwrite(line.data(), 1, line.size(), json_.get());
  std::fflush(json_.get());
}

void Outputs::WriteReport(const std::string& html) {
  std::fwrite(html.data(), 1, html.size(), report_.get());
}

pictures::Failure Outputs::WritePicture(const pictures::Nv12Frame& frame,
                                        const RequestReport& report) {
  made_picture_ = false;
  return WriteAnnotated(options_.annotated, frame, report);
}

// A stream that lost bytes once stays marked, even when later writes succeed.
pictures::Failure Outputs::Check() const {
  if (std::ferror(stdout) != 0) return pictures::Fail("standard output: write failed");
  const std::pair<const File*, std::string> files[] = {
      {&json_, options_.jsonl}, {&trace_, options_.trace}, {&report_, options_.report}};
  for (const auto& [file, path] : files) {
    if (*file != nullptr && std::ferror(file->get()) != 0) {
      return pictures::Fail(path + ": write failed");
    }
  }
  return std::nullopt;
}

void Outputs::Flush() const {
  for (std::FILE* file : {stdout, trace_.get(), report_.get()}) {
    if (file != nullptr) std::fflush(file);
  }
}

}  // namespace camsim
