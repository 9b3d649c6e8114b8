// SPDX-License-Identifier: Apache-2.0
#include "camsim/outputs.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "common/same_file.h"
#include "media/y4m_writer.h"

namespace camsim {
namespace {

media::Failure SystemFailure(const std::string& path) {
  return media::Fail(path + ": " + std::strerror(errno));
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
  return has_input && common::IsSameFile(output, in);
}

// What a regular file held before goes when all outputs are known to be apart.
media::Failure Empty(std::FILE* file, const std::string& path) {
  struct stat status = {};
  if (file == nullptr || file == stdout || fstat(fileno(file), &status) != 0 ||
      !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return ftruncate(fileno(file), 0) == 0 ? std::nullopt : SystemFailure(path);
}

std::string Caption(const Options& options) {
  return options.real_models ? kRealCaption : kStandInCaption;
}

}  // namespace

Outputs::~Outputs() {
  if (made_picture_) unlink(options_.annotated.c_str());
}

media::Failure Outputs::Open() {
  media::Failure failure = TryPicture();
  if (!failure) failure = OpenStream(options_.jsonl, &json_);
  if (!failure) failure = OpenStream(options_.annotated_clip, &clip_);
  if (!failure) failure = OpenFile(options_.trace, &trace_);
  if (!failure) failure = OpenFile(options_.report, &report_);
  if (!failure) failure = CheckApart();
  if (!failure) failure = Empty(json_.get(), options_.jsonl);
  if (!failure) failure = Empty(clip_.get(), options_.annotated_clip);
  if (!failure) failure = Empty(trace_.get(), options_.trace);
  if (!failure) failure = Empty(report_.get(), options_.report);
  return failure;
}

bool Outputs::WantsPicture() const { return options_.annotated != kNoPicture; }

media::Failure Outputs::TryPicture() {
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
  return media::Fail(options_.annotated + ": is standard output");
}

// Standard output under whatever name is "-": what is said in text must not share a file with it.
media::Failure Outputs::OpenStream(const std::string& path, File* file) {
  if (path == "-") {
    file->reset(stdout);
    return std::nullopt;
  }
  return OpenFile(path, file);
}

media::Failure Outputs::OpenFile(const std::string& path, File* file) {
  if (path.empty()) return std::nullopt;
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (descriptor < 0) return SystemFailure(path);
  if (IsStandardOutput(descriptor)) {
    close(descriptor);
    file->reset(stdout);
    return std::nullopt;
  }
  file->reset(fdopen(descriptor, "w"));
  return *file != nullptr ? std::nullopt : SystemFailure(path);
}

media::Failure Outputs::CheckApart() const {
  if (json_ != nullptr && json_.get() == clip_.get()) {
    return media::Fail("standard output: is to hold both the JSON lines and the clip");
  }
  for (const auto& [file, path] :
       {std::pair(&trace_, options_.trace), std::pair(&report_, options_.report)}) {
    if (file->get() == stdout) return media::Fail(path + ": is standard output");
  }
  std::vector<std::pair<std::string, std::string>> earlier;
  for (const auto& [path, what] : {std::pair<std::string, std::string>(
                                       WantsPicture() ? options_.annotated : "", "the picture"),
                                   {options_.jsonl, "the JSON lines"},
                                   {options_.annotated_clip, "the clip"},
                                   {options_.trace, "the trace"},
                                   {options_.report, "the report"}}) {
    for (const std::string& input : {options_.source.input, options_.script, options_.replay}) {
      if (IsInput(path, input)) return media::Fail(path + ": is the input as well");
    }
    for (const auto& [other, other_what] : earlier) {
      if (!common::IsSameFile(path, other)) continue;
      return media::Fail(other + ": is to hold both " + other_what + " and " + what);
    }
    earlier.emplace_back(path, what);
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

media::Failure Outputs::WritePicture(const media::Nv12Frame& frame,
                                        const RequestReport& report) {
  made_picture_ = false;
  return media::WritePng(options_.annotated, Annotate(frame, report, Caption(options_)));
}

media::Failure Outputs::WriteClipFrame(const media::Nv12Frame& frame,
                                          const RequestReport& report, const std::string& rate) {
  if (report.HasFigures()) published_ = report;
  std::string caption = Caption(options_);
  if (published_.HasFigures()) {
    const uint64_t age = report.frame_number - published_.frame_number;
    caption += "\nfigures " + std::to_string(age) + (age == 1 ? " frame old" : " frames old");
  }
  media::Failure failure;
  if (report.frame_number == 1) {
    failure = media::WriteY4mHeader(frame.width, frame.height, rate, clip_.get());
  }
  if (!failure) {
    failure = media::PictureToNv12(Annotate(frame, WithFigures(report, published_), caption), 0,
                                      &clip_frame_);
  }
  if (!failure) failure = media::WriteY4mFrame(clip_frame_, clip_.get());
  return failure ? media::FailAbout(options_.annotated_clip, failure) : failure;
}

// A stream that lost bytes once stays marked, even when later writes succeed.
media::Failure Outputs::Check() const {
  if (std::ferror(stdout) != 0) return media::Fail("standard output: write failed");
  const std::pair<const File*, std::string> files[] = {{&json_, options_.jsonl},
                                                       {&clip_, options_.annotated_clip},
                                                       {&trace_, options_.trace},
                                                       {&report_, options_.report}};
  for (const auto& [file, path] : files) {
    if (*file != nullptr && std::ferror(file->get()) != 0) {
      return media::Fail(path + ": write failed");
    }
  }
  return std::nullopt;
}

void Outputs::Flush() const {
  for (std::FILE* file : {stdout, clip_.get(), trace_.get(), report_.get()}) {
    if (file != nullptr) std::fflush(file);
  }
}

}  // namespace camsim
